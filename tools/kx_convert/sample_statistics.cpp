#include "sample_statistics.h"

#include <algorithm>

namespace kx::convert {

namespace {

// Rows are red, green, blue, as are columns.
matrix multiply(const matrix& left, const matrix& right)
{
    matrix product{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t inner = 0; inner < 3; ++inner) {
                product.at(3 * row + column) += left.at(3 * row + inner) * right.at(3 * inner + column);
            }
        }
    }
    return product;
}

} // namespace

void clipping::add(const clipping& other)
{
    pixels += other.pixels;
    for (std::size_t channel = 0; channel < below.size(); ++channel) {
        below[channel] += other.below[channel];
        above[channel] += other.above[channel];
    }
}

clipping_counter::clipping_counter(const transform_plan& plan) : plan_(plan), product_{1, 0, 0, 0, 1, 0, 0, 0, 1}
{
    for (const matrix& factor : plan.matrices) {
        product_ = multiply(product_, factor);
    }
    can_clip_ = !plan.matrices.empty() || std::ranges::any_of(plan.clamps, [](const clamp_range& range) {
        return range.minimum > 0 || range.maximum < 0xFFFF;
    });
}

clipping clipping_counter::count(const images::image_16& input, std::uint32_t step) const
{
    clipping counts;
    const bool interleaved = input.layout == images::arrangement::interleaved_rgb;
    const std::size_t stride = interleaved ? 3 : 1;
    per_channel<const std::uint16_t*> start{};
    for (std::size_t channel = 0; channel < start.size(); ++channel) {
        start[channel] = input.samples.data() + (interleaved ? 2 - channel : channel * input.pixel_count());
    }
    const auto sample = [&](std::size_t channel, std::size_t pixel) {
        const std::uint16_t value = start[channel][pixel * stride];
        const auto& table = plan_.input_tables[channel];
        return static_cast<float>(table.empty() ? value : table[value] & 0xFFFF);
    };
    for (std::size_t row = 0; row < input.height; row += step) {
        counts.pixels += input.width;
        for (std::size_t pixel = row * input.width; can_clip_ && pixel < (row + 1) * input.width; ++pixel) {
            const float blue = sample(0, pixel);
            const float green = sample(1, pixel);
            const float red = sample(2, pixel);
            for (std::size_t channel = 0; channel < start.size(); ++channel) {
                const float* const weights = &product_[3 * (2 - channel)];
                const float sum = weights[0] * red + weights[1] * green + weights[2] * blue;
                const double rounded = static_cast<double>(sum) + 0.5; // and truncated toward zero
                const auto [minimum, maximum] = plan_.clamps[channel];
                counts.below[channel] += (minimum > 0 ? rounded < minimum : rounded <= -1.0) ? 1 : 0;
                counts.above[channel] += rounded >= maximum + 1.0 ? 1 : 0;
            }
        }
    }
    return counts;
}

} // namespace kx::convert
