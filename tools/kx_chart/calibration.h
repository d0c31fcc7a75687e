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
    int bits = 16;                                      // that the camera delivers
    std::optional<profile::channel_values> black_level; // else estimated from the grey patches
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

    std::vector<std::string> warnings;   // what may be wrong
    std::vector<std::string> objections; // why the profile must not be used: the colours fit nowhere, for one
};

// Finds white balance and matrix, and the black level where none is given. Patches with more than a hundredth of
// over-exposed pixels are left out of it and of both judgements' means. Throws std::runtime_error when what remains
// determines no profile, or the photograph's samples exceed 2^bits - 1.
calibration calibrate(const images::image_16& photograph, const chart_corners& corners,
                      const calibration_options& options = {});

} // namespace kx::chart
