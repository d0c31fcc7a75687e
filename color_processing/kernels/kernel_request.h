// What a kernel is asked to do.
#pragma once

#include "companion_interfaces/transform_parameters.h"
#include "kernels/kernel_choices.h"

#include <cstddef>
#include <cstdint>

namespace kx {

// Where the samples of an image lie: each channel's offset from a pixel's first sample, and the step from pixel to
// pixel. Planes may lie beyond 2^32 samples.
struct sample_places {
    std::ptrdiff_t blue;
    std::ptrdiff_t green;
    std::ptrdiff_t red;
    std::ptrdiff_t fourth;
    std::ptrdiff_t step;
};

constexpr sample_places places_in(sample_layout layout, std::ptrdiff_t pixel_count, std::ptrdiff_t samples_per_pixel)
{
    switch (layout) {
    case sample_layout::interleaved_bgr:
        return {0, 1, 2, 3, samples_per_pixel};
    case sample_layout::interleaved_rgb:
        return {2, 1, 0, 3, samples_per_pixel};
    default:
        return {0, pixel_count, 2 * pixel_count, 3 * pixel_count, 1};
    }
}

// A record of a transform with what is the same for all kernels.
struct kernel_request {
    kernel_request(const transform_parameters& record, std::uint32_t first)
        : parameters(record), first_pixel(first), digits(digits_of(record)),
          output(places_in(layout_of(record.output_format), record.pixel_count, record.has_alpha_channel != 0 ? 4 : 3))
    {
    }

    const transform_parameters& parameters;
    std::uint32_t first_pixel;
    choice_digits digits;
    sample_places output;
};

} // namespace kx
