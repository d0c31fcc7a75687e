// The choices that select a kernel, with the width of the output samples: 62,208 combinations.
#pragma once

#include <array>
#include <cstdint>
#include <string>

namespace kx_test {

enum class shift_direction { none, left, right };

struct combination {
    int output_bits;               // of a sample: 8 or 16
    std::int32_t input_layout;     // 0 planar, 1 interleaved blue first, 2 interleaved red first
    std::array<bool, 3> input_LUT; // blue, green, red, as in everything that follows
    std::array<bool, 3> output_LUT;
    std::array<shift_direction, 3> shift;
    bool fourth_sample;
    std::int32_t output_layout;

    auto operator<=>(const combination&) const = default;

    [[nodiscard]] int samples_per_pixel() const { return fourth_sample ? 4 : 3; }
    [[nodiscard]] int bytes_per_pixel() const { return samples_per_pixel() * output_bits / 8; }
};

inline constexpr int combination_count = 62'208;

combination combination_at(int number);

// All choices in words.
std::string describe(const combination& choices);

} // namespace kx_test
