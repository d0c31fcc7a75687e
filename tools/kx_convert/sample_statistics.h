// What a conversion did to the range of the samples: how many clip, and whether much of the range stays empty.
#pragma once

#include "settings.h"

#include "profile/library_settings.h"

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

// The bits that any of the samples has set.
template <typename Sample>
Sample used_bits(const images::image<Sample>& image)
{
    Sample bits = 0;
    for (const Sample sample : image.samples) {
        bits = static_cast<Sample>(bits | sample);
    }
    return bits;
}

} // namespace kx::convert
