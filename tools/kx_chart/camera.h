// A simulated camera: what it makes of a colour, and its pictures of the chart.
#pragma once

#include "chart_position.h"
#include "color_science.h"

#include "images/image_file.h"

namespace kx::chart {

// At full scale a pixel holds `full_well` electrons above the black level. Each sample has the shot noise of its light
// and the read noise of the electronics.
struct simulated_camera {
    std::uint32_t width = 4096;
    std::uint32_t height = 3000;
    int bits = 12;
    profile::channel_values black_level{63.7, 64.2, 65.1};
    double exposure = 0.92; // the green sample of a perfect white, of full scale
    double full_well = 30000.0;
    double read_noise = 6.0;
    double metamerism = 0.01; // how far its view of a paint is from the eye's, as a standard deviation; greys excepted
    unsigned seed = 24;       // of the noise
    chart_corners corners{{{706, 600}, {3395, 532}, {3545, 2390}, {560, 2245}}}; // where it sees the chart
};

// The white-balance gains that bring red and blue up to green.
inline constexpr color simulated_gains{1.90, 1.00, 1.55};

// A colour in linear sRGB as the camera sees it at exposure 1, full scale being 1, without noise and black level.
color camera_response(const color& linear_srgb);

// The chart on its card on a table, and a picture with the lid on.
images::image_16 photograph_chart(const simulated_camera& camera);
images::image_16 photograph_darkness(const simulated_camera& camera);

} // namespace kx::chart
