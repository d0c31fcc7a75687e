#include "black_level.h"

#include "measurement.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <stdexcept>

namespace kx::chart {

namespace {

struct grey {
    std::size_t index;
    double light;
    double sample;
};

// sample = black + slope x light
struct line {
    double black;
    double slope;
};

// The error to be expected of a patch: paint and illumination are off by a share of its light, but for a small rest.
double expected_error(const grey& patch, const std::vector<grey>& all)
{
    constexpr double rest = 0.05;
    return patch.light + rest * std::ranges::max(all, {}, &grey::light).light;
}

line line_through(const std::vector<grey>& patches)
{
    double weights = 0;
    double light = 0;
    double sample = 0;
    double light_light = 0;
    double light_sample = 0;
    for (const grey& patch : patches) {
        const double weight = std::pow(expected_error(patch, patches), -2);
        weights += weight;
        light += weight * patch.light;
        sample += weight * patch.sample;
        light_light += weight * patch.light * patch.light;
        light_sample += weight * patch.light * patch.sample;
    }
    const double end = (light_light * sample - light * light_sample) / (weights * light_light - light * light);
    const double black = std::max(end, 0.0);
    return {black, (light_sample - black * light) / light_light};
}

black_estimate fit_lines(const std::vector<observation>& patches, const color_matrix& to_camera)
{
    black_estimate estimate;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        std::vector<grey> greys;
        for (const observation& patch : patches) {
            if (patch.is_neutral()) {
                greys.push_back({patch.index, (to_camera * patch.target)[channel], patch.camera[channel]});
            }
        }
        const auto [black, slope] = line_through(greys);
        estimate.level[channel] = black;
        for (const grey& patch : greys) {
            const double deviation =
                std::abs(patch.sample - black - slope * patch.light) / std::abs(slope * expected_error(patch, greys));
            if (!(deviation <= estimate.deviation)) { // NaN, too
                estimate.deviation = deviation;
                estimate.farthest = patch.index;
            }
        }
    }
    return estimate;
}

} // namespace

black_estimate estimate_black_level(const std::vector<observation>& patches)
{
    constexpr int rounds = 4;
    if (std::ranges::count_if(patches, &observation::is_neutral) < 3) {
        throw std::runtime_error("too many grey patches are over-exposed to estimate the black level from the others");
    }
    // What the camera sees of the greys, which are only nearly grey, follows from the matrix, and that from the black
    // level: a few rounds find both, from a camera that sees as sRGB does.
    black_estimate estimate = fit_lines(patches, profile::identity_matrix);
    for (int round = 1; round < rounds; ++round) {
        std::vector<observation> lit = patches;
        for (observation& patch : lit) {
            std::ranges::transform(patch.camera, estimate.level, patch.camera.begin(), std::minus());
        }
        estimate = fit_lines(patches, inverse(fit_matrix(lit)).value_or(profile::identity_matrix));
    }
    return estimate;
}

profile::channel_values measure_black_level(const images::image_16& dark_frame, int bits)
{
    constexpr double left_out = 0.01;
    check_samples(dark_frame, bits);
    const std::size_t pixels = dark_frame.pixel_count();
    profile::channel_values level{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        std::vector<std::size_t> counts(65536);
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            ++counts[dark_frame.samples[sample_index(dark_frame, pixel, channel)]];
        }
        const auto margin = static_cast<std::size_t>(left_out * static_cast<double>(pixels));
        std::size_t seen = 0;
        double smallest = 65535;
        double largest = 0;
        for (std::size_t sample = 0; sample < counts.size(); ++sample) {
            // Those of this sample that lie between the margins.
            const std::size_t first = std::clamp(seen, margin, pixels - margin);
            seen += counts[sample];
            const std::size_t end = std::clamp(seen, margin, pixels - margin);
            level[channel] += static_cast<double>(sample) * static_cast<double>(end - first);
            if (end != first) {
                smallest = std::min(smallest, static_cast<double>(sample));
                largest = static_cast<double>(sample);
            }
        }
        level[channel] /= static_cast<double>(pixels - 2 * margin);
        if (!(level[channel] <= largest_sample(bits) / 4 && largest - smallest <= largest_sample(bits) / 16)) {
            throw std::runtime_error(
                "the dark frame is not dark: its mean is more than a quarter of full scale, or its "
                "samples differ by more than a sixteenth");
        }
    }
    return level;
}

} // namespace kx::chart
