// A camera profile as settings of the color processing library. docs/profiles.md has the arithmetic.
#pragma once

#include "camera_profile.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace kx::profile {

// In the library's order: blue, green, red. A LUT without entries is off.
struct library_settings {
    std::int32_t input_LUT_bit_depth = 0;
    std::int32_t output_LUT_bit_depth = 0;
    std::array<std::vector<std::uint32_t>, 3> input_LUTs{};  // indexed by samples, which must lie within
    std::array<std::vector<std::uint32_t>, 3> output_LUTs{}; // values of output_depth bits
    std::array<float, 9> matrix{};                           // row by row, as kx_color_append_matrix takes it
    std::uint16_t clamp_min = 0;                             // this and what follows is for all channels
    std::uint16_t clamp_max = 0;
    std::int32_t shift = 0;
    int output_depth = 16; // 8: 48_to_24 or 48_to_32; 16: 48_to_48 or 48_to_64

    bool operator==(const library_settings&) const = default;
};

// `output_LUT_bit_depth` asks for output LUTs of this depth, also where the curve needs none.
library_settings make_settings(const camera_profile& profile, std::optional<int> output_LUT_bit_depth = {});

// The depth of output LUTs unless another is asked for.
int default_output_LUT_bit_depth(const camera_profile& profile);

} // namespace kx::profile
