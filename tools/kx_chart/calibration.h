// The correcting matrix, as a calibration finds it: from a picture of the chart and its published colors.
#pragma once

#include "color_science.h"
#include "picture.h"

#include <filesystem>

namespace kx::chart {

// The matrix from camera RGB to linear sRGB with the least squared error over the 24 patches.
color_matrix fit_matrix(const patch_colors& camera, const patch_colors& linear_srgb);

// Three lines of three numbers; throws std::runtime_error when the file cannot be written.
void write_matrix(const std::filesystem::path& file, const color_matrix& matrix);

} // namespace kx::chart
