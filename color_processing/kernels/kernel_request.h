// What a kernel is asked to do.
#pragma once

#include "channel_parameters.h"
#include "companion_interfaces/transform_parameters.h"
#include "kernels/kernel_choices.h"
#include "layouts.h"
#include "per_channel.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace kx {

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

    kernel_choices choices;
    const std::uint16_t* input; // of the first pixel wanted
    std::ptrdiff_t pixel_count; // of the whole image
    const float* matrix;
    per_channel<channel> channels;
    output_sample* fourth_output;
    std::ptrdiff_t output_step;
    std::ptrdiff_t output_end; // from the first pixel's samples to behind the last one's
};

// A negative pixel count is none.
template <typename output_sample>
kernel_request<output_sample>::kernel_request(const transform_parameters& record, std::uint32_t first_pixel)
    : choices(choices_of(record)), pixel_count(std::max(record.pixel_count, 0)), matrix(matrix_of(record))
{
    const std::ptrdiff_t first = std::min<std::ptrdiff_t>(first_pixel, pixel_count);
    input = record.input_buffer + first * places_in(choices.input_layout, pixel_count, false).step;

    const sample_places to = places_in(layout_of(record.output_format), pixel_count, choices.fourth_sample);
    auto* const output = static_cast<output_sample*>(record.output_buffer) + first * to.step;
    channels = map_channels(
        [output](const channel_parameters& of, std::ptrdiff_t place) {
            return channel{of.input_LUT,  of.clamp_min, of.clamp_max, of.output_LUT, std::abs(of.shift_distance),
                           output + place};
        },
        channels_of(record), to.channel);
    fourth_output = output + to.fourth;
    output_step = to.step;
    output_end = (pixel_count - first) * to.step;
}

} // namespace kx
