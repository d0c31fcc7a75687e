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

std::string patch_name(std::size_t index)
{
    return "the patch '" + published_reference().at(index).name + "'";
}

void require_within(const images::image_16& picture, std::size_t index, const chart_position& position)
{
    const std::size_t column = index % patch_columns;
    const std::size_t row = index / patch_columns;
    for (const point& corner : {point{-1, -1}, {1, -1}, {1, 1}, {-1, 1}}) {
        const auto [x, y] = position.to_picture(
            {static_cast<double>(column) + half_edge * corner.x, static_cast<double>(row) + half_edge * corner.y});
        if (!(x >= 0.0 && y >= 0.0 && x <= picture.width - 1.0 && y <= picture.height - 1.0)) {
            throw std::runtime_error(patch_name(index) + " lies beyond the picture's " + std::to_string(picture.width)
                                     + " x " + std::to_string(picture.height) + " pixels: are the corners right?");
        }
    }
}

// The patch in whose middle a pixel lies.
std::optional<std::size_t> patch_at(const point& place)
{
    const double column = std::round(place.x);
    const double row = std::round(place.y);
    if (!(std::abs(place.x - column) <= half_edge && std::abs(place.y - row) <= half_edge && column >= 0.0
          && column < patch_columns && row >= 0.0 && row < patch_rows)) {
        return std::nullopt;
    }
    return static_cast<std::size_t>(row) * patch_columns + static_cast<std::size_t>(column);
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
    std::array<int, patch_count> counts{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        require_within(picture, index, position);
    }
    for (std::size_t pixel = 0; pixel < picture.pixel_count(); ++pixel) {
        const std::size_t column = pixel % picture.width;
        const std::size_t row = pixel / picture.width;
        const auto index = patch_at(position.to_chart({static_cast<double>(column), static_cast<double>(row)}));
        if (!index) {
            continue;
        }
        bool is_saturated = false;
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const std::uint16_t sample = picture.samples[sample_index(picture, pixel, channel)];
            measured[*index].mean[channel] += light[sample];
            is_saturated = is_saturated || sample >= saturation.value_or(largest);
        }
        measured[*index].saturated_share += is_saturated ? 1.0 : 0.0;
        ++counts[*index];
    }
    for (std::size_t index = 0; index < patch_count; ++index) {
        if (counts[index] < fewest_pixels) {
            throw std::runtime_error(patch_name(index) + " has only " + std::to_string(counts[index])
                                     + " pixels to be measured");
        }
        measured[index].saturated_share /= counts[index];
        for (double& channel : measured[index].mean) {
            channel /= counts[index];
        }
    }
    return measured;
}

} // namespace kx::chart
