#include "calibration.h"

#include "black_level.h"

#include <algorithm>
#include <cmath>

namespace kx::chart {

namespace {

constexpr double tolerated_share = 0.01;     // of over-exposed pixels in a patch
constexpr double largest_mean = 6.0;         // CIEDE2000: beyond it a fit cannot be one
constexpr std::ptrdiff_t most_left_out = 12; // patches
constexpr double tolerated_deviation = 0.05; // of a grey patch from the line, as a share of its light

// Why the result must not be used, and what may be wrong with it.
void examine(calibration& result, const patch_flags& left_out, const std::optional<black_estimate>& estimate)
{
    const auto over_exposed = std::ranges::count(left_out, true);
    if (over_exposed > most_left_out) {
        result.objections.push_back(std::to_string(over_exposed) + " of the 24 patches are over-exposed");
    }
    if (!(result.after.mean <= largest_mean)) {
        result.objections.emplace_back(
            "no matrix brings the patches near their published colours: are the corners right, and in the order dark "
            "skin, bluish green, black, white? Is the picture linear?");
    }
    if (result.objections.empty() && estimate && !(estimate->deviation <= tolerated_deviation)) {
        result.warnings.push_back("the grey patches, from which the black level is estimated, do not lie on one line: "
                                  + result.after.patches[estimate->farthest].name + " is off by "
                                  + std::to_string(std::lround(100 * estimate->deviation))
                                  + " %. Is the picture linear, and the chart lit evenly?");
    }
}

} // namespace

calibration calibrate(const images::image_16& photograph, const chart_corners& corners,
                      const calibration_options& options)
{
    profile::profile_values values{.description = options.description,
                                   .bits = options.bits,
                                   .black_level = options.black_level.value_or(color{}),
                                   .tone_curve = options.tone_curve,
                                   .output_depth = options.output_depth};
    static_cast<void>(profile::camera_profile(values)); // refuses bits and black levels that cannot be
    const auto measured = measure_patches(photograph, chart_position(corners), options.bits, {}, options.saturation);

    std::vector<observation> patches;
    patch_colors delivered{};
    patch_flags left_out{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        delivered[index] = measured[index].mean;
        left_out[index] = measured[index].saturated_share > tolerated_share;
        if (!left_out[index]) {
            patches.push_back({index, delivered[index], to_linear_srgb(options.reference[index].published)});
        }
    }
    std::optional<black_estimate> estimate;
    const double largest = largest_sample(options.bits);
    if (!options.black_level) {
        estimate = estimate_black_level(patches);
        std::ranges::transform(estimate->level, values.black_level.begin(),
                               [&](double level) { return level * largest; });
    }
    const auto take_off_black = [&](color light) {
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const double black = values.black_level[channel] / largest;
            light[channel] = (light[channel] - black) / (1.0 - black);
        }
        return light;
    };
    for (observation& patch : patches) {
        patch.camera = take_off_black(patch.camera);
    }

    // The smallest gain goes into the matrix: the others then clip no channel before it is saturated.
    const color gains = fit_gains(patches);
    const double smallest = std::ranges::min(gains);
    for (std::size_t channel = 0; channel < 3; ++channel) {
        values.white_balance[channel] = gains[channel] / smallest;
        for (observation& patch : patches) {
            patch.camera[channel] *= values.white_balance[channel];
        }
    }
    values.matrix =
        fit_matrix(patches, options.fit == matrix_fit::white_preserving ? std::optional(smallest) : std::nullopt);
    patch_colors corrected{};
    std::ranges::transform(delivered, corrected.begin(), [&](const color& sample) {
        color balanced = take_off_black(sample);
        for (std::size_t channel = 0; channel < 3; ++channel) {
            balanced[channel] *= values.white_balance[channel];
        }
        return clip(values.matrix * clip(balanced));
    });
    calibration result{profile::camera_profile(values),
                       judge(delivered, options.reference, left_out),
                       judge(corrected, options.reference, left_out),
                       {},
                       {}};
    examine(result, left_out, estimate);
    return result;
}

} // namespace kx::chart
