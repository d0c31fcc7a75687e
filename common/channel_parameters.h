// What a record of a transform says of each channel.
#pragma once

#include "companion_interfaces/transform_parameters.h"
#include "per_channel.h"

#include <cstdint>

namespace kx {

struct channel_parameters {
    const std::uint32_t* input_LUT; // null for none
    std::uint16_t clamp_min;
    std::uint16_t clamp_max;
    const std::uint32_t* output_LUT; // null for none
    std::int32_t shift_distance;     // positive to the left
};

inline per_channel<channel_parameters> channels_of(const transform_parameters& record)
{
    const auto LUT = [](const std::uint32_t* data, std::uint8_t enabled) { return enabled != 0 ? data : nullptr; };
    return {{LUT(record.blue_input_LUT_data, record.blue_input_LUT_enabled), record.blue_clamp_min,
             record.blue_clamp_max, LUT(record.blue_output_LUT_data, record.blue_output_LUT_enabled),
             record.blue_shift_distance},
            {LUT(record.green_input_LUT_data, record.green_input_LUT_enabled), record.green_clamp_min,
             record.green_clamp_max, LUT(record.green_output_LUT_data, record.green_output_LUT_enabled),
             record.green_shift_distance},
            {LUT(record.red_input_LUT_data, record.red_input_LUT_enabled), record.red_clamp_min, record.red_clamp_max,
             LUT(record.red_output_LUT_data, record.red_output_LUT_enabled), record.red_shift_distance}};
}

} // namespace kx
