#include "black_level.h"

#include "measurement.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
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
    const auto margin = static_cast<std::ptrdiff_t>(left_out * static_cast<double>(pixels));
    std::vector<std::uint16_t> samples(pixels);
    profile::channel_values level{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
            samples[pixel] = dark_frame.samples[sample_index(dark_frame, pixel, channel)];
        }
        const auto first = samples.begin() + margin;
        const auto last = samples.end() - margin - 1;
        std::nth_element(samples.begin(), first, samples.end());
        std::nth_element(first, last, samples.end());
        level[channel] = std::accumulate(first, last + 1, 0.0) / static_cast<double>(last + 1 - first);
        const double full_scale = largest_sample(bits);
        if (!(level[channel] <= full_scale / 4 && *last - *first <= full_scale / 16)) {
            throw std::runtime_error(
                "the dark frame is not dark: its mean is more than a quarter of full scale, or its "
                "samples differ by more than a sixteenth");
        }
    }
    return level;
}

} // namespace kx::chart
