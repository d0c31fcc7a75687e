#include "color_science.h"

#include <lcms2_plugin.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace kx::chart {

namespace {

template <typename handle>
handle checked(handle created)
{
    if (created == nullptr) {
        throw std::runtime_error("Little CMS could not set up the colour conversion.");
    }
    return created;
}

// sRGB's primaries and white point with a straight line for a curve.
profile_handle build_linear_srgb_profile()
{
    const cmsCIExyY white{0.3127, 0.3290, 1.0};
    const cmsCIExyYTRIPLE primaries{{0.64, 0.33, 1.0}, {0.30, 0.60, 1.0}, {0.15, 0.06, 1.0}};
    const curve_handle line = checked(curve_handle(cmsBuildGamma(nullptr, 1.0)));
    cmsToneCurve* const curves[] = {line.get(), line.get(), line.get()};
    return checked(profile_handle(cmsCreateRGBProfile(&white, &primaries, curves)));
}

} // namespace

color operator*(const color_matrix& matrix, const color& value)
{
    color product{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            product[row] += matrix[row][column] * value[column];
        }
    }
    return product;
}

color_matrix operator*(const color_matrix& left, const color_matrix& right)
{
    color_matrix product{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t place = 0; place < 9; ++place) {
            product[row][place % 3] += left[row][place / 3] * right[place / 3][place % 3];
        }
    }
    return product;
}

std::optional<color_matrix> inverse(const color_matrix& matrix)
{
    cmsMAT3 original{};
    cmsMAT3 inverted{};
    for (std::size_t place = 0; place < 9; ++place) {
        original.v[place / 3].n[place % 3] = matrix[place / 3][place % 3];
    }
    if (!_cmsMAT3inverse(&original, &inverted)) {
        return std::nullopt;
    }
    color_matrix result{};
    for (std::size_t place = 0; place < 9; ++place) {
        result[place / 3][place % 3] = inverted.v[place / 3].n[place % 3];
    }
    return result;
}

lab_converter::lab_converter()
{
    const profile_handle lab = checked(profile_handle(cmsCreateLab4Profile(nullptr)));
    const profile_handle srgb = build_linear_srgb_profile();
    // Floating-point formats are what keeps Little CMS from clipping.
    constexpr cmsUInt32Number flags = cmsFLAGS_NOOPTIMIZE | cmsFLAGS_NOCACHE;
    to_linear_srgb_ = checked(transform_handle(
        cmsCreateTransform(lab.get(), TYPE_Lab_DBL, srgb.get(), TYPE_RGB_DBL, INTENT_RELATIVE_COLORIMETRIC, flags)));
    to_lab_ = checked(transform_handle(
        cmsCreateTransform(srgb.get(), TYPE_RGB_DBL, lab.get(), TYPE_Lab_DBL, INTENT_RELATIVE_COLORIMETRIC, flags)));
}

color lab_converter::to_linear_srgb(const cmsCIELab& lab) const
{
    color linear{};
    cmsDoTransform(to_linear_srgb_.get(), &lab, linear.data(), 1);
    return linear;
}

cmsCIELab lab_converter::to_lab(const color& linear_srgb) const
{
    cmsCIELab lab{};
    cmsDoTransform(to_lab_.get(), linear_srgb.data(), &lab, 1);
    return lab;
}

double ciede2000(const cmsCIELab& one, const cmsCIELab& other)
{
    return cmsCIE2000DeltaE(&one, &other, 1.0, 1.0, 1.0);
}

color clip(const color& linear_srgb)
{
    color clipped{};
    std::ranges::transform(linear_srgb, clipped.begin(), [](double value) { return std::clamp(value, 0.0, 1.0); });
    return clipped;
}

std::array<std::uint8_t, 3> encode_srgb(const color& linear_srgb)
{
    static const auto curve = profile::tone_curve::named("srgb");
    std::array<std::uint8_t, 3> encoded{};
    std::ranges::transform(linear_srgb, encoded.begin(), [](double value) {
        return static_cast<std::uint8_t>(std::lround(255.0 * curve(value))); // which clips
    });
    return encoded;
}

} // namespace kx::chart
