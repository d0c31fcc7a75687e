#include "chart_position.h"

#include "reference_chart.h"

#include <cmath>
#include <stdexcept>

namespace kx::chart {

namespace {

point operator-(const point& one, const point& other)
{
    return {one.x - other.x, one.y - other.y};
}

double cross(const point& one, const point& other)
{
    return one.x * other.y - one.y * other.x;
}

void check_convex(const chart_corners& corners)
{
    int turns_right = 0;
    for (std::size_t corner = 0; corner < corners.size(); ++corner) {
        const point side = corners[(corner + 1) % 4] - corners[corner];
        const point next = corners[(corner + 2) % 4] - corners[(corner + 1) % 4];
        const double turn = cross(side, next);
        if (!(std::abs(turn) > 1.0)) { // less than a pixel; NaN, too
            throw std::runtime_error("the chart's corners must not lie in one place or on one line");
        }
        turns_right += turn > 0.0 ? 1 : 0;
    }
    if (turns_right != 0 && turns_right != 4) {
        throw std::runtime_error("the chart's corners do not go once around it: dark skin, bluish green, black, white");
    }
}

// The projection of the square from 0, 0 to 1, 1, whose corners go the same way around, onto the quadrangle.
color_matrix from_unit_square(const chart_corners& quadrangle)
{
    const auto& [a, b, c, d] = quadrangle;
    const point right = b - c;
    const point below = d - c;
    const point skew = (a - b) - (d - c);
    const double area = cross(right, below);
    const double g = cross(skew, below) / area;
    const double h = cross(right, skew) / area;
    return {{{b.x - a.x + g * b.x, d.x - a.x + h * d.x, a.x},
             {b.y - a.y + g * b.y, d.y - a.y + h * d.y, a.y},
             {g, h, 1.0}}};
}

} // namespace

chart_position::chart_position(const chart_corners& corners)
{
    check_convex(corners);
    to_picture_ = from_unit_square(corners);
    for (auto& row : to_picture_) {
        row[0] /= static_cast<double>(patch_columns - 1);
        row[1] /= static_cast<double>(patch_rows - 1);
    }
    const auto back = inverse(to_picture_);
    if (!back) {
        throw std::runtime_error("the chart's corners do not determine its position");
    }
    to_chart_ = *back;
}

point chart_position::map(const color_matrix& projection, const point& from)
{
    const color mapped = projection * color{from.x, from.y, 1.0};
    return {mapped[0] / mapped[2], mapped[1] / mapped[2]};
}

} // namespace kx::chart
