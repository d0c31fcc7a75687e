// The one kernel body: what happens to a pixel. All kernels are made from it. With choices known at compile time, as in
// all that ship, the compiler decides every `if` below.
#pragma once

#include "kernels/kernel_request.h"
#include "rounding.h"

#include <cstddef>
#include <cstdint>

namespace kx {

// Choices known at compile time: what the shipped kernels are made with.
template <unsigned number>
struct fixed_choices {
    static constexpr kernel_choices choice = choices_of(number);
};

// Choices known only at run time: one slow kernel for all combinations, to run the arithmetic under
// sanitizers without building the whole family.
struct variable_choices {
    kernel_choices choice;
};

constexpr std::int32_t clamp(std::int32_t value, std::int32_t minimum, std::int32_t maximum)
{
    const std::int32_t bounded = value < maximum ? value : maximum;
    return bounded > minimum ? bounded : minimum;
}

constexpr std::int32_t shift(std::int32_t value, shift_kind kind, std::int32_t distance)
{
    if (kind == shift_kind::left) {
        return static_cast<std::int32_t>(static_cast<std::uint32_t>(value) << distance);
    }
    return kind == shift_kind::right ? value >> distance : value;
}

// Converts the pixels that the request wants. The constants of the transform are read once, before the loop; only the
// LUT pointers are read again for each pixel, which costs no more than keeping them would. Where the output samples lie
// is data, so that one kernel serves all output layouts.
template <typename output_sample, typename choices>
static void convert_pixels(const kernel_request<output_sample>& request, choices chosen)
{
    using channel = typename kernel_request<output_sample>::channel;
    struct row {
        float red, green, blue; // what the output channel takes of each input channel
    };
    const float* const matrix = request.matrix;
    const per_channel<row> rows = {
        {matrix[6], matrix[7], matrix[8]}, {matrix[3], matrix[4], matrix[5]}, {matrix[0], matrix[1], matrix[2]}};
    const per_channel<channel> constants = request.channels;
    output_sample* const fourth_output = request.fourth_output;
    const sample_places from = places_in(chosen.choice.input_layout, request.pixel_count, false);
    const std::uint16_t* input = request.input;
    const std::ptrdiff_t output_step = request.output_step;

    // No counter of its own: the loop has more constants than the machine has registers.
    const std::ptrdiff_t end = request.output_end;
    for (std::ptrdiff_t at = 0; at != end; input += from.step, at += output_step) {
        const auto load = [input](const channel& of, std::ptrdiff_t place, bool has_LUT) {
            const std::uint16_t sample = input[place];
            return static_cast<float>(has_LUT ? static_cast<std::uint16_t>(of.input_LUT[sample]) : sample);
        };
        const per_channel<float> in = map_channels(load, request.channels, from.channel, chosen.choice.input_LUT);

        const auto convert = [&in](const channel& of, const channel& constant, const row& take, bool has_LUT) {
            // Every product and every sum is rounded to single precision, red column first.
            const float sum = take.red * in.red + take.green * in.green + take.blue * in.blue;
            const std::int32_t value = clamp(round_before_clamp(sum), constant.minimum, constant.maximum);
            return has_LUT ? static_cast<std::int32_t>(of.output_LUT[value]) : value;
        };
        const per_channel<std::int32_t> values =
            map_channels(convert, request.channels, constants, rows, chosen.choice.output_LUT);

        // Only the low bits are stored; nothing saturates.
        const auto store = [at](const channel& constant, std::int32_t value, shift_kind kind) {
            constant.output[at] = static_cast<output_sample>(shift(value, kind, constant.shift));
        };
        for_each_channel(store, constants, values, chosen.choice.shift);
        if (chosen.choice.fourth_sample) {
            fourth_output[at] = 0;
        }
    }
}

} // namespace kx
