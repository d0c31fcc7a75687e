// A calibration as a picture.
#pragma once

#include "judgement.h"

#include "images/image_file.h"

namespace kx::chart {

// Each patch as measured beside its reference colour, and its difference as a number and a bar; above them the mean
// differences. 960 x 640 pixels, sRGB. `before` is what the measured colours were without the correction. Throws
// std::runtime_error when there is no memory for it.
images::image_8 draw_report(const judgement& before, const judgement& after);

} // namespace kx::chart
