// One conversion: the choices that select a kernel and all the values it works with.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kx::verify {

// The choices that select a kernel, with the width of the output samples: 62,208 combinations.
struct combination {
    int output_bits;            // of a sample: 8 or 16
    std::int32_t input_layout;  // 0 planar, 1 interleaved blue first, 2 interleaved red first
    std::int32_t output_layout; // the same
    bool fourth_sample;
    std::array<bool, 3> input_LUT; // blue, green, red, as in everything that follows
    std::array<bool, 3> output_LUT;
    std::array<int, 3> shift; // -1 right, 0 none, 1 left

    // NOLINTNEXTLINE(modernize-use-nullptr): what the check sees is the zero within the generated comparison
    auto operator<=>(const combination&) const = default;

    [[nodiscard]] int samples_per_pixel() const { return fourth_sample ? 4 : 3; }
    [[nodiscard]] int bytes_per_pixel() const { return samples_per_pixel() * output_bits / 8; }
};

inline constexpr int combination_count = 62'208;

combination combination_at(int number);

using matrix_values = std::array<float, 9>; // rows output red, green, blue; columns input red, green, blue

inline constexpr matrix_values identity = {1, 0, 0, 0, 1, 0, 0, 0, 1};

struct channel_settings {
    std::uint16_t clamp_min = 0;
    std::uint16_t clamp_max = 65535;
    std::int32_t shift_distance = 0;
};

// The shift distances must fit the directions of the choices.
struct conversion {
    combination choices{};
    std::vector<matrix_values> matrices; // appended in this order
    std::array<channel_settings, 3> channels;
    std::int32_t pixel_count = 0;
    std::vector<std::uint16_t> samples; // the input image, 3 x pixel_count
};

// All of it but the samples.
std::string describe(const conversion& wanted);

// A processor's LUTs, enabled or not.
struct LUT_set {
    int input_depth;
    int output_depth;
    std::array<std::uint32_t*, 3> input;
    std::array<std::uint32_t*, 3> output;
};

} // namespace kx::verify
