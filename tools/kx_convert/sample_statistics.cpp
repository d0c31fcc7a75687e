#include "sample_statistics.h"

#include <algorithm>

namespace kx::convert {

void clipping::add(const clipping& other)
{
    pixels += other.pixels;
    for (std::size_t channel = 0; channel < below.size(); ++channel) {
        below[channel] += other.below[channel];
        above[channel] += other.above[channel];
    }
}

clipping count_clipping(const profile::library_settings& library, const images::image_16& input, std::uint32_t step)
{
    const std::array<float, 9>& matrix = library.matrix;
    const bool can_clip = matrix != std::array<float, 9>{1, 0, 0, 0, 1, 0, 0, 0, 1}
                          || std::ranges::any_of(library.clamps, [](const profile::clamp_range& range) {
                                 return range.minimum > 0 || range.maximum < 0xFFFF;
                             });
    clipping counts;
    const bool interleaved = input.layout == images::arrangement::interleaved_rgb;
    const std::size_t stride = interleaved ? 3 : 1;
    per_channel<const std::uint16_t*> start{};
    for (std::size_t channel = 0; channel < start.size(); ++channel) {
        start[channel] = input.samples.data() + (interleaved ? channel : (2 - channel) * input.pixel_count());
    }
    const auto sample = [&](std::size_t channel, std::size_t pixel) {
        const std::uint16_t value = start[channel][pixel * stride];
        const auto& LUT = library.input_LUTs[channel];
        return static_cast<float>(LUT.empty() ? value : LUT[value] & 0xFFFF);
    };
    for (std::size_t row = 0; row < input.height; row += step) {
        counts.pixels += input.width;
        for (std::size_t pixel = row * input.width; can_clip && pixel < (row + 1) * input.width; ++pixel) {
            const float red = sample(0, pixel);
            const float green = sample(1, pixel);
            const float blue = sample(2, pixel);
            for (std::size_t channel = 0; channel < start.size(); ++channel) {
                const float* const weights = &matrix[3 * channel];
                const float sum = weights[0] * red + weights[1] * green + weights[2] * blue;
                const double rounded = static_cast<double>(sum) + 0.5; // and truncated toward zero
                const auto [minimum, maximum] = library.clamps[channel];
                counts.below[channel] += (minimum > 0 ? rounded < minimum : rounded <= -1.0) ? 1 : 0;
                counts.above[channel] += rounded >= maximum + 1.0 ? 1 : 0;
            }
        }
    }
    return counts;
}

} // namespace kx::convert
