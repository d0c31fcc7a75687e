// The color processor: matrix, LUTs, vector modules, and the transform that uses them.
#pragma once

#include "channel_LUT.h"
#include "companion_interfaces/transform_parameters.h"
#include "korvex_kvi_color_processing.h"
#include "module_state.h"
#include "vector_module_binding.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kx {

class color_correction {
public:
    // The bit depths must lie in 0..16. Throws what the LUT module throws, std::bad_alloc, and
    // std::bad_function_call when the LUT module was not found; then nothing is left behind.
    color_correction(std::int32_t input_bit_depth, std::int32_t output_bit_depth, std::int32_t level);

    // M becomes M x A, so that the matrix appended last acts on a pixel first. `appended` may be this
    // processor's own matrix.
    void append_matrix(const float* appended);
    void clear_matrix();

    // Validate the record, complete it with this processor's LUTs and convert the image. They return a
    // status code; after any but KX_COLOR_SUCCESS nothing was written. The output samples of the record
    // are of the width in the name.
    std::int32_t transform_8_bit_output(transform_parameters& parameters) const;
    std::int32_t transform_16_bit_output(transform_parameters& parameters) const;

    float matrix[9]; // row by row; must stay the first member: see matrix_of
    channel_LUT_set input_LUTs;
    channel_LUT_set output_LUTs;
    std::int32_t output_LUT_size; // entries of each output LUT
    std::int32_t vector_level;    // KX_COLOR_VECTOR_LEVEL_..., or whatever a test asked for
    vector_module_binding sse_module;
    vector_module_binding avx2_module;

private:
    [[nodiscard]] std::int32_t validate(const transform_parameters& parameters) const;
    void complete(transform_parameters& parameters) const;
    [[nodiscard]] const vector_module_binding* chosen_vector_module() const;
};

// What matrix_of relies on.
static_assert(std::is_standard_layout_v<color_correction>);
static_assert(offsetof(color_correction, matrix) == 0);

// The checks stand in this header because their log lines carry its name: log filters know them by it.

inline bool is_valid_shift_distance(std::int32_t distance)
{
    return distance >= KX_COLOR_MIN_SHIFT_DISTANCE && distance <= KX_COLOR_MAX_SHIFT_DISTANCE;
}

inline bool is_valid_clamp(std::uint16_t minimum, std::uint16_t maximum, const channel_LUT& output_LUT,
                           std::int32_t output_LUT_size)
{
    return minimum <= maximum && (!output_LUT.enabled() || maximum <= output_LUT_size - 1);
}

inline std::int32_t color_correction::validate(const transform_parameters& parameters) const
{
    constexpr const char* function_name = "color_correction::transform";
    const auto rejected = [](std::int32_t status, const char* format, const call_site& site) {
        if (const logger_client* logger = the_module.logger()) {
            logger->write_error(format, site);
        }
        return status;
    };

    if (parameters.input_buffer == nullptr) {
        return rejected(KX_COLOR_NULL_INPUT_BUFFER, "%s The specified input buffer is NULL!", function_name);
    }
    if (parameters.output_buffer == nullptr) {
        return rejected(KX_COLOR_NULL_OUTPUT_BUFFER, "%s The specified output buffer is NULL!", function_name);
    }
    if (parameters.input_buffer == parameters.output_buffer) {
        return rejected(KX_COLOR_IDENTICAL_BUFFERS, "%s Different input and output buffer must be specified.",
                        function_name);
    }
    // Formats below 0 pass: they count as planar.
    if (parameters.input_format > pixel_format::interleaved_rgb) {
        return rejected(KX_COLOR_INVALID_INPUT_FORMAT, "%s Invalid input buffer format specified!", function_name);
    }
    if (!is_valid_shift_distance(parameters.blue_shift_distance)) {
        return rejected(KX_COLOR_INVALID_SHIFT_DISTANCE, "%s Invalid blue shift distance specified!", function_name);
    }
    if (!is_valid_shift_distance(parameters.green_shift_distance)) {
        return rejected(KX_COLOR_INVALID_SHIFT_DISTANCE, "%s Invalid green shift distance specified!", function_name);
    }
    if (!is_valid_shift_distance(parameters.red_shift_distance)) {
        return rejected(KX_COLOR_INVALID_SHIFT_DISTANCE, "%s Invalid red shift distance specified!", function_name);
    }
    if (!is_valid_clamp(parameters.blue_clamp_min, parameters.blue_clamp_max, output_LUTs.blue, output_LUT_size)) {
        return rejected(KX_COLOR_INVALID_CLAMP_RANGE,
                        "%s a max value less than the min was specified for the blue channel or max clamp value "
                        "exceeds enabled output LUT size!",
                        function_name);
    }
    if (!is_valid_clamp(parameters.green_clamp_min, parameters.green_clamp_max, output_LUTs.green, output_LUT_size)) {
        return rejected(KX_COLOR_INVALID_CLAMP_RANGE,
                        "%s a max value less than the min was specified for the green channel or max clamp value "
                        "exceeds enabled output LUT size!",
                        function_name);
    }
    if (!is_valid_clamp(parameters.red_clamp_min, parameters.red_clamp_max, output_LUTs.red, output_LUT_size)) {
        return rejected(KX_COLOR_INVALID_CLAMP_RANGE,
                        "%s a max value less than the min was specified for the red channel or max clamp value "
                        "exceeds enabled output LUT size!",
                        function_name);
    }
    if (parameters.output_format > pixel_format::interleaved_rgb) {
        return rejected(KX_COLOR_INVALID_OUTPUT_FORMAT, "%s Invalid output buffer format specified!", function_name);
    }
    return KX_COLOR_SUCCESS;
}

} // namespace kx
