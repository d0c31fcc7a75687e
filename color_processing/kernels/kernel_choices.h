// The choices that tell one pixel kernel from another, and the numbering of their combinations.
#pragma once

#include "channel_parameters.h"
#include "companion_interfaces/transform_parameters.h"
#include "layouts.h"
#include "per_channel.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx {

enum class shift_kind : std::uint8_t { none, left, right };

constexpr shift_kind kind_of(std::int32_t shift_distance)
{
    if (shift_distance == 0) {
        return shift_kind::none;
    }
    return shift_distance >= 1 ? shift_kind::left : shift_kind::right;
}

// The twelfth choice, the output's layout, is no kernel's: it comes as data (see kernel_request).
struct kernel_choices {
    sample_layout input_layout;
    per_channel<bool> input_LUT;
    per_channel<bool> output_LUT;
    per_channel<shift_kind> shift;
    bool fourth_sample;
};

// The choices in the order in which the dispatch decides them: calls the function with each and its number of options.
template <typename choices, typename function>
constexpr void for_each_choice(choices& of, const function& call)
{
    const auto call_with_LUT = [&call](auto& LUT) { call(LUT, 2U); };
    call(of.input_layout, 3U);
    for_each_channel(call_with_LUT, of.input_LUT);
    for_each_channel(call_with_LUT, of.output_LUT);
    for_each_channel([&call](auto& shift) { call(shift, 3U); }, of.shift);
    call(of.fourth_sample, 2U);
}

// A combination as digits, one for each choice. As a number it has the first digit in front. Kernels take the number as
// their template argument rather than the choices: g++ 12 gives different kernel_choices values one mangled name when a
// member in the middle is zero.
inline constexpr std::size_t choice_count = [] {
    std::size_t count = 0;
    kernel_choices any{};
    for_each_choice(any, [&count](auto&, unsigned) { ++count; });
    return count;
}();
using choice_digits = std::array<unsigned, choice_count>;

inline constexpr choice_digits choice_options = [] {
    choice_digits options{};
    std::size_t choice = 0;
    kernel_choices any{};
    for_each_choice(any, [&](auto&, unsigned number) { options[choice++] = number; });
    return options;
}();

constexpr choice_digits digits_of(const kernel_choices& choices)
{
    choice_digits digits{};
    std::size_t choice = 0;
    for_each_choice(choices, [&](const auto& option, unsigned) { digits[choice++] = static_cast<unsigned>(option); });
    return digits;
}

constexpr kernel_choices choices_of(unsigned number)
{
    unsigned place = 1; // of the digit in front
    for (const unsigned options : choice_options) {
        place *= options;
    }
    kernel_choices choices{};
    for_each_choice(choices, [&]<typename type>(type& option, unsigned options) {
        place /= options;
        option = static_cast<type>(number / place % options);
    });
    return choices;
}

inline kernel_choices choices_of(const transform_parameters& record)
{
    const per_channel<channel_parameters> channels = channels_of(record);
    return {.input_layout = layout_of(record.input_format),
            .input_LUT = map_channels([](const auto& of) { return of.input_LUT != nullptr; }, channels),
            .output_LUT = map_channels([](const auto& of) { return of.output_LUT != nullptr; }, channels),
            .shift = map_channels([](const auto& of) { return kind_of(of.shift_distance); }, channels),
            .fourth_sample = record.has_alpha_channel != 0};
}

} // namespace kx
