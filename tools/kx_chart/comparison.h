// The picture of before and after.
#pragma once

#include "images/image_file.h"

namespace kx::chart {

// Left the photograph as the camera delivers it, only encoded for viewing; right the converted picture, in sRGB. Both
// reduced to at most 1024 columns, the mean of each block taken in linear light. Throws std::runtime_error when they
// differ in size.
images::image_8 before_and_after(const images::image_16& before, int bits, const images::image_8& after);

} // namespace kx::chart
