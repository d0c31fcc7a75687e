#include "color_correction.h"

#include "kernels/kernel_dispatch.h"
#include "korvex_kvi_color_processing.h"
#include "module_state.h"
#include "teardown.h"

#include <algorithm>

namespace kx {

namespace {

bool is_valid_shift_distance(std::int32_t distance)
{
    return distance >= KX_COLOR_MIN_SHIFT_DISTANCE && distance <= KX_COLOR_MAX_SHIFT_DISTANCE;
}

bool is_valid_clamp(std::uint16_t minimum, std::uint16_t maximum, const channel_LUT& output_LUT,
                    std::int32_t output_LUT_size)
{
    return minimum <= maximum && (!output_LUT.enabled() || maximum <= output_LUT_size - 1);
}

} // namespace

color_correction::color_correction(std::int32_t input_bit_depth, std::int32_t output_bit_depth, std::int32_t level)
    : color_correction(the_module.LUT_module_for_creation(), 1 << input_bit_depth, 1 << output_bit_depth, level)
{
}

color_correction::color_correction(const LUT_module& luts, std::int32_t input_entries, std::int32_t output_entries,
                                   std::int32_t level)
    : matrix{1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F},
      input_LUTs(luts, input_entries, level == KX_COLOR_VECTOR_LEVEL_AVX2),
      output_LUTs(luts, output_entries, level == KX_COLOR_VECTOR_LEVEL_AVX2), output_LUT_size(output_entries),
      vector_level(level), sse_module(narrow_module_names), avx2_module(avx2_module_names)
{
}

void color_correction::append_matrix(const float* appended)
{
    float product[9] = {};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t k = 0; k < 3; ++k) {
                product[3 * row + column] += matrix[3 * row + k] * appended[3 * k + column];
            }
        }
    }
    std::copy_n(product, 9, matrix);
}

void color_correction::clear_matrix()
{
    std::fill_n(matrix, 9, 0.0F);
    matrix[0] = matrix[4] = matrix[8] = 1.0F;
}

void color_correction::release()
{
    teardown steps;
    steps.step([this] { avx2_module.release(); });
    steps.step([this] { sse_module.release(); });
    output_LUTs.release(steps);
    input_LUTs.release(steps);
    steps.finish();
}

template <typename output_sample>
std::int32_t color_correction::transform(transform_parameters& parameters) const
{
    if (const std::int32_t status = validate(parameters); status != KX_COLOR_SUCCESS) {
        return status;
    }
    complete(parameters);
    std::uint32_t first_pixel = 0; // that is left for the kernel
    if (const vector_module_binding* vector_module = chosen_vector_module()) {
        first_pixel = vector_module->convert<output_sample>(parameters);
    }
    run_kernel<output_sample>(parameters, first_pixel);
    return KX_COLOR_SUCCESS;
}

template std::int32_t color_correction::transform<std::uint8_t>(transform_parameters& parameters) const;
template std::int32_t color_correction::transform<std::uint16_t>(transform_parameters& parameters) const;

std::int32_t color_correction::validate(const transform_parameters& parameters) const
{
    const auto rejected = [](std::int32_t status, const char* format) {
        if (const logger_client* logger = the_module.logger()) {
            logger->write_error(format, transform_site);
        }
        return status;
    };

    if (parameters.input_buffer == nullptr) {
        return rejected(KX_COLOR_NULL_INPUT_BUFFER, "%s The specified input buffer is NULL!");
    }
    if (parameters.output_buffer == nullptr) {
        return rejected(KX_COLOR_NULL_OUTPUT_BUFFER, "%s The specified output buffer is NULL!");
    }
    if (parameters.input_buffer == parameters.output_buffer) {
        return rejected(KX_COLOR_IDENTICAL_BUFFERS, "%s Different input and output buffer must be specified.");
    }
    // Formats below 0 pass: they count as planar.
    if (parameters.input_format > pixel_format::interleaved_rgb) {
        return rejected(KX_COLOR_INVALID_INPUT_FORMAT, "%s Invalid input buffer format specified!");
    }
    if (!is_valid_shift_distance(parameters.blue_shift_distance)) {
        return rejected(KX_COLOR_INVALID_SHIFT_DISTANCE, "%s Invalid blue shift distance specified!");
    }
    if (!is_valid_shift_distance(parameters.green_shift_distance)) {
        return rejected(KX_COLOR_INVALID_SHIFT_DISTANCE, "%s Invalid green shift distance specified!");
    }
    if (!is_valid_shift_distance(parameters.red_shift_distance)) {
        return rejected(KX_COLOR_INVALID_SHIFT_DISTANCE, "%s Invalid red shift distance specified!");
    }
    if (!is_valid_clamp(parameters.blue_clamp_min, parameters.blue_clamp_max, output_LUTs.blue, output_LUT_size)) {
        return rejected(KX_COLOR_INVALID_CLAMP_RANGE,
                        "%s a max value less than the min was specified for the blue channel or max clamp value "
                        "exceeds enabled output LUT size!");
    }
    if (!is_valid_clamp(parameters.green_clamp_min, parameters.green_clamp_max, output_LUTs.green, output_LUT_size)) {
        return rejected(KX_COLOR_INVALID_CLAMP_RANGE,
                        "%s a max value less than the min was specified for the green channel or max clamp value "
                        "exceeds enabled output LUT size!");
    }
    if (!is_valid_clamp(parameters.red_clamp_min, parameters.red_clamp_max, output_LUTs.red, output_LUT_size)) {
        return rejected(KX_COLOR_INVALID_CLAMP_RANGE,
                        "%s a max value less than the min was specified for the red channel or max clamp value "
                        "exceeds enabled output LUT size!");
    }
    if (parameters.output_format > pixel_format::interleaved_rgb) {
        return rejected(KX_COLOR_INVALID_OUTPUT_FORMAT, "%s Invalid output buffer format specified!");
    }
    return KX_COLOR_SUCCESS;
}

void color_correction::complete(transform_parameters& parameters) const
{
    const auto fetch = [](const channel_LUT& LUT, const std::uint32_t*& data, std::uint8_t& enabled) {
        data = LUT.data();
        enabled = LUT.enabled() ? 1 : 0;
    };
    fetch(input_LUTs.blue, parameters.blue_input_LUT_data, parameters.blue_input_LUT_enabled);
    fetch(input_LUTs.green, parameters.green_input_LUT_data, parameters.green_input_LUT_enabled);
    fetch(input_LUTs.red, parameters.red_input_LUT_data, parameters.red_input_LUT_enabled);
    fetch(output_LUTs.blue, parameters.blue_output_LUT_data, parameters.blue_output_LUT_enabled);
    fetch(output_LUTs.green, parameters.green_output_LUT_data, parameters.green_output_LUT_enabled);
    fetch(output_LUTs.red, parameters.red_output_LUT_data, parameters.red_output_LUT_enabled);
    parameters.processor = this;
}

// The module that converts the first pixels, or null for none. A processor made for AVX2 whose AVX2 module
// is unusable still uses SSE.
const vector_module_binding* color_correction::chosen_vector_module() const
{
    if (vector_level == KX_COLOR_VECTOR_LEVEL_AVX2 && avx2_module.usable()) {
        return &avx2_module;
    }
    if (vector_level >= KX_COLOR_VECTOR_LEVEL_SSE && sse_module.usable()) {
        return &sse_module;
    }
    return nullptr;
}

} // namespace kx
