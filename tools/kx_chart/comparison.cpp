#include "comparison.h"

#include "measurement.h"

#include <algorithm>
#include <stdexcept>

namespace kx::chart {

namespace {

constexpr std::uint32_t widest_half = 1024;
constexpr std::uint32_t divider = 16; // a white strip between the halves

// Draws the picture, reduced, at `left`. `light_of` gives the light that a sample stands for.
template <typename Sample, typename Light>
void draw_half(images::image_8& target, std::uint32_t left, const images::image<Sample>& source,
               std::uint32_t reduction, Light light_of)
{
    for (std::uint32_t y = 0; y < source.height / reduction; ++y) {
        for (std::uint32_t x = 0; x < source.width / reduction; ++x) {
            color sum{};
            for (std::uint32_t place = 0; place < reduction * reduction; ++place) {
                const std::size_t pixel =
                    std::size_t{y * reduction + place / reduction} * source.width + x * reduction + place % reduction;
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    sum.at(channel) += light_of(source.samples[sample_index(source, pixel, channel)]);
                }
            }
            for (double& channel : sum) {
                channel /= static_cast<double>(reduction) * reduction;
            }
            std::ranges::copy(encode_srgb(sum),
                              target.samples.begin()
                                  + static_cast<std::ptrdiff_t>(3 * (std::size_t{y} * target.width + left + x)));
        }
    }
}

} // namespace

images::image_8 before_and_after(const images::image_16& before, int bits, const images::image_8& after)
{
    if (before.width != after.width || before.height != after.height) {
        throw std::runtime_error("the two pictures differ in size");
    }
    const std::uint32_t reduction = (before.width + widest_half - 1) / widest_half;
    const std::uint32_t half = before.width / reduction;
    images::image_8 both;
    both.width = 2 * half + divider;
    both.height = before.height / reduction;
    both.samples.assign(3 * both.pixel_count(), 255);
    const double largest = (1 << bits) - 1;
    draw_half(both, 0, before, reduction, [largest](std::uint16_t sample) { return sample / largest; });
    const auto decode = profile::tone_curve::named("inverse:srgb");
    std::array<double, 256> light{};
    for (std::size_t sample = 0; sample < light.size(); ++sample) {
        light.at(sample) = decode(static_cast<double>(sample) / 255.0);
    }
    draw_half(both, half + divider, after, reduction, [&light](std::uint8_t sample) { return light.at(sample); });
    return both;
}

} // namespace kx::chart
