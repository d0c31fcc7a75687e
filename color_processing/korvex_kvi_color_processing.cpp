// The nineteen exports: each checks that the module is initialized and that there is a processor, then
// hands the work on.
#include "korvex_kvi_color_processing.h"

#include "color_correction.h"
#include "module_state.h"
#include "platform/processor_identification.h"
#include "scope_timer.h"
#include "vector_level.h"

#include <cstdint>
#include <memory>
#include <new>

namespace {

using kx::call_site;
using kx::color_correction;
using kx::logger_client;
using kx::the_module;
using kx::transform_parameters;

color_correction& correction_of(kx_color_processor* processor)
{
    return *reinterpret_cast<color_correction*>(processor);
}

// The checks common to every export that takes a processor. `site` names the export.
std::int32_t check_frame(const kx_color_processor* processor, const call_site& site)
{
    const logger_client* logger = the_module.logger();
    if (logger == nullptr) {
        return KX_COLOR_NOT_INITIALIZED;
    }
    if (processor == nullptr) {
        logger->write_error("%s The specified color processor handle is NULL!", site);
        return KX_COLOR_NULL_PROCESSOR;
    }
    return KX_COLOR_SUCCESS;
}

// Does `work` on the processor, or returns why not.
template <typename function>
std::int32_t with_processor(kx_color_processor* processor, const call_site& site, function work)
{
    const std::int32_t status = check_frame(processor, site);
    if (status == KX_COLOR_SUCCESS) {
        work(correction_of(processor));
    }
    return status;
}

std::uint32_t* get_LUT(kx_color_processor* processor, const call_site& site, kx::channel_LUT_set color_correction::*set,
                       kx::channel_LUT kx::channel_LUT_set::*channel)
{
    if (check_frame(processor, site) != KX_COLOR_SUCCESS) {
        return nullptr;
    }
    return (correction_of(processor).*set.*channel).data();
}

kx_color_processor* create_color_processor_impl(std::int32_t input_bit_depth, std::int32_t output_bit_depth,
                                                std::int32_t vector_level)
{
    constexpr const char* function_name = "`anonymous-namespace'::create_color_processor_impl";
    const logger_client* logger = the_module.logger();
    if (logger == nullptr) {
        return nullptr;
    }
    if (input_bit_depth < KX_COLOR_MIN_LUT_BIT_DEPTH || output_bit_depth < KX_COLOR_MIN_LUT_BIT_DEPTH) {
        logger->write_error("%s A negative bit depth is invalid!", function_name);
        return nullptr;
    }
    if (input_bit_depth > KX_COLOR_MAX_LUT_BIT_DEPTH || output_bit_depth > KX_COLOR_MAX_LUT_BIT_DEPTH) {
        logger->write_error("%s A LUT size greater than 2^16 is invalid!", function_name);
        return nullptr;
    }
    try {
        auto correction = std::make_unique<color_correction>(input_bit_depth, output_bit_depth, vector_level);
        return reinterpret_cast<kx_color_processor*>(correction.release());
    } catch (const std::bad_alloc&) {
        logger->write(kx::logger_module::error_level, function_name,
                      "Memory allocation failure when trying to create a color correction instance!");
    } catch (...) {
        logger->write(kx::logger_module::error_level, function_name,
                      "An unknown error occurred when trying to create a color correction instance!");
    }
    return nullptr;
}

// What all four transforms do, timing included. The processor completes the record of the caller's arguments.
template <typename output_sample>
std::int32_t kx_color_processor_transform_impl(
    const char* timer_name, bool fourth_sample, kx_color_processor* processor, const std::uint16_t* input_buffer,
    std::int32_t input_format, std::uint16_t blue_clamp_min, std::uint16_t blue_clamp_max,
    std::uint16_t green_clamp_min, std::uint16_t green_clamp_max, std::uint16_t red_clamp_min,
    std::uint16_t red_clamp_max, std::int32_t blue_shift_distance, std::int32_t green_shift_distance,
    std::int32_t red_shift_distance, output_sample* output_buffer, std::int32_t output_format, std::int32_t pixel_count)
{
    constexpr const char* function_name = "`anonymous-namespace'::kx_color_processor_transform_impl";
    if (const std::int32_t status = check_frame(processor, function_name); status != KX_COLOR_SUCCESS) {
        return status;
    }
    kx::scope_timer timer(timer_name, the_module.logger(), function_name);
    transform_parameters parameters{.input_buffer = input_buffer,
                                    .input_format = static_cast<kx::pixel_format>(input_format),
                                    .blue_clamp_min = blue_clamp_min,
                                    .blue_clamp_max = blue_clamp_max,
                                    .green_clamp_min = green_clamp_min,
                                    .green_clamp_max = green_clamp_max,
                                    .red_clamp_min = red_clamp_min,
                                    .red_clamp_max = red_clamp_max,
                                    .blue_shift_distance = blue_shift_distance,
                                    .green_shift_distance = green_shift_distance,
                                    .red_shift_distance = red_shift_distance,
                                    .output_buffer = output_buffer,
                                    .output_format = static_cast<kx::pixel_format>(output_format),
                                    .has_alpha_channel = std::uint8_t{fourth_sample},
                                    .pixel_count = pixel_count};
    const std::int32_t status = correction_of(processor).transform<output_sample>(parameters);
    timer.report();
    return status;
}

} // namespace

