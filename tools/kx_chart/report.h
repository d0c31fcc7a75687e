// Differences as text and as a picture.
#pragma once

#include "judgement.h"

#include <string>

namespace kx::chart {

// A table with a row for each patch, then the mean and the largest difference. With `before`, its differences too.
std::string to_text(const judgement& verdict, const judgement* before = nullptr);

// An SVG picture, 960 x 640: each patch as measured beside its reference colour, and its difference as a number and a
// bar; above them the mean differences. `before` is what the measured colours were without the correction.
std::string to_svg(const judgement& before, const judgement& after);

} // namespace kx::chart
