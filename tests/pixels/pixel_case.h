// One call of a transform: the choices that select a kernel and all the values it works with.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace kx_test {

using random_source = std::mt19937_64;

// Uniform in first..last.
template <typename number>
number pick(random_source& random, number first, number last)
{
    return static_cast<number>(std::uniform_int_distribution<std::int64_t>(static_cast<std::int64_t>(first),
                                                                           static_cast<std::int64_t>(last))(random));
}

// The choices that select a kernel, with the width of the output samples: 62,208 combinations.
struct combination {
    int output_bits;            // of a sample: 8 or 16
    std::int32_t input_layout;  // 0 planar, 1 interleaved blue first, 2 interleaved red first
    std::int32_t output_layout; // the same
    bool fourth_sample;
    std::array<bool, 3> input_LUT; // blue, green, red, as in everything that follows
    std::array<bool, 3> output_LUT;
    std::array<int, 3> shift; // -1 right, 0 none, 1 left

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

// Where a buffer lies between its guard pages: so many samples from the first or the last of them.
struct placement {
    bool at_end = true;
    std::size_t distance = 0;
};

// The shift distances must fit the directions of the choices.
struct pixel_case {
    combination choices{};
    std::vector<matrix_values> matrices; // appended in this order
    std::array<channel_settings, 3> channels;
    std::int32_t planar_format = 0; // what to pass for planar layouts: 0 or anything negative
    std::int32_t pixel_count = 0;
    std::vector<std::uint16_t> samples; // the input image, 3 x pixel_count
    placement input;
    placement output;
};

// A processor's LUTs, enabled or not.
struct LUT_set {
    int input_depth;
    int output_depth;
    std::array<std::uint32_t*, 3> input;
    std::array<std::uint32_t*, 3> output;
};

// A case with random matrices, clamps, distances, samples and placements that a processor with these LUTs can run.
pixel_case random_case(const combination& choices, const LUT_set& LUTs, std::int32_t pixel_count,
                       random_source& random);

// The whole case but its samples.
std::string describe(const pixel_case& wanted);

} // namespace kx_test
