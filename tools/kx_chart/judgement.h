// How far the patches of a picture are from their reference colours.
#pragma once

#include "color_science.h"
#include "measurement.h"
#include "reference_chart.h"

#include <array>
#include <string>

namespace kx::chart {

using patch_flags = std::array<bool, patch_count>;

struct patch_judgement {
    std::string name;
    cmsCIELab reference;
    cmsCIELab measured;
    double difference; // CIEDE2000 between the two
    bool outside_srgb; // no sRGB picture can hold the reference colour: it is clipped
    bool left_out;     // of mean and largest difference
};

struct judgement {
    std::array<patch_judgement, patch_count> patches;
    double mean;
    std::size_t largest; // the patch with the largest difference
};

judgement judge(const patch_colors& linear_srgb, const reference_chart& reference, const patch_flags& left_out = {});

} // namespace kx::chart
