#include "matrix_fit.h"

#include <stdexcept>

namespace kx::chart {

namespace {

// The sum over all patches of the outer products one x other.
color_matrix sum_of_products(const std::vector<observation>& patches, color observation::*one,
                             color observation::*other)
{
    color_matrix sum{};
    for (const observation& patch : patches) {
        for (std::size_t place = 0; place < 9; ++place) {
            sum[place / 3][place % 3] += (patch.*one)[place / 3] * (patch.*other)[place % 3];
        }
    }
    return sum;
}

} // namespace

color_matrix fit_matrix(const std::vector<observation>& patches, std::optional<double> row_sum)
{
    // The normal equations: M (sum c c') = sum t c', with the camera's colours c and their targets t.
    const auto covariance = inverse(sum_of_products(patches, &observation::camera, &observation::camera));
    if (patches.size() < 4 || !covariance) {
        throw std::runtime_error("the patches of this picture do not determine a matrix: is the chart in it?");
    }
    color_matrix matrix = sum_of_products(patches, &observation::target, &observation::camera) * *covariance;
    if (row_sum) {
        // A Lagrange multiplier for each row: its sum goes to where it must be along the direction that costs least.
        const color direction = *covariance * color{1.0, 1.0, 1.0};
        const double length = direction[0] + direction[1] + direction[2];
        for (auto& row : matrix) {
            const double missing = *row_sum - (row[0] + row[1] + row[2]);
            for (std::size_t column = 0; column < 3; ++column) {
                row[column] += missing * direction[column] / length;
            }
        }
    }
    return matrix;
}

// The published greys are only nearly grey: what the camera would deliver without their tint follows from the matrix.
color fit_gains(const std::vector<observation>& patches)
{
    const auto to_camera = inverse(fit_matrix(patches));
    color targets{};
    color squares{};
    for (const observation& patch : patches) {
        if (!patch.is_neutral() || !to_camera) {
            continue;
        }
        const double luminance = 0.2126 * patch.target[0] + 0.7152 * patch.target[1] + 0.0722 * patch.target[2];
        const color tint =
            *to_camera * color{patch.target[0] - luminance, patch.target[1] - luminance, patch.target[2] - luminance};
        for (std::size_t channel = 0; channel < 3; ++channel) {
            const double camera = patch.camera[channel] - tint[channel];
            targets[channel] += camera * luminance;
            squares[channel] += camera * camera;
        }
    }
    color gains{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        gains[channel] = targets[channel] / squares[channel];
        if (!(squares[channel] > 0.0 && gains[channel] > 0.0)) { // NaN, too
            throw std::runtime_error(
                "the grey patches give no white balance: are the corners right, and not all of them over-exposed?");
        }
    }
    return gains;
}

} // namespace kx::chart
