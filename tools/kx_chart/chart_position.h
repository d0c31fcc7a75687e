// Where the chart lies in a picture, seen in perspective.
#pragma once

#include "color_science.h"

#include <array>
#include <cstddef>

namespace kx::chart {

struct point {
    double x;
    double y;
};

// The centres of the corner patches in pixels, the middle of the first pixel being 0, 0: dark skin, bluish green, black
// and white, which is once around the chart.
using chart_corners = std::array<point, 4>;

// The chart in units of its patches: the centre of the first patch is 0, 0, that of the last one 5, 3.
class chart_position {
public:
    // Throws std::runtime_error unless the corners are those of a convex quadrangle.
    explicit chart_position(const chart_corners& corners);

    [[nodiscard]] point to_picture(const point& on_chart) const { return map(to_picture_, on_chart); }
    [[nodiscard]] point to_chart(const point& in_picture) const { return map(to_chart_, in_picture); }

private:
    static point map(const color_matrix& projection, const point& from);

    color_matrix to_picture_; // of homogeneous coordinates
    color_matrix to_chart_;
};

} // namespace kx::chart
