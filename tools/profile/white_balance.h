// White balance from a neutral area of a picture.
#pragma once

#include "camera_profile.h"

#include "images/image_file.h"

#include <cstdint>

namespace kx::profile {

struct pixel_area {
    std::uint32_t left;
    std::uint32_t top;
    std::uint32_t width;
    std::uint32_t height;
};

// The gains, the smallest of them 1, that make the mean of an area grey; black level and bits are the profile's. Throws
// profile_error for an area that is empty, lies beyond the picture, or is no brighter than black or over-exposed in a
// channel (a hundredth of its samples is the largest there is).
channel_values balance_from_area(const images::image_16& picture, const pixel_area& area,
                                 const camera_profile& profile);

} // namespace kx::profile
