// Pictures turned upright for files that have no orientation.
#pragma once

#include "image_file.h"

namespace kx::images {

// The same picture with orientation 1; for interleaved images of three channels.
template <typename Sample>
image<Sample> upright(const image<Sample>& turned)
{
    // Where the file's first row and column lie on the upright picture, as TIFF numbers it.
    const unsigned orientation = turned.orientation;
    const bool rows_are_columns = orientation >= 5;
    const bool columns_backwards = orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool rows_backwards = orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;

    image<Sample> result;
    result.width = rows_are_columns ? turned.height : turned.width;
    result.height = rows_are_columns ? turned.width : turned.height;
    result.about = turned.about;
    if (auto& resolution = result.about.pixels_per_length; resolution && rows_are_columns) {
        std::swap(resolution->x, resolution->y);
    }
    result.samples.reserve(turned.samples.size());
    for (std::size_t y = 0; y < result.height; ++y) {
        for (std::size_t x = 0; x < result.width; ++x) {
            const std::size_t column = rows_are_columns ? y : x;
            const std::size_t row = rows_are_columns ? x : y;
            const std::size_t pixel = (rows_backwards ? turned.height - 1 - row : row) * turned.width
                                      + (columns_backwards ? turned.width - 1 - column : column);
            const auto from = turned.samples.begin() + static_cast<std::ptrdiff_t>(3 * pixel);
            result.samples.insert(result.samples.end(), from, from + 3);
        }
    }
    return result;
}

} // namespace kx::images
