#include "combination.h"

#include <cstddef>

namespace kx_test {

namespace {

const char* layout_name(std::int32_t layout)
{
    return layout == 1 ? "interleaved BGR" : layout == 2 ? "interleaved RGB" : "planar BGR";
}

const char* direction_name(shift_direction direction)
{
    return direction == shift_direction::left ? "left" : direction == shift_direction::right ? "right" : "none";
}

} // namespace

combination combination_at(int number)
{
    const auto next = [&number](int radix) {
        const int digit = number % radix;
        number /= radix;
        return digit;
    };
    combination choices{};
    choices.output_bits = next(2) == 0 ? 8 : 16;
    choices.input_layout = next(3);
    choices.output_layout = next(3);
    choices.fourth_sample = next(2) != 0;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        choices.input_LUT[channel] = next(2) != 0;
        choices.output_LUT[channel] = next(2) != 0;
        choices.shift[channel] = static_cast<shift_direction>(next(3));
    }
    return choices;
}

std::string describe(const combination& choices)
{
    static constexpr const char* names[3] = {"blue", "green", "red"};
    std::string text = "48 to " + std::to_string(choices.samples_per_pixel() * choices.output_bits) + ", "
                       + layout_name(choices.input_layout) + " to " + layout_name(choices.output_layout);
    for (std::size_t channel = 0; channel < 3; ++channel) {
        text += std::string("; ") + names[channel] + ": input LUT " + (choices.input_LUT[channel] ? "on" : "off")
                + ", output LUT " + (choices.output_LUT[channel] ? "on" : "off") + ", shift "
                + direction_name(choices.shift[channel]);
    }
    return text;
}

} // namespace kx_test
