// Where the samples of an image lie.
#pragma once

#include "companion_interfaces/transform_parameters.h"
#include "per_channel.h"

#include <cstddef>
#include <cstdint>

namespace kx {

// A record's format as everything else wants it: planar for the negative ones too.
enum class sample_layout : std::uint8_t { planar_bgr, interleaved_bgr, interleaved_rgb };

constexpr sample_layout layout_of(pixel_format format)
{
    switch (format) {
    case pixel_format::interleaved_bgr:
        return sample_layout::interleaved_bgr;
    case pixel_format::interleaved_rgb:
        return sample_layout::interleaved_rgb;
    default:
        return sample_layout::planar_bgr;
    }
}

// From the channels by their names to the order in which a layout has them side by side, and back.
template <typename value>
constexpr per_channel<value> in_order_of(sample_layout layout, const per_channel<value>& of)
{
    return layout == sample_layout::interleaved_rgb ? per_channel<value>{of.red, of.green, of.blue} : of;
}

// Each channel's first sample, counted from the image's, and the step from pixel to pixel. Planes may lie beyond 2^32
// samples.
struct sample_places {
    per_channel<std::ptrdiff_t> channel;
    std::ptrdiff_t fourth;
    std::ptrdiff_t step;
};

constexpr sample_places places_in(sample_layout layout, std::ptrdiff_t pixel_count, bool fourth_sample)
{
    if (layout == sample_layout::planar_bgr) {
        return {{0, pixel_count, 2 * pixel_count}, 3 * pixel_count, 1};
    }
    return {in_order_of(layout, per_channel<std::ptrdiff_t>{0, 1, 2}), 3, fourth_sample ? 4 : 3};
}

} // namespace kx
