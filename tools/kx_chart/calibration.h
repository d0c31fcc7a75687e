// From a photograph of the chart to the camera's profile.
#pragma once

#include "judgement.h"
#include "measurement.h"

#include "profile/camera_profile.h"

#include <optional>
#include <string>
#include <vector>

namespace kx::chart {

enum class matrix_fit {
    white_preserving, // the least squared error among the matrices that turn equal balanced samples into a neutral grey
    least_squares     // the least squared error
};

struct calibration_options {
    int bits = 16;                           // that the camera delivers
    profile::channel_values black_level{};   // see measure_black_level
    std::optional<std::uint16_t> saturation; // samples from here on count as over-exposed; else the largest, 2^bits - 1
    matrix_fit fit = matrix_fit::white_preserving;
    reference_chart reference = published_reference();

    // What the profile says besides: these do not enter the calibration.
    std::string description;
    profile::tone_curve tone_curve = profile::tone_curve::named("srgb");
    int output_depth = 8;
};

struct calibration {
    profile::camera_profile profile;
    judgement before; // the photograph as the camera delivers it, taken for linear sRGB
    judgement after;  // with the profile, without the last rounding
};

// Finds white balance and matrix. Patches with more than a hundredth of over-exposed pixels are left out of it and of
// both judgements' means. Throws std::runtime_error when what remains determines no profile, or the photograph's
// samples exceed 2^bits - 1.
calibration calibrate(const images::image_16& photograph, const chart_corners& corners,
                      const calibration_options& options = {});

// The mean of each channel in a picture taken without light, of all but the darkest and brightest hundredth, which hold
// the hot pixels. Throws std::runtime_error for a picture that is not dark.
profile::channel_values measure_black_level(const images::image_16& dark_frame, int bits);

} // namespace kx::chart