std::int32_t kx_color_processing_module_initialize()
{
    return the_module.initialize() ? KX_COLOR_SUCCESS : KX_COLOR_NOT_INITIALIZED;
}

std::int32_t kx_color_processing_module_terminate()
{
    the_module.terminate();
    return KX_COLOR_SUCCESS;
}

kx_color_processor* kx_color_create_color_processor(std::int32_t input_LUT_bit_depth, std::int32_t output_LUT_bit_depth)
{
    if (const logger_client* logger = the_module.logger()) {
        logger->write(kx::logger_module::information_level, "kx_color_create_color_processor",
                      "Creating a color processor instance!");
    }
    return create_color_processor_impl(input_LUT_bit_depth, output_LUT_bit_depth, kx::machine_vector_level());
}

kx_color_processor* kx_color_create_color_processor_test(std::int32_t input_LUT_bit_depth,
                                                         std::int32_t output_LUT_bit_depth, std::int32_t vector_level)
{
    return create_color_processor_impl(input_LUT_bit_depth, output_LUT_bit_depth, vector_level);
}

std::int32_t kx_color_destroy_color_processor(kx_color_processor* processor)
{
    return with_processor(processor, "kx_color_destroy_color_processor", [](color_correction& correction) {
        const std::unique_ptr<color_correction> destroyed(&correction);
        correction.release();
    });
}

std::int32_t kx_color_append_matrix(kx_color_processor* processor, const float* matrix)
{
    return with_processor(processor, "kx_color_append_matrix",
                          [matrix](color_correction& correction) { correction.append_matrix(matrix); });
}

std::int32_t kx_color_clear_matrix(kx_color_processor* processor)
{
    return with_processor(processor, "kx_color_clear_matrix",
                          [](color_correction& correction) { correction.clear_matrix(); });
}

std::uint32_t* kx_color_get_blue_input_LUT(kx_color_processor* processor)
{
    return get_LUT(processor, "kx_color_get_blue_input_LUT", &color_correction::input_LUTs, &kx::channel_LUT_set::blue);
}

std::uint32_t* kx_color_get_green_input_LUT(kx_color_processor* processor)
{
    return get_LUT(processor, "kx_color_get_green_input_LUT", &color_correction::input_LUTs,
                   &kx::channel_LUT_set::green);
}

std::uint32_t* kx_color_get_red_input_LUT(kx_color_processor* processor)
{
    return get_LUT(processor, "kx_color_get_red_input_LUT", &color_correction::input_LUTs, &kx::channel_LUT_set::red);
}

std::int32_t kx_color_enable_input_LUTs(kx_color_processor* processor, std::int32_t blue_flag, std::int32_t green_flag,
                                        std::int32_t red_flag)
{
    return with_processor(processor, "kx_color_enable_input_LUTs", [=](color_correction& correction) {
        correction.input_LUTs.enable(blue_flag != 0, green_flag != 0, red_flag != 0);
    });
}

std::uint32_t* kx_color_get_blue_output_LUT(kx_color_processor* processor)
{
    return get_LUT(processor, "kx_color_get_blue_output_LUT", &color_correction::output_LUTs,
                   &kx::channel_LUT_set::blue);
}

std::uint32_t* kx_color_get_green_output_LUT(kx_color_processor* processor)
{
    return get_LUT(processor, "kx_color_get_green_output_LUT", &color_correction::output_LUTs,
                   &kx::channel_LUT_set::green);
}

std::uint32_t* kx_color_get_red_output_LUT(kx_color_processor* processor)
{
    return get_LUT(processor, "kx_color_get_red_output_LUT", &color_correction::output_LUTs, &kx::channel_LUT_set::red);
}

