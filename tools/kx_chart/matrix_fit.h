// The gains and the matrix that bring a camera's colours closest to the published ones.
#pragma once

#include "color_science.h"
#include "reference_chart.h"

#include <cstddef>
#include <optional>
#include <vector>

namespace kx::chart {

// What is known of a patch.
struct observation {
    std::size_t index;
    color camera; // in linear light, of any unit
    color target; // linear sRGB

    [[nodiscard]] bool is_neutral() const { return index >= first_neutral; }
};

// The matrix with the least squared error. With `row_sum`, of those whose rows all have this sum. Throws
// std::runtime_error when the patches determine none.
color_matrix fit_matrix(const std::vector<observation>& patches, std::optional<double> row_sum = std::nullopt);

// The gains that turn what the camera delivers for grey into grey of the same brightness, by least squares over the
// grey patches. Throws std::runtime_error when there are none.
color fit_gains(const std::vector<observation>& patches);

} // namespace kx::chart
