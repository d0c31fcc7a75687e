// What a kernel is asked to do.
#pragma once

#include "companion_interfaces/transform_parameters.h"
#include "kernels/kernel_choices.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

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

// A record of a transform as the kernels want it. Made once, so that kernels begin with loads alone: what each of them
// would compute before its loop is in the library thousands of times.
template <typename output_sample>
struct kernel_request {
    struct channel {
        const std::uint32_t* input_LUT;
        std::int32_t minimum;
        std::int32_t maximum;
        const std::uint32_t* output_LUT;
        std::int32_t shift;    // without its sign, which the kernel's choices tell
        output_sample* output; // of the first pixel wanted
    };

    kernel_request(const transform_parameters& record, std::uint32_t first_pixel);

    choice_digits digits;
    const std::uint16_t* input; // of the first pixel wanted
    std::ptrdiff_t pixel_count; // of the whole image
    const float* matrix;
    channel blue;
    channel green;
    channel red;
    output_sample* fourth_output;
    std::ptrdiff_t output_step;
    std::ptrdiff_t output_end; // from the first pixel's samples to behind the last one's
};

template <typename output_sample>
kernel_request<output_sample>::kernel_request(const transform_parameters& record, std::uint32_t first_pixel)
    : digits(digits_of(record)), pixel_count(record.pixel_count), matrix(matrix_of(record))
{
    const std::ptrdiff_t first = std::min<std::ptrdiff_t>(first_pixel, pixel_count);
    input = record.input_buffer + first * places_in(layout_of(record.input_format), pixel_count, 3).step;

    const std::ptrdiff_t samples_per_pixel = record.has_alpha_channel != 0 ? 4 : 3;
    const sample_places to = places_in(layout_of(record.output_format), pixel_count, samples_per_pixel);
    auto* const output = static_cast<output_sample*>(record.output_buffer) + first * to.step;
    const auto channel_of = [output](const std::uint32_t* input_LUT, std::uint16_t minimum, std::uint16_t maximum,
                                     const std::uint32_t* output_LUT, std::int32_t shift_distance,
                                     std::ptrdiff_t place) {
        return channel{input_LUT, minimum, maximum, output_LUT, std::abs(shift_distance), output + place};
    };
    blue = channel_of(record.blue_input_LUT_data, record.blue_clamp_min, record.blue_clamp_max,
                      record.blue_output_LUT_data, record.blue_shift_distance, to.blue);
    green = channel_of(record.green_input_LUT_data, record.green_clamp_min, record.green_clamp_max,
                       record.green_output_LUT_data, record.green_shift_distance, to.green);
    red = channel_of(record.red_input_LUT_data, record.red_clamp_min, record.red_clamp_max, record.red_output_LUT_data,
                     record.red_shift_distance, to.red);
    fourth_output = output + to.fourth;
    output_step = to.step;
    output_end = (pixel_count - first) * to.step;
}

} // namespace kx
