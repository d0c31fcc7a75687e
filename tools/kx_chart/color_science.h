// Colour arithmetic, all of it Little CMS: L*a*b* to and from linear sRGB, the sRGB curve, CIEDE2000.
#pragma once

#include <lcms2.h>

#include <array>
#include <cstdint>
#include <memory>
#include <vector>

namespace kx::chart {

// Red, green, blue in linear light; 1 is full scale. Colours outside sRGB have values below 0 or above 1.
using color = std::array<double, 3>;

// Row by row; rows are output, columns input red, green, blue.
using color_matrix = std::array<std::array<double, 3>, 3>;

// An object of Little CMS and the function that releases it.
template <auto release>
struct releaser {
    void operator()(auto* object) const { release(object); }
};
using profile_handle = std::unique_ptr<void, releaser<cmsCloseProfile>>;
using transform_handle = std::unique_ptr<void, releaser<cmsDeleteTransform>>;
using curve_handle = std::unique_ptr<cmsToneCurve, releaser<cmsFreeToneCurve>>;

color operator*(const color_matrix& matrix, const color& value);

// Between L*a*b* under D50 and linear sRGB, whose white is D65 (Bradford adaptation), without clipping.
class lab_converter {
public:
    lab_converter();

    color to_linear_srgb(const cmsCIELab& lab) const;
    cmsCIELab to_lab(const color& linear_srgb) const;

private:
    transform_handle to_linear_srgb_;
    transform_handle to_lab_;
};

double ciede2000(const cmsCIELab& one, const cmsCIELab& other);

// Linear light for each 8-bit sRGB sample.
std::vector<float> srgb_decoding();

// Linear light for each linear 16-bit sample.
std::vector<float> linear_decoding();

// Linear light to 8-bit sRGB samples, clipped to 0..255.
class srgb_encoder {
public:
    srgb_encoder();

    std::array<std::uint8_t, 3> operator()(const color& linear) const;

private:
    curve_handle curve_;
};

} // namespace kx::chart
