// A camera profile as settings of the color processing library. docs/profiles.md has the arithmetic.
#pragma once

#include "camera_profile.h"

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace kx::profile {

// Of rounded results of the matrix; both ends belong to it.
struct clamp_range {
    std::uint16_t minimum = 0;
    std::uint16_t maximum = 0xFFFF;

    bool operator==(const clamp_range&) const = default;
};

// A LUT without entries is off.
struct library_settings {
    std::int32_t input_LUT_bit_depth = 0;
    std::int32_t output_LUT_bit_depth = 0;
    per_channel<std::vector<std::uint32_t>> input_LUTs{};  // indexed by samples, which must lie within
    per_channel<std::vector<std::uint32_t>> output_LUTs{}; // values of output_depth bits
    std::array<float, 9> matrix{};                         // row by row, as kx_color_append_matrix takes it
    per_channel<clamp_range> clamps{};
    per_channel<std::int32_t> shifts{};
    int output_depth = 16; // 8: 48_to_24 or 48_to_32; 16: 48_to_48 or 48_to_64

    bool operator==(const library_settings&) const = default;
};

// `output_LUT_bit_depth` asks for output LUTs of this depth, 1 to 16, also where the curve needs none.
library_settings make_settings(const camera_profile& profile, std::optional<int> output_LUT_bit_depth = {});

// The depth of output LUTs unless another is asked for.
int default_output_LUT_bit_depth(const camera_profile& profile);

// A curve as a LUT of 2^bit_depth entries: its values, 0 to 1, times `largest`, rounded.
std::vector<std::uint32_t> make_LUT(const std::function<double(double)>& curve, int bit_depth, double largest);

} // namespace kx::profile
