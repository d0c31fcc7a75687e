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

// `type` is 4 for the curve from sRGB samples to linear light, -4 for its inverse.
curve_handle build_srgb_curve(int type)
{
    const double parameters[] = {2.4, 1.0 / 1.055, 0.055 / 1.055, 1.0 / 12.92, 0.04045};
    return checked(curve_handle(cmsBuildParametricToneCurve(nullptr, type, parameters)));
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

std::vector<float> srgb_decoding()
{
    const curve_handle curve = build_srgb_curve(4);
    std::vector<float> table(256);
    for (std::size_t sample = 0; sample < table.size(); ++sample) {
        table[sample] = cmsEvalToneCurveFloat(curve.get(), static_cast<float>(sample) / 255.0F);
    }
    return table;
}

std::vector<float> linear_decoding()
{
    std::vector<float> table(65536);
    for (std::size_t sample = 0; sample < table.size(); ++sample) {
        table[sample] = static_cast<float>(sample) / 65535.0F;
    }
    return table;
}

srgb_encoder::srgb_encoder() : curve_(build_srgb_curve(-4)) {}

std::array<std::uint8_t, 3> srgb_encoder::operator()(const color& linear) const
{
    std::array<std::uint8_t, 3> encoded{};
    std::transform(linear.begin(), linear.end(), encoded.begin(), [this](double value) {
        const float clipped = std::clamp(static_cast<float>(value), 0.0F, 1.0F);
        return static_cast<std::uint8_t>(std::lround(255.0F * cmsEvalToneCurveFloat(curve_.get(), clipped)));
    });
    return encoded;
}

} // namespace kx::chart
