// Colour arithmetic: matrices, L*a*b* to and from linear sRGB, and CIEDE2000 by Little CMS.
#pragma once

#include "profile/camera_profile.h"

#include <lcms2.h>

#include <array>
#include <cstdint>
#include <optional>

namespace kx::chart {

// Red, green, blue in linear light; 1 is full scale. Colours outside sRGB have values below 0 or above 1.
using color = profile::channel_values;
using profile::color_matrix;

color operator*(const color_matrix& matrix, const color& value);
color_matrix operator*(const color_matrix& left, const color_matrix& right);

// Nothing for a matrix that has none, whatever the size of its elements.
std::optional<color_matrix> inverse(const color_matrix& matrix);

// Between L*a*b* under D50 and linear sRGB, whose white is D65 (Bradford adaptation), without clipping.
color to_linear_srgb(const cmsCIELab& lab);
cmsCIELab to_lab(const color& linear_srgb);

double ciede2000(const cmsCIELab& one, const cmsCIELab& other);

// The nearest colour that sRGB can hold: each channel clipped to 0..1.
color clip(const color& linear_srgb);

// Linear light to 8-bit sRGB samples, clipped.
std::array<std::uint8_t, 3> encode_srgb(const color& linear_srgb);

} // namespace kx::chart
