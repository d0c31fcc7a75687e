// The twelve choices that tell one pixel kernel from another, and the numbering of their combinations.
#pragma once

#include <cstdint>

namespace kx {

enum class sample_layout : std::uint8_t { planar_bgr, interleaved_bgr, interleaved_rgb };

enum class shift_kind : std::uint8_t { none, left, right };

// In the order in which the dispatch decides them.
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
    sample_layout output_layout;

    bool operator==(const kernel_choices&) const = default;
};

inline constexpr unsigned kernel_count = 31'104; // a family's: 3^5 x 2^7

// A combination's number has one digit for each choice, the first decided in front. The dispatch appends
// digit after digit. Kernels take the number as their template argument rather than the choices: g++ 12
// gives different kernel_choices values one mangled name when a member in the middle is zero.
constexpr unsigned append(unsigned number, bool choice)
{
    return 2 * number + (choice ? 1 : 0);
}
constexpr unsigned append(unsigned number, shift_kind choice)
{
    return 3 * number + static_cast<unsigned>(choice);
}
constexpr unsigned append(unsigned number, sample_layout choice)
{
    return 3 * number + static_cast<unsigned>(choice);
}

constexpr kernel_choices choices_of(unsigned number)
{
    const auto take_last_digit = [&number](unsigned radix) {
        const unsigned digit = number % radix;
        number /= radix;
        return digit;
    };
    kernel_choices choices{};
    choices.output_layout = static_cast<sample_layout>(take_last_digit(3));
    choices.fourth_sample = take_last_digit(2) != 0;
    choices.red_shift = static_cast<shift_kind>(take_last_digit(3));
    choices.green_shift = static_cast<shift_kind>(take_last_digit(3));
    choices.blue_shift = static_cast<shift_kind>(take_last_digit(3));
    choices.red_output_LUT = take_last_digit(2) != 0;
    choices.green_output_LUT = take_last_digit(2) != 0;
    choices.blue_output_LUT = take_last_digit(2) != 0;
    choices.red_input_LUT = take_last_digit(2) != 0;
    choices.green_input_LUT = take_last_digit(2) != 0;
    choices.blue_input_LUT = take_last_digit(2) != 0;
    choices.input_layout = static_cast<sample_layout>(take_last_digit(3));
    return choices;
}

constexpr shift_kind kind_of(std::int32_t shift_distance)
{
    if (shift_distance == 0) {
        return shift_kind::none;
    }
    return shift_distance >= 1 ? shift_kind::left : shift_kind::right;
}

} // namespace kx
