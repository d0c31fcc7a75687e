// An image in memory.
#pragma once

#include "constants.h"

#include "layouts.h"
#include "per_channel.h"

#include <cstddef>

namespace kx::vector {
namespace {

template <typename sample>
struct image {
    sample_layout layout;
    bool fourth_sample;
    std::ptrdiff_t step;          // from pixel to pixel
    per_channel<sample*> channel; // each one's first sample
    sample* fourth;

    [[nodiscard]] image from_pixel(std::ptrdiff_t pixel) const
    {
        const std::ptrdiff_t ahead = pixel * step;
        return {layout, fourth_sample, step, map_channels([=](sample* first) { return first + ahead; }, channel),
                fourth + ahead};
    }

    operator image<const sample>() const // NOLINT(google-explicit-constructor): as of pointers
    {
        return {layout, fourth_sample, step, {channel.blue, channel.green, channel.red}, fourth};
    }
};

template <typename sample>
image<sample> image_of(sample* buffer, sample_layout layout, bool fourth_sample, std::ptrdiff_t pixel_count)
{
    const sample_places places = places_in(layout, pixel_count, fourth_sample);
    return {layout, fourth_sample, places.step,
            map_channels([buffer](std::ptrdiff_t place) { return buffer + place; }, places.channel),
            buffer + places.fourth};
}

// The first sample of all.
template <typename sample>
sample* beginning_of(sample_layout layout, const per_channel<sample*>& channel)
{
    return in_order_of(layout, channel).blue;
}

// Calls the function with the layout as a constant.
template <typename function>
decltype(auto) with_layout(sample_layout layout, function call)
{
    return with_constant<sample_layout::interleaved_bgr, sample_layout::interleaved_rgb, sample_layout::planar_bgr>(
        layout, call);
}

} // namespace
} // namespace kx::vector
