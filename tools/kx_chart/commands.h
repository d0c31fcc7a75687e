// What kx_chart does, once its command line is understood.
#pragma once

#include "calibration.h"
#include "camera.h"

#include <filesystem>
#include <optional>

namespace kx::chart {

// All throw std::runtime_error; nothing is written over a file that is read.

struct frame_command {
    std::filesystem::path output;
    bool dark = false;
    simulated_camera camera;
};
void run(const frame_command& command);

struct calibrate_command {
    std::filesystem::path photograph;
    std::filesystem::path profile;
    std::filesystem::path dark_frame; // these three may be empty
    std::filesystem::path reference;
    std::filesystem::path report;
    chart_corners corners{};
    calibration_options options;
    bool force = false; // writes also what must not be used
};
void run(calibrate_command command);

struct judge_command {
    std::filesystem::path picture;
    std::filesystem::path reference; // may be empty
    chart_corners corners{};
    std::optional<double> max_mean; // throws unless the mean is below
};
void run(const judge_command& command);

struct compare_command {
    std::filesystem::path photograph;
    std::filesystem::path picture;
    std::filesystem::path output;
    int bits = 16;
};
void run(const compare_command& command);

} // namespace kx::chart
