#include "reference.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace kx::verify {

namespace {

// The matrix after `appended` was multiplied into it on the right.
matrix_values product(const matrix_values& matrix, const matrix_values& appended)
{
    matrix_values result{};
    for (std::size_t i = 0; i < 3; ++i) {
        for (std::size_t j = 0; j < 3; ++j) {
            const float first = matrix[3 * i] * appended[j];
            const float second = matrix[3 * i + 1] * appended[3 + j];
            const float third = matrix[3 * i + 2] * appended[6 + j];
            float sum = 0.0F + first;
            sum = sum + second;
            result[3 * i + j] = sum + third;
        }
    }
    return result;
}

std::uint32_t finished(float sum, const channel_settings& settings, const std::uint32_t* output_LUT)
{
    const std::int32_t at_most_max = std::min(reference_rounded(sum), std::int32_t{settings.clamp_max});
    const std::int32_t clamped = std::max(at_most_max, std::int32_t{settings.clamp_min});
    const std::uint32_t bits = output_LUT != nullptr ? output_LUT[clamped] : static_cast<std::uint32_t>(clamped);
    if (settings.shift_distance >= 0) {
        return bits << settings.shift_distance;
    }
    return static_cast<std::uint32_t>(static_cast<std::int32_t>(bits) >> -settings.shift_distance);
}

} // namespace

std::int64_t reference_sample_index(std::int32_t layout, std::int64_t pixel_count, int samples_per_pixel,
                                    std::int64_t pixel, int channel)
{
    if (layout == 0) {
        return pixel_count * channel + pixel;
    }
    const bool swapped = layout == 2 && channel != 3;
    return pixel * samples_per_pixel + (swapped ? 2 - channel : channel);
}

void reference_convert(const conversion& wanted, const LUT_set& LUTs, std::uint8_t* output)
{
    const combination& choices = wanted.choices;
    matrix_values m = identity;
    for (const matrix_values& appended : wanted.matrices) {
        m = product(m, appended);
    }
    for (std::int64_t pixel = 0; pixel < wanted.pixel_count; ++pixel) {
        float in[3] = {}; // blue, green, red
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const std::int64_t index =
                reference_sample_index(choices.input_layout, wanted.pixel_count, 3, pixel, static_cast<int>(channel));
            const std::uint16_t sample = wanted.samples[static_cast<std::size_t>(index)];
            in[channel] = choices.input_LUT[channel] ? static_cast<float>(LUTs.input[channel][sample] & 0xFFFFU)
                                                     : static_cast<float>(sample);
        }
        for (int channel = 0; channel < choices.samples_per_pixel(); ++channel) {
            std::uint32_t value = 0;
            if (channel < 3) {
                const auto at = static_cast<std::size_t>(channel);
                const std::size_t row = 3 * (2 - at);
                float sum = m[row] * in[2];
                const float green_part = m[row + 1] * in[1];
                sum = sum + green_part;
                const float blue_part = m[row + 2] * in[0];
                sum = sum + blue_part;
                value = finished(sum, wanted.channels[at], choices.output_LUT[at] ? LUTs.output[at] : nullptr);
            }
            const std::int64_t index = reference_sample_index(choices.output_layout, wanted.pixel_count,
                                                              choices.samples_per_pixel(), pixel, channel);
            if (choices.output_bits == 8) {
                output[index] = static_cast<std::uint8_t>(value);
            } else {
                const auto word = static_cast<std::uint16_t>(value);
                std::memcpy(output + 2 * index, &word, sizeof word);
            }
        }
    }
}

} // namespace kx::verify
