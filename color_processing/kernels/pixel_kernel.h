// The one kernel body: what happens to a pixel. All kernels are made from it, and nothing here chooses at
// run time: with choices known at compile time every `if` below is decided by the compiler.
#pragma once

#include "kernels/kernel_request.h"
#include "rounding.h"

#include <cstddef>
#include <cstdint>

namespace kx {

// Choices known at compile time: what the shipped kernels are made with.
template <unsigned number>
struct fixed_choices {
    static constexpr kernel_choices choice = choices_of(digits_of(number));
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
    const float* const matrix = request.matrix;
    const float red_from_red = matrix[0], red_from_green = matrix[1], red_from_blue = matrix[2];
    const float green_from_red = matrix[3], green_from_green = matrix[4], green_from_blue = matrix[5];
    const float blue_from_red = matrix[6], blue_from_green = matrix[7], blue_from_blue = matrix[8];
    const std::int32_t blue_min = request.blue.minimum, blue_max = request.blue.maximum;
    const std::int32_t green_min = request.green.minimum, green_max = request.green.maximum;
    const std::int32_t red_min = request.red.minimum, red_max = request.red.maximum;
    const std::int32_t blue_shift = request.blue.shift;
    const std::int32_t green_shift = request.green.shift;
    const std::int32_t red_shift = request.red.shift;

    const sample_places from = places_in(chosen.choice.input_layout, request.pixel_count, 3);
    const std::uint16_t* input = request.input;
    const std::ptrdiff_t output_step = request.output_step;
    output_sample* const blue_output = request.blue.output;
    output_sample* const green_output = request.green.output;
    output_sample* const red_output = request.red.output;
    output_sample* const fourth_output = request.fourth_output;

    // No counter of its own: the loop has more constants than the machine has registers.
    const std::ptrdiff_t end = request.output_end;
    for (std::ptrdiff_t at = 0; at != end; input += from.step, at += output_step) {
        std::uint16_t blue_in = input[from.blue];
        std::uint16_t green_in = input[from.green];
        std::uint16_t red_in = input[from.red];
        if (chosen.choice.blue_input_LUT) {
            blue_in = static_cast<std::uint16_t>(request.blue.input_LUT[blue_in]);
        }
        if (chosen.choice.green_input_LUT) {
            green_in = static_cast<std::uint16_t>(request.green.input_LUT[green_in]);
        }
        if (chosen.choice.red_input_LUT) {
            red_in = static_cast<std::uint16_t>(request.red.input_LUT[red_in]);
        }
        const auto b = static_cast<float>(blue_in);
        const auto g = static_cast<float>(green_in);
        const auto r = static_cast<float>(red_in);

        // Every product and every sum is rounded to single precision, red column first.
        const float blue_sum = blue_from_red * r + blue_from_green * g + blue_from_blue * b;
        const float green_sum = green_from_red * r + green_from_green * g + green_from_blue * b;
        const float red_sum = red_from_red * r + red_from_green * g + red_from_blue * b;

        std::int32_t blue = clamp(round_before_clamp(blue_sum), blue_min, blue_max);
        std::int32_t green = clamp(round_before_clamp(green_sum), green_min, green_max);
        std::int32_t red = clamp(round_before_clamp(red_sum), red_min, red_max);
        if (chosen.choice.blue_output_LUT) {
            blue = static_cast<std::int32_t>(request.blue.output_LUT[blue]);
        }
        if (chosen.choice.green_output_LUT) {
            green = static_cast<std::int32_t>(request.green.output_LUT[green]);
        }
        if (chosen.choice.red_output_LUT) {
            red = static_cast<std::int32_t>(request.red.output_LUT[red]);
        }

        // Only the low bits are stored; nothing saturates.
        blue_output[at] = static_cast<output_sample>(shift(blue, chosen.choice.blue_shift, blue_shift));
        green_output[at] = static_cast<output_sample>(shift(green, chosen.choice.green_shift, green_shift));
        red_output[at] = static_cast<output_sample>(shift(red, chosen.choice.red_shift, red_shift));
        if (chosen.choice.fourth_sample) {
            fourth_output[at] = 0;
        }
    }
}

} // namespace kx
