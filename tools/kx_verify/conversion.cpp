#include "conversion.h"

#include <sstream>

namespace kx::verify {

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
        choices.shift[channel] = next(3) - 1;
    }
    return choices;
}

std::string describe(const conversion& wanted)
{
    static constexpr const char* names[3] = {"blue", "green", "red"};
    const combination& choices = wanted.choices;
    std::ostringstream text;
    text << choices.samples_per_pixel() << " samples of " << choices.output_bits << " bits, layout "
         << choices.input_layout << " to " << choices.output_layout << ", " << wanted.pixel_count << " pixels";
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const channel_settings& settings = wanted.channels[channel];
        text << "\n  " << names[channel] << ": input LUT " << choices.input_LUT[channel] << ", clamp "
             << settings.clamp_min << ".." << settings.clamp_max << ", output LUT " << choices.output_LUT[channel]
             << ", shift " << settings.shift_distance;
    }
    for (const matrix_values& matrix : wanted.matrices) {
        text << "\n  matrix" << std::hexfloat;
        for (const float element : matrix) {
            text << ' ' << element;
        }
    }
    return text.str();
}

} // namespace kx::verify