std::int32_t kx_color_enable_output_LUTs(kx_color_processor* processor, std::int32_t blue_flag, std::int32_t green_flag,
                                         std::int32_t red_flag)
{
    return with_processor(processor, "kx_color_enable_output_LUTs", [=](color_correction& correction) {
        correction.output_LUTs.enable(blue_flag != 0, green_flag != 0, red_flag != 0);
    });
}

std::int32_t kx_color_transform_48_to_48(kx_color_processor* processor, const std::uint16_t* input_buffer,
                                         std::int32_t input_format, std::uint16_t blue_clamp_min,
                                         std::uint16_t blue_clamp_max, std::uint16_t green_clamp_min,
                                         std::uint16_t green_clamp_max, std::uint16_t red_clamp_min,
                                         std::uint16_t red_clamp_max, std::int32_t blue_shift_distance,
                                         std::int32_t green_shift_distance, std::int32_t red_shift_distance,
                                         std::uint16_t* output_buffer, std::int32_t output_format,
                                         std::int32_t pixel_count)
{
    return kx_color_processor_transform_impl(
        "color processing transform 48 to 48", false, processor, input_buffer, input_format, blue_clamp_min,
        blue_clamp_max, green_clamp_min, green_clamp_max, red_clamp_min, red_clamp_max, blue_shift_distance,
        green_shift_distance, red_shift_distance, output_buffer, output_format, pixel_count);
}

std::int32_t kx_color_transform_48_to_64(kx_color_processor* processor, const std::uint16_t* input_buffer,
                                         std::int32_t input_format, std::uint16_t blue_clamp_min,
                                         std::uint16_t blue_clamp_max, std::uint16_t green_clamp_min,
                                         std::uint16_t green_clamp_max, std::uint16_t red_clamp_min,
                                         std::uint16_t red_clamp_max, std::int32_t blue_shift_distance,
                                         std::int32_t green_shift_distance, std::int32_t red_shift_distance,
                                         std::uint16_t* output_buffer, std::int32_t output_format,
                                         std::int32_t pixel_count)
{
    return kx_color_processor_transform_impl(
        "color processing transform 48 to 64", true, processor, input_buffer, input_format, blue_clamp_min,
        blue_clamp_max, green_clamp_min, green_clamp_max, red_clamp_min, red_clamp_max, blue_shift_distance,
        green_shift_distance, red_shift_distance, output_buffer, output_format, pixel_count);
}

std::int32_t kx_color_transform_48_to_24(kx_color_processor* processor, const std::uint16_t* input_buffer,
                                         std::int32_t input_format, std::uint16_t blue_clamp_min,
                                         std::uint16_t blue_clamp_max, std::uint16_t green_clamp_min,
                                         std::uint16_t green_clamp_max, std::uint16_t red_clamp_min,
                                         std::uint16_t red_clamp_max, std::int32_t blue_shift_distance,
                                         std::int32_t green_shift_distance, std::int32_t red_shift_distance,
                                         std::uint8_t* output_buffer, std::int32_t output_format,
                                         std::int32_t pixel_count)
{
    return kx_color_processor_transform_impl(
        "color processing transform 48 to 24", false, processor, input_buffer, input_format, blue_clamp_min,
        blue_clamp_max, green_clamp_min, green_clamp_max, red_clamp_min, red_clamp_max, blue_shift_distance,
        green_shift_distance, red_shift_distance, output_buffer, output_format, pixel_count);
}

std::int32_t kx_color_transform_48_to_32(kx_color_processor* processor, const std::uint16_t* input_buffer,
                                         std::int32_t input_format, std::uint16_t blue_clamp_min,
                                         std::uint16_t blue_clamp_max, std::uint16_t green_clamp_min,
                                         std::uint16_t green_clamp_max, std::uint16_t red_clamp_min,
                                         std::uint16_t red_clamp_max, std::int32_t blue_shift_distance,
                                         std::int32_t green_shift_distance, std::int32_t red_shift_distance,
                                         std::uint8_t* output_buffer, std::int32_t output_format,
                                         std::int32_t pixel_count)
{
    return kx_color_processor_transform_impl(
        "color processing transform 48 to 32", true, processor, input_buffer, input_format, blue_clamp_min,
        blue_clamp_max, green_clamp_min, green_clamp_max, red_clamp_min, red_clamp_max, blue_shift_distance,
        green_shift_distance, red_shift_distance, output_buffer, output_format, pixel_count);
}
