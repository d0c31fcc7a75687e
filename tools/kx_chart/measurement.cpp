#include "measurement.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::chart {

namespace {

// Half the edge of what is measured, in units of the distance between patches; half a patch is some 0.45 of it.
constexpr double half_edge = 0.22;
constexpr int fewest_pixels = 16;

// The pixels that a patch's middle may cover: columns and rows, the last ones included.
struct pixel_range {
    int left, top, right, bottom;
};

std::string name_of(std::size_t index)
{
    return published_reference().at(index).name;
}

// In the chart's coordinates, which count patches.
point center_of(std::size_t index)
{
    const std::size_t row = index / patch_columns;
    const std::size_t column = index % patch_columns;
    return {static_cast<double>(column), static_cast<double>(row)};
}

pixel_range range_of(std::size_t index, const chart_position& position, std::uint32_t width, std::uint32_t height)
{
    const auto [column, row] = center_of(index);
    std::vector<double> x;
    std::vector<double> y;
    for (const point& corner : {point{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}) {
        const point place = position.to_picture({column + half_edge * corner.x, row + half_edge * corner.y});
        x.push_back(place.x);
        y.push_back(place.y);
    }
    const auto [left, right] = std::ranges::minmax(x);
    const auto [top, bottom] = std::ranges::minmax(y);
    if (!(left >= 0.0 && top >= 0.0 && right <= width - 1.0 && bottom <= height - 1.0)) {
        throw std::runtime_error("the patch '" + name_of(index) + "' lies beyond the picture's " + std::to_string(width)
                                 + " x " + std::to_string(height) + " pixels: are the corners right?");
    }
    return {static_cast<int>(std::ceil(left)), static_cast<int>(std::ceil(top)), static_cast<int>(right),
            static_cast<int>(bottom)};
}

// `light` has what each sample stands for.
patch_measurement measure_patch(std::size_t index, const images::image_16& picture, const chart_position& position,
                                const std::vector<double>& light, double saturation)
{
    const auto [column, row] = center_of(index);
    const pixel_range range = range_of(index, position, picture.width, picture.height);
    patch_measurement measured;
    int count = 0;
    int saturated = 0;
    for (int y = range.top; y <= range.bottom; ++y) {
        for (int x = range.left; x <= range.right; ++x) {
            const point place = position.to_chart({static_cast<double>(x), static_cast<double>(y)});
            if (std::abs(place.x - column) > half_edge || std::abs(place.y - row) > half_edge) {
                continue;
            }
            const std::size_t pixel = static_cast<std::size_t>(y) * picture.width + static_cast<std::size_t>(x);
            bool is_saturated = false;
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const std::uint16_t sample = picture.samples[sample_index(picture, pixel, channel)];
                measured.mean[channel] += light[sample];
                is_saturated = is_saturated || sample >= saturation;
            }
            saturated += is_saturated ? 1 : 0;
            ++count;
        }
    }
    if (count < fewest_pixels) {
        throw std::runtime_error("the patch '" + name_of(index) + "' has only " + std::to_string(count)
                                 + " pixels to be measured");
    }
    for (double& channel : measured.mean) {
        channel /= count;
    }
    measured.saturated_share = static_cast<double>(saturated) / count;
    return measured;
}

} // namespace

void check_samples(const images::image_16& picture, int bits)
{
    const auto largest = std::ranges::max_element(picture.samples);
    if (largest != picture.samples.end() && *largest > largest_sample(bits)) {
        throw std::runtime_error("a sample of " + std::to_string(*largest) + " is more than a camera of "
                                 + std::to_string(bits) + " bits delivers");
    }
}

std::array<patch_measurement, patch_count> measure_patches(const images::image_16& picture,
                                                           const chart_position& position, int bits,
                                                           const profile::tone_curve& to_light,
                                                           std::optional<std::uint16_t> saturation)
{
    check_samples(picture, bits);
    const double largest = largest_sample(bits);
    std::vector<double> light(std::size_t{1} << bits);
    for (std::size_t sample = 0; sample < light.size(); ++sample) {
        light[sample] = to_light(static_cast<double>(sample) / largest);
    }
    std::array<patch_measurement, patch_count> measured{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        measured[index] = measure_patch(index, picture, position, light, saturation.value_or(largest));
    }
    return measured;
}

} // namespace kx::chart
