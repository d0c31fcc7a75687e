// What kx_chart does, once its command line is understood.
#pragma once

#include "calibration.h"

#include <filesystem>
#include <optional>

namespace kx::chart {

// Both throw std::runtime_error; nothing is written over a file that is read, nor over any other unless told to.

struct calibrate_command {
    std::filesystem::path photograph;
    std::filesystem::path profile;
    std::filesystem::path dark_frame; // these three may be empty
    std::filesystem::path reference;
    std::filesystem::path report;
    chart_corners corners{};
    calibration_options options;
    bool force = false; // writes also what must not be used
    bool overwrite = false;
};
void run(calibrate_command command);

struct judge_command {
    std::filesystem::path picture;
    std::filesystem::path reference; // may be empty
    chart_corners corners{};
    std::optional<double> max_mean; // throws unless the mean is below
};
void run(const judge_command& command);

} // namespace kx::chart
