// The mean colour of each patch in a picture.
#pragma once

#include "chart_position.h"
#include "reference_chart.h"

#include "images/image_file.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

namespace kx::chart {

// Where a pixel's sample lies in the picture, whatever its arrangement; channels are 0 red, 1 green, 2 blue.
inline std::size_t sample_index(const images::image_16& picture, std::size_t pixel, std::size_t channel)
{
    return picture.layout == images::arrangement::interleaved_rgb ? pixel * picture.channels + channel
                                                                  : (2 - channel) * picture.pixel_count() + pixel;
}

// The largest sample of so many bits.
inline double largest_sample(int bits)
{
    return static_cast<double>((1 << bits) - 1);
}

// Throws std::runtime_error when a sample is larger than that.
void check_samples(const images::image_16& picture, int bits);

using patch_colors = std::array<color, patch_count>;

struct patch_measurement {
    color mean{};               // of the light that samples stand for; 1 is full scale
    double saturated_share = 0; // of the pixels: those with a sample of `saturation` or more
};

// The patches of a picture, of either arrangement: the middle of each, where shadows and blurred edges do not reach.
// `to_light` says what light a sample stands for, full scale being 1, `saturation` is by default the largest sample.
// Throws std::runtime_error when a patch lies beyond the picture or has too few pixels to be measured, or when a sample
// is too large for `bits`.
std::array<patch_measurement, patch_count> measure_patches(const images::image_16& picture,
                                                           const chart_position& position, int bits,
                                                           const profile::tone_curve& to_light = {},
                                                           std::optional<std::uint16_t> saturation = std::nullopt);

} // namespace kx::chart
