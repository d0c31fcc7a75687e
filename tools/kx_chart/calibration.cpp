#include "calibration.h"

#include <lcms2_plugin.h>

#include <fstream>
#include <iomanip>
#include <stdexcept>

namespace kx::chart {

namespace {

// The sum over all patches of the outer products one x other.
cmsMAT3 sum_of_products(const patch_colors& one, const patch_colors& other)
{
    cmsMAT3 sum{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        for (std::size_t row = 0; row < 3; ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                sum.v[row].n[column] += one[index][row] * other[index][column];
            }
        }
    }
    return sum;
}

} // namespace

color_matrix fit_matrix(const patch_colors& camera, const patch_colors& linear_srgb)
{
    // The normal equations: M (sum c c') = sum t c', with the camera's colors c and their targets t.
    const cmsMAT3 squares = sum_of_products(camera, camera);
    const cmsMAT3 targets = sum_of_products(linear_srgb, camera);
    cmsMAT3 inverse{};
    if (!_cmsMAT3inverse(&squares, &inverse)) {
        throw std::runtime_error("The patches of this picture do not determine a matrix: is the chart in it?");
    }
    cmsMAT3 fitted{};
    _cmsMAT3per(&fitted, &targets, &inverse);
    color_matrix matrix{};
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            matrix[row][column] = fitted.v[row].n[column];
        }
    }
    return matrix;
}

void write_matrix(const std::filesystem::path& file, const color_matrix& matrix)
{
    std::ofstream out(file);
    out << std::fixed << std::setprecision(6);
    for (const auto& row : matrix) {
        out << std::setw(10) << row[0] << ' ' << std::setw(10) << row[1] << ' ' << std::setw(10) << row[2] << '\n';
    }
    if (!out.flush()) {
        throw std::runtime_error(file.string() + ": cannot be written.");
    }
}

} // namespace kx::chart
