// One transform call, up to the last whole register of pixels: without LUTs in one pass, with LUTs by a plan.
#pragma once

#include "LUT_stages.h"
#include "convert.h"
#include "image.h"

#include "channel_parameters.h"
#include "companion_interfaces/transform_parameters.h"
#include "layouts.h"
#include "per_channel.h"

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

inline channel_settings settings_of(const channel_parameters& of)
{
    return {of.clamp_min, of.clamp_max, of.shift_distance > 0 ? of.shift_distance : 0,
            of.shift_distance < 0 ? -of.shift_distance : 0};
}

// With ones and zeros of either sign, every sum is its channel's sample, or -0, which rounds to the same 0.
inline bool is_identity(const float* matrix)
{
    return is_diagonal(matrix) && matrix[0] == 1.0F && matrix[4] == 1.0F && matrix[8] == 1.0F;
}

// Converts pixels from 0 on and returns how many: all but what does not fill a register.
template <register_vectors vectors, typename sample>
std::uint32_t transform(const transform_parameters& parameters)
{
    if (parameters.pixel_count < vectors::pixel_count) {
        return 0;
    }
    const std::ptrdiff_t pixels = parameters.pixel_count;
    const per_channel<channel_parameters> channels = channels_of(parameters);
    const float* const matrix = matrix_of(parameters);
    const conversion<sample> call{
        .input = image_of(parameters.input_buffer, layout_of(parameters.input_format), false, pixels),
        .output = image_of(static_cast<sample*>(parameters.output_buffer), layout_of(parameters.output_format),
                           parameters.has_alpha_channel != 0, pixels),
        .count = pixels - pixels % vectors::pixel_count,
        .matrix = matrix,
        .settings = {is_identity(matrix) ? nullptr : matrix, map_channels(settings_of, channels)},
        .input_LUTs = map_channels([](const channel_parameters& of) { return of.input_LUT; }, channels),
        .output_LUTs = map_channels([](const channel_parameters& of) { return of.output_LUT; }, channels)};
    if (any(call.input_LUTs) || any(call.output_LUTs)) {
        convert_with_LUTs<vectors>(call);
    } else {
        convert<vectors>(call.input, call.output, call.count, call.settings);
    }
    return static_cast<std::uint32_t>(call.count);
}

} // namespace
} // namespace kx::vector
