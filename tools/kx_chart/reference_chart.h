// The 24-patch colour chart: six columns, four rows, the grey patches in the last row.
#pragma once

#include <lcms2.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <string>

namespace kx::chart {

struct patch {
    std::string name;
    cmsCIELab published; // L*a*b* under D50
};

inline constexpr std::size_t patch_columns = 6;
inline constexpr std::size_t patch_rows = 4;
inline constexpr std::size_t patch_count = patch_columns * patch_rows;
inline constexpr std::size_t first_neutral = patch_count - patch_columns;

// Row by row, from dark skin at the top left to black at the bottom right.
using reference_chart = std::array<patch, patch_count>;

// The values published for this chart.
const reference_chart& published_reference();

// Other values, from a text file: for each patch a line with its name in UTF-8, which may contain blanks, L*, a* and
// b*; # begins a comment. Throws std::runtime_error with file and line.
reference_chart read_reference(const std::filesystem::path& file);

} // namespace kx::chart
