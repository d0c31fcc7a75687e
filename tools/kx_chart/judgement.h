// How far a picture of the chart is from the published colors.
#pragma once

#include "color_science.h"
#include "picture.h"

#include <array>
#include <iosfwd>

namespace kx::chart {

struct patch_judgement {
    cmsCIELab measured;
    double difference; // CIEDE2000 from the published color
    bool outside_srgb; // no sRGB picture can hold the published color: it is clipped
};

struct judgement {
    std::array<patch_judgement, patch_count> patches;
    double mean;
    std::size_t largest; // the patch with the largest difference
};

judgement judge(const patch_colors& linear_srgb);

// A table with a row for each patch, the mean and the largest difference.
void print(std::ostream& out, const judgement& verdict);

} // namespace kx::chart
