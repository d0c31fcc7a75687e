// The mean colour of each patch in a picture.
#pragma once

#include "chart_position.h"
#include "reference_chart.h"

#include "images/image_file.h"

#include <cstddef>
#include <cstdint>

namespace kx::chart {

// Where a pixel's sample lies in the picture, whatever its arrangement; channels are 0 red, 1 green, 2 blue.
template <typename Sample>
std::size_t sample_index(const images::image<Sample>& picture, std::size_t pixel, std::size_t channel)
{
    return picture.layout == images::arrangement::interleaved_rgb ? pixel * picture.channels + channel
                                                                  : (2 - channel) * picture.pixel_count() + pixel;
}

// The largest sample that a camera of so many bits delivers.
inline double largest_sample(int bits)
{
    return static_cast<double>((1 << bits) - 1);
}

// Throws std::runtime_error when a sample is larger.
void check_samples(const images::image_16& picture, int bits);

using patch_colors = std::array<color, patch_count>;

struct patch_measurement {
    color mean{};               // of the samples as they are
    double saturated_share = 0; // of the pixels: those with a sample of `saturation` or more
};

// The patches of a camera's picture, of either arrangement: the middle of each, where shadows and blurred edges do not
// reach. Throws std::runtime_error when a patch lies beyond the picture or has too few pixels to be measured.
std::array<patch_measurement, patch_count> measure_patches(const images::image_16& photograph,
                                                           const chart_position& position, std::uint16_t saturation);

// The same for a picture in sRGB; the means are those of linear light.
patch_colors measure_patches(const images::image_8& picture, const chart_position& position);

} // namespace kx::chart
