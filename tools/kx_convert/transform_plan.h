// The settings worked out: every default filled in, every table made, every contradiction refused.
#pragma once

#include "settings.h"

namespace kx::convert {

struct transform_plan {
    std::vector<matrix> matrices;
    int input_table_bits;
    int output_table_bits;
    per_channel<std::vector<std::uint32_t>> input_tables; // an empty table is off
    per_channel<std::vector<std::uint32_t>> output_tables;
    per_channel<clamp_range> clamps;
    per_channel<std::int32_t> shifts;
    unsigned channels;
    std::optional<std::int32_t> vector_level;
    bool changes_colors; // what the input's profile says does not hold for the output
    bool output_is_srgb;
    bool keeps_samples; // every one as it was read
};

// No value of a plan's transform exceeds the output samples: what would is clamped by default, and refused
// where it was asked for. Throws option_error.
transform_plan make_plan(const settings& wanted);

} // namespace kx::convert
