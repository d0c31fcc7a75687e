// The 24-patch colour chart: its published colours, and where its patches lie in the demo's picture.
#pragma once

#include <lcms2.h>

#include <array>
#include <cstddef>

namespace kx::chart {

struct rectangle {
    int left;
    int top;
    int width;
    int height;

    bool contains(int x, int y) const { return x >= left && x < left + width && y >= top && y < top + height; }
};

struct patch {
    const char* name;
    cmsCIELab published; // L*a*b* under D50
};

inline constexpr std::size_t patch_columns = 6;
inline constexpr std::size_t patch_rows = 4;
inline constexpr std::size_t patch_count = patch_columns * patch_rows;

// Row by row, from dark skin at the top left to black at the bottom right.
extern const std::array<patch, patch_count> reference_patches;

// 12 megapixels; the card with the patches lies in the middle.
inline constexpr int frame_width = 4096;
inline constexpr int frame_height = 3000;

rectangle card_area();
rectangle patch_area(std::size_t index);

// The part of a patch that is measured: its inner half, away from the edges.
rectangle measured_area(std::size_t index);

} // namespace kx::chart
