// One transform call, up to the last whole register of pixels: without LUTs in one pass, with LUTs block by
// block through small buffers.
#pragma once

#include "LUT_stages.h"
#include "channelwise.h"
#include "convert.h"

#include "companion_interfaces/transform_parameters.h"

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

inline channel_settings settings_of(std::uint16_t clamp_min, std::uint16_t clamp_max, std::int32_t shift_distance)
{
    return {clamp_min, clamp_max, shift_distance > 0 ? shift_distance : 0, shift_distance < 0 ? -shift_distance : 0};
}

// With ones and zeros of either sign, every sum is its channel's sample, or -0, which rounds to the same 0.
inline bool is_identity(const float* matrix)
{
    for (int i = 0; i < 9; ++i) {
        if (matrix[i] != (i % 4 == 0 ? 1.0F : 0.0F)) {
            return false;
        }
    }
    return true;
}

// Converts pixels from 0 on and returns how many: all but what does not fill a register.
template <typename vectors, typename sample>
std::uint32_t transform(const transform_parameters& parameters)
{
    if (parameters.pixel_count < vectors::pixel_count) {
        return 0;
    }
    const std::ptrdiff_t image = parameters.pixel_count;
    const std::ptrdiff_t count = image - image % vectors::pixel_count;

    const float* const matrix = matrix_of(parameters);
    const conversion_settings settings{
        is_identity(matrix) ? nullptr : matrix,
        settings_of(parameters.blue_clamp_min, parameters.blue_clamp_max, parameters.blue_shift_distance),
        settings_of(parameters.green_clamp_min, parameters.green_clamp_max, parameters.green_shift_distance),
        settings_of(parameters.red_clamp_min, parameters.red_clamp_max, parameters.red_shift_distance)};
    const auto from = planes_of(parameters.input_buffer, parameters.input_format, image);
    const auto to = planes_of(static_cast<sample*>(parameters.output_buffer), parameters.output_format, image);

    const auto input_LUTs = input_LUTs_of(parameters);
    const auto output_LUTs = output_LUTs_of(parameters);
    const bool fourth_sample = parameters.has_alpha_channel != 0;
    if (!input_LUTs.any() && !output_LUTs.any()) {
        convert<vectors>(parameters.input_format, from, parameters.output_format, fourth_sample, to, count, settings);
        return static_cast<std::uint32_t>(count);
    }
    const LUT_conversion<sample> call{
        parameters.input_format, parameters.output_format, fourth_sample, from, to, count, settings};
    if (!convert_channelwise<vectors>(call, matrix, input_LUTs, output_LUTs)) {
        convert_with_LUTs<vectors>(call, input_LUTs, output_LUTs);
    }
    return static_cast<std::uint32_t>(count);
}

} // namespace
} // namespace kx::vector
