// A simulated camera: what it makes of a color, and its frame of the chart.
#pragma once

#include "color_science.h"

#include "images/image_file.h"

namespace kx::chart {

// At full scale a pixel holds `full_well` electrons. Each sample has the shot noise of its light and the read
// noise of the electronics; the black level is taken off already.
struct noise {
    double full_well = 30000.0;
    double read_noise = 6.0;
    unsigned seed = 24;
};

// A color in linear sRGB as the camera sees it, without noise.
color camera_response(const color& linear_srgb);

// The chart on its card on a table, frame_width x frame_height, linear, 0..65535.
images::image_16 photograph_chart(const noise& sensor);

} // namespace kx::chart
