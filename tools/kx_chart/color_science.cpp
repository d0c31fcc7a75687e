#include "color_science.h"

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

double dot(const color& one, const color& other)
{
    return one[0] * other[0] + one[1] * other[1] + one[2] * other[2];
}

color cross(const color& one, const color& other)
{
    return {one[1] * other[2] - one[2] * other[1], one[2] * other[0] - one[0] * other[2],
            one[0] * other[1] - one[1] * other[0]};
}

} // namespace

color operator*(const color_matrix& matrix, const color& value)
{
    return {dot(matrix[0], value), dot(matrix[1], value), dot(matrix[2], value)};
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
    const auto& [first, second, third] = matrix;
    const color_matrix columns{cross(second, third), cross(third, first), cross(first, second)};
    const double determinant = dot(first, columns[0]);
    const double largest = std::sqrt(dot(first, first) * dot(second, second) * dot(third, third)); // it could be
    if (!(std::abs(determinant) > 1e-9 * largest)) {                                               // NaN, too
        return std::nullopt;
    }
    color_matrix result{};
    for (std::size_t place = 0; place < 9; ++place) {
        result[place / 3][place % 3] = columns[place % 3][place / 3] / determinant;
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
