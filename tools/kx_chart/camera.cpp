#include "camera.h"

#include "reference_chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <vector>

namespace kx::chart {

namespace {

// How much of each of the scene's primaries passes each color filter. A row's sum is 1: under this light grey
// stays grey but for the channels' sensitivity.
constexpr color_matrix crosstalk{{{0.64, 0.30, 0.06}, {0.19, 0.66, 0.15}, {0.05, 0.24, 0.71}}};

constexpr cmsCIELab card_lab{13.0, 0.0, -1.0};
constexpr cmsCIELab table_lab{52.0, 8.0, 20.0};

// In units of the distance between patches.
constexpr double half_patch = 0.45;
constexpr double card_margin = 0.6; // from the centres of the outer patches to the card's edge

// Makes samples of light, 1 being full scale.
class sensor {
public:
    explicit sensor(const simulated_camera& camera)
        : camera_(camera), largest_(static_cast<double>((1 << camera.bits) - 1)), random_(camera.seed)
    {
    }

    std::uint16_t sample(double light, std::size_t channel)
    {
        const double electrons = light * camera_.full_well;
        const double deviation = std::sqrt(electrons + camera_.read_noise * camera_.read_noise);
        const double noisy = (electrons + deviation * normal_(random_)) / camera_.full_well;
        const double black = camera_.black_level.at(channel);
        return static_cast<std::uint16_t>(std::lround(std::clamp(black + noisy * (largest_ - black), 0.0, largest_)));
    }

private:
    simulated_camera camera_;
    double largest_;
    std::mt19937 random_;
    std::normal_distribution<double> normal_;
};

// The scene: what lies where, and how much light falls on it.
class scene {
public:
    explicit scene(double metamerism)
    {
        const lab_converter converter;
        std::mt19937 random(5); // the paints stay the same
        std::normal_distribution<double> deviation(1.0, metamerism);
        for (const patch& reference : published_reference()) {
            color response = camera_response(converter.to_linear_srgb(reference.published));
            for (double& channel : response) {
                channel *= patches_.size() < first_neutral ? deviation(random) : 1.0;
            }
            patches_.push_back(response);
        }
        card_ = camera_response(converter.to_linear_srgb(card_lab));
        table_ = camera_response(converter.to_linear_srgb(table_lab));
    }

    [[nodiscard]] const color& at(const point& place) const
    {
        const double column = std::round(place.x);
        const double row = std::round(place.y);
        if (outside_card(place) > 0.0) {
            return table_;
        }
        if (std::abs(place.x - column) > half_patch || std::abs(place.y - row) > half_patch || column < 0.0
            || column >= patch_columns || row < 0.0 || row >= patch_rows) {
            return card_;
        }
        return patches_[static_cast<std::size_t>(row) * patch_columns + static_cast<std::size_t>(column)];
    }

    // Even on the card, fading toward the edges of the table.
    [[nodiscard]] static double light_at(const point& place)
    {
        constexpr double darkest = 0.35;
        constexpr double reach = 1.2;
        const double t = std::min(outside_card(place) / reach, 1.0);
        return 1.0 - (1.0 - darkest) * t * t * (3.0 - 2.0 * t);
    }

private:
    // The distance from the card, 0 on it.
    static double outside_card(const point& place)
    {
        const auto beyond = [](double value, std::size_t count) {
            return std::max({-card_margin - value, value - (static_cast<double>(count - 1) + card_margin), 0.0});
        };
        return std::hypot(beyond(place.x, patch_columns), beyond(place.y, patch_rows));
    }

    std::vector<color> patches_;
    color card_{};
    color table_{};
};

// A picture whose light `light_at` gives for each pixel.
template <typename Light>
images::image_16 take_picture(const simulated_camera& camera, Light light_at)
{
    images::image_16 frame;
    frame.width = camera.width;
    frame.height = camera.height;
    frame.samples.reserve(3 * frame.pixel_count());
    sensor chip(camera);
    for (std::uint32_t y = 0; y < camera.height; ++y) {
        for (std::uint32_t x = 0; x < camera.width; ++x) {
            const color light = light_at(point{static_cast<double>(x), static_cast<double>(y)});
            for (std::size_t channel = 0; channel < 3; ++channel) {
                frame.samples.push_back(chip.sample(light[channel], channel));
            }
        }
    }
    return frame;
}

} // namespace

color camera_response(const color& linear_srgb)
{
    color response = crosstalk * linear_srgb;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        response[channel] = std::max(0.0, response[channel] / simulated_gains[channel]);
    }
    return response;
}

images::image_16 photograph_chart(const simulated_camera& camera)
{
    const scene surroundings(camera.metamerism);
    const chart_position position(camera.corners);
    return take_picture(camera, [&](const point& pixel) {
        const point place = position.to_chart(pixel);
        color light = surroundings.at(place);
        for (double& channel : light) {
            channel *= camera.exposure * scene::light_at(place);
        }
        return light;
    });
}

images::image_16 photograph_darkness(const simulated_camera& camera)
{
    return take_picture(camera, [](const point&) { return color{}; });
}

} // namespace kx::chart
