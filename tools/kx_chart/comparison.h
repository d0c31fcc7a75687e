// The picture of before and after.
#pragma once

#include "picture.h"

namespace kx::chart {

// Left the camera's frame as it comes, only encoded for viewing; right the converted picture. Both reduced
// to a quarter of their width and height, the mean of each block taken in linear light.
images::image_8 before_and_after(const camera_picture& before, const srgb_picture& after);

} // namespace kx::chart
