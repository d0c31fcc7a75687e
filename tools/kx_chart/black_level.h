// What a camera delivers without light.
#pragma once

#include "matrix_fit.h"

#include "images/image_file.h"

namespace kx::chart {

// The mean of each channel in a picture taken without light, of all but the darkest and brightest hundredth, which hold
// the hot pixels. Throws std::runtime_error for a picture that is not dark.
profile::channel_values measure_black_level(const images::image_16& dark_frame, int bits);

struct black_estimate {
    color level{};
    double deviation = 0;     // of the grey patch that lies farthest from its line, as a share of its light
    std::size_t farthest = 0; // that patch
};

// From the grey patches of a lit picture: their samples, over the light that the camera sees of them, lie on a line for
// each channel, which ends at the black level. The observations are with the black level in them, in units of full
// scale. Throws std::runtime_error when there are fewer than three grey patches.
black_estimate estimate_black_level(const std::vector<observation>& patches);

} // namespace kx::chart
