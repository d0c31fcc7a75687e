// The choices that tell one pixel kernel from another, and the numbering of their combinations.
#pragma once

#include "companion_interfaces/transform_parameters.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx {

// The twelfth choice, the output's layout, is no kernel's: it comes as data (see kernel_request).
enum class sample_layout : std::uint8_t { planar_bgr, interleaved_bgr, interleaved_rgb };

constexpr sample_layout layout_of(pixel_format format)
{
    switch (format) {
    case pixel_format::interleaved_bgr:
        return sample_layout::interleaved_bgr;
    case pixel_format::interleaved_rgb:
        return sample_layout::interleaved_rgb;
    default: // negative formats too
        return sample_layout::planar_bgr;
    }
}

enum class shift_kind : std::uint8_t { none, left, right };

constexpr shift_kind kind_of(std::int32_t shift_distance)
{
    if (shift_distance == 0) {
        return shift_kind::none;
    }
    return shift_distance >= 1 ? shift_kind::left : shift_kind::right;
}

struct kernel_choices {
    sample_layout input_layout;
    bool blue_input_LUT;
    bool green_input_LUT;
    bool red_input_LUT;
    bool blue_output_LUT;
    bool green_output_LUT;
    bool red_output_LUT;
    shift_kind blue_shift;
    shift_kind green_shift;
    shift_kind red_shift;
    bool fourth_sample;
};

// A combination as digits, one for each choice, in the order in which the dispatch decides them. As a number it has
// the first digit in front. Kernels take the number as their template argument rather than the choices: g++ 12 gives
// different kernel_choices values one mangled name when a member in the middle is zero.
inline constexpr std::array<unsigned, 11> choice_options = {3, 2, 2, 2, 2, 2, 2, 3, 3, 3, 2};
using choice_digits = std::array<unsigned, choice_options.size()>;

constexpr choice_digits digits_of(unsigned number)
{
    choice_digits digits{};
    for (std::size_t choice = digits.size(); choice-- > 0;) {
        digits[choice] = number % choice_options[choice];
        number /= choice_options[choice];
    }
    return digits;
}

inline choice_digits digits_of(const transform_parameters& parameters)
{
    const auto is_set = [](std::uint8_t flag) { return flag != 0 ? 1U : 0U; };
    const auto shift = [](std::int32_t distance) { return static_cast<unsigned>(kind_of(distance)); };
    return {static_cast<unsigned>(layout_of(parameters.input_format)),
            is_set(parameters.blue_input_LUT_enabled),
            is_set(parameters.green_input_LUT_enabled),
            is_set(parameters.red_input_LUT_enabled),
            is_set(parameters.blue_output_LUT_enabled),
            is_set(parameters.green_output_LUT_enabled),
            is_set(parameters.red_output_LUT_enabled),
            shift(parameters.blue_shift_distance),
            shift(parameters.green_shift_distance),
            shift(parameters.red_shift_distance),
            is_set(parameters.has_alpha_channel)};
}

constexpr kernel_choices choices_of(const choice_digits& digits)
{
    return {.input_layout = static_cast<sample_layout>(digits[0]),
            .blue_input_LUT = digits[1] != 0,
            .green_input_LUT = digits[2] != 0,
            .red_input_LUT = digits[3] != 0,
            .blue_output_LUT = digits[4] != 0,
            .green_output_LUT = digits[5] != 0,
            .red_output_LUT = digits[6] != 0,
            .blue_shift = static_cast<shift_kind>(digits[7]),
            .green_shift = static_cast<shift_kind>(digits[8]),
            .red_shift = static_cast<shift_kind>(digits[9]),
            .fourth_sample = digits[10] != 0};
}

} // namespace kx
