// What a conversion did to the range of the samples: how many clip, and whether much of the range stays empty.
#pragma once

#include "settings.h"

#include "profile/library_settings.h"

#include <algorithm>
#include <limits>

namespace kx::convert {

struct clipping {
    per_channel<std::uint64_t> below{}; // results below the clamp's minimum
    per_channel<std::uint64_t> above{};
    std::uint64_t pixels = 0; // examined

    void add(const clipping& other);
};

// Counts the results of input LUTs and matrix that the clamps will change, in the rows 0, step, 2 x step, ... of an
// image.
clipping count_clipping(const profile::library_settings& library, const images::image_16& input, std::uint32_t step);

// Whether any sample is above a sixteenth of the range. The first one that is ends the search.
template <typename Sample>
bool uses_range(const images::image<Sample>& image)
{
    constexpr Sample sixteenth = std::numeric_limits<Sample>::max() / 16;
    return std::ranges::any_of(image.samples, [](Sample sample) { return sample > sixteenth; });
}

} // namespace kx::convert
