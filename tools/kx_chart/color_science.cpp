#include "color_science.h"

#include <algorithm>
#include <cmath>

namespace kx::chart {

namespace {

// sRGB's primaries adapted from D65 to D50 by Bradford: X, Y, Z from linear red, green, blue.
constexpr color_matrix srgb_to_xyz{{{0.436041252, 0.385112911, 0.143045837},
                                    {0.222484540, 0.716905079, 0.060610381},
                                    {0.013920187, 0.097067239, 0.713912574}}};

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

color to_linear_srgb(const cmsCIELab& lab)
{
    static const color_matrix from_xyz = inverse(srgb_to_xyz).value();
    cmsCIEXYZ xyz{};
    cmsLab2XYZ(nullptr, &xyz, &lab); // of D50
    return from_xyz * color{xyz.X, xyz.Y, xyz.Z};
}

cmsCIELab to_lab(const color& linear_srgb)
{
    const auto [x, y, z] = srgb_to_xyz * linear_srgb;
    const cmsCIEXYZ xyz{x, y, z};
    cmsCIELab lab{};
    cmsXYZ2Lab(nullptr, &lab, &xyz); // of D50
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
