// What a transform must compute, said as plainly as possible: every choice is tested for every pixel. It
// knows nothing of the library's code.
#pragma once

#include <array>
#include <cstdint>

namespace kx_test {

using matrix_values = std::array<float, 9>; // rows output red, green, blue; columns input red, green, blue

struct reference_channel {
    const std::uint32_t* input_LUT; // null when off
    const std::uint32_t* output_LUT;
    std::uint16_t clamp_min;
    std::uint16_t clamp_max;
    std::int32_t shift_distance;
};

struct reference_transform {
    std::array<reference_channel, 3> channels; // blue, green, red
    matrix_values matrix;
    const std::uint16_t* input;
    std::int32_t input_format; // 1 and 2 interleaved, all others planar
    std::int32_t output_format;
    bool fourth_sample;
    int output_bits; // of a sample: 8 or 16
    std::int64_t pixel_count;
};

// A channel's sum, rounded but not yet clamped.
std::int32_t reference_rounded(float sum);

// The processor's matrix after `appended` was multiplied into `matrix` on the right.
matrix_values reference_product(const matrix_values& matrix, const matrix_values& appended);

// Where sample `channel` (blue, green, red, fourth) of a pixel lies in an image, in samples.
std::int64_t reference_sample_index(std::int32_t format, std::int64_t pixel_count, int samples_per_pixel,
                                    std::int64_t pixel, int channel);

// Writes the output samples of the pixels from `first` on, and nothing else.
void reference_convert(const reference_transform& transform, std::int64_t first, std::uint8_t* output);

} // namespace kx_test
