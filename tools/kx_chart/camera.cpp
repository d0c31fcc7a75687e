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

// The white-balance gains that red and blue would need to catch up with green.
constexpr color white_balance_gains{1.90, 1.00, 1.55};

// The green sample of a perfect white: leaves room for noise above.
constexpr double exposure = 0.92;

constexpr cmsCIELab card_lab{13.0, 0.0, -1.0};
constexpr cmsCIELab table_lab{52.0, 8.0, 20.0};

// The light: even on the card, fading toward the corners of the table.
double light_at(int x, int y, const rectangle& card)
{
    constexpr double darkest = 0.35;
    constexpr double reach = 420.0;
    const double beyond_x = std::max({card.left - x, x - (card.left + card.width - 1), 0});
    const double beyond_y = std::max({card.top - y, y - (card.top + card.height - 1), 0});
    const double t = std::min(std::hypot(beyond_x, beyond_y) / reach, 1.0);
    return 1.0 - (1.0 - darkest) * t * t * (3.0 - 2.0 * t);
}

// Where the patches lie on one axis: the patch's number for each pixel, or -1 between them.
std::vector<int> patches_along(int length, std::size_t count, std::size_t stride, int rectangle::*start,
                               int rectangle::*extent)
{
    std::vector<int> along(static_cast<std::size_t>(length), -1);
    for (std::size_t number = 0; number < count; ++number) {
        const rectangle area = patch_area(number * stride);
        std::fill_n(along.begin() + area.*start, area.*extent, static_cast<int>(number));
    }
    return along;
}

// Adds noise to samples, in electrons.
class sensor_noise {
public:
    explicit sensor_noise(const noise& sensor) : sensor_(sensor), random_(sensor.seed) {}

    std::uint16_t sample(double light)
    {
        const double electrons = light * sensor_.full_well;
        const double deviation = std::sqrt(electrons + sensor_.read_noise * sensor_.read_noise);
        const double noisy = (electrons + deviation * normal_(random_)) / sensor_.full_well;
        return static_cast<std::uint16_t>(std::lround(65535.0 * std::clamp(noisy, 0.0, 1.0)));
    }

private:
    noise sensor_;
    std::mt19937 random_;
    std::normal_distribution<double> normal_;
};

} // namespace

color camera_response(const color& linear_srgb)
{
    color response = crosstalk * linear_srgb;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        response[channel] = std::max(0.0, exposure * response[channel] / white_balance_gains[channel]);
    }
    return response;
}

images::image_16 photograph_chart(const noise& sensor)
{
    const lab_converter converter;
    const auto response = [&converter](const cmsCIELab& lab) { return camera_response(converter.to_linear_srgb(lab)); };
    std::vector<color> patches;
    for (const patch& reference : reference_patches) {
        patches.push_back(response(reference.published));
    }
    const color card_color = response(card_lab);
    const color table = response(table_lab);

    const rectangle card = card_area();
    const std::vector<int> columns = patches_along(frame_width, patch_columns, 1, &rectangle::left, &rectangle::width);
    const std::vector<int> rows =
        patches_along(frame_height, patch_rows, patch_columns, &rectangle::top, &rectangle::height);

    images::image_16 frame;
    frame.width = frame_width;
    frame.height = frame_height;
    frame.samples.reserve(3 * frame.pixel_count());
    sensor_noise noise_of_sample(sensor);
    for (int y = 0; y < frame_height; ++y) {
        for (int x = 0; x < frame_width; ++x) {
            const int column = columns[static_cast<std::size_t>(x)];
            const int row = rows[static_cast<std::size_t>(y)];
            const color* surface = card.contains(x, y) ? &card_color : &table;
            if (column >= 0 && row >= 0) {
                surface = &patches[static_cast<std::size_t>(row) * patch_columns + static_cast<std::size_t>(column)];
            }
            const double light = light_at(x, y, card);
            for (const double channel : *surface) {
                frame.samples.push_back(noise_of_sample.sample(light * channel));
            }
        }
    }
    return frame;
}

} // namespace kx::chart
