#include "reference.h"

#include <cstddef>
#include <cstring>
#include <limits>

namespace kx_test {

namespace {

std::int32_t converted(const reference_channel& channel, float sum)
{
    std::int32_t value = reference_rounded(sum);
    if (value > channel.clamp_max) {
        value = channel.clamp_max;
    }
    if (value < channel.clamp_min) {
        value = channel.clamp_min;
    }
    std::uint32_t bits = static_cast<std::uint32_t>(value);
    if (channel.output_LUT != nullptr) {
        bits = channel.output_LUT[value];
    }
    if (channel.shift_distance > 0) {
        bits = bits << channel.shift_distance;
    } else if (channel.shift_distance < 0) {
        bits = static_cast<std::uint32_t>(static_cast<std::int32_t>(bits) >> -channel.shift_distance);
    }
    return static_cast<std::int32_t>(bits);
}

void store(std::uint8_t* output, std::int64_t index, int bits, std::int32_t value)
{
    if (bits == 8) {
        output[index] = static_cast<std::uint8_t>(value);
    } else {
        const auto sample = static_cast<std::uint16_t>(value);
        std::memcpy(output + 2 * index, &sample, 2);
    }
}

} // namespace

std::int32_t reference_rounded(float sum)
{
    const double rounded = static_cast<double>(sum) + 0.5;
    // Written so that NaN takes the first branch.
    if (!(rounded > -2147483649.0 && rounded < 2147483648.0)) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(rounded);
}

matrix_values reference_product(const matrix_values& matrix, const matrix_values& appended)
{
    matrix_values product{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const float first = matrix[3 * i] * appended[j];
            const float second = matrix[3 * i + 1] * appended[3 + j];
            const float third = matrix[3 * i + 2] * appended[6 + j];
            float sum = 0.0F + first;
            sum = sum + second;
            product[3 * i + j] = sum + third;
        }
    }
    return product;
}

std::int64_t reference_sample_index(std::int32_t format, std::int64_t pixel_count, int samples_per_pixel,
                                    std::int64_t pixel, int channel)
{
    if (format == 1 || channel == 3) {
        if (format == 1 || format == 2) {
            return pixel * samples_per_pixel + channel;
        }
        return pixel_count * channel + pixel;
    }
    if (format == 2) {
        return pixel * samples_per_pixel + (2 - channel);
    }
    return pixel_count * channel + pixel;
}

void reference_convert(const reference_transform& transform, std::int64_t first, std::uint8_t* output)
{
    const std::int64_t count = transform.pixel_count;
    const int samples_out = transform.fourth_sample ? 4 : 3;
    const matrix_values& m = transform.matrix;
    for (std::int64_t pixel = first; pixel < count; ++pixel) {
        float in[3] = {}; // blue, green, red
        for (int channel = 0; channel < 3; ++channel) {
            std::uint16_t sample =
                transform.input[reference_sample_index(transform.input_format, count, 3, pixel, channel)];
            const std::uint32_t* LUT = transform.channels[static_cast<std::size_t>(channel)].input_LUT;
            if (LUT != nullptr) {
                sample = static_cast<std::uint16_t>(LUT[sample] & 0xFFFFU);
            }
            in[channel] = static_cast<float>(sample);
        }
        for (int channel = 0; channel < 3; ++channel) {
            const auto row = static_cast<std::size_t>(3 * (2 - channel));
            float sum = m[row] * in[2];
            const float green_part = m[row + 1] * in[1];
            sum = sum + green_part;
            const float blue_part = m[row + 2] * in[0];
            sum = sum + blue_part;
            store(output, reference_sample_index(transform.output_format, count, samples_out, pixel, channel),
                  transform.output_bits, converted(transform.channels[static_cast<std::size_t>(channel)], sum));
        }
        if (transform.fourth_sample) {
            store(output, reference_sample_index(transform.output_format, count, samples_out, pixel, 3),
                  transform.output_bits, 0);
        }
    }
}

} // namespace kx_test
