// Settings into a color processor, through the library's C++ interface. Here alone red, green, blue becomes the
// library's blue, green, red.
#pragma once

#include "library_settings.h"

#include <korvex_kvi_color_processing.hpp>

#include <algorithm>
#include <optional>

namespace kx::profile {

// The library's names of the channels in a profile's order.
inline constexpr per_channel<korvex::color::channel> library_channels{
    korvex::color::channel::red, korvex::color::channel::green, korvex::color::channel::blue};

// A processor with the settings' LUTs and matrix. Throws korvex::color::error.
inline korvex::color::processor make_processor(const korvex::color::library& library, const library_settings& settings,
                                               std::optional<std::int32_t> vector_level = {})
{
    korvex::color::processor processor(library,
                                       {settings.input_LUT_bit_depth, settings.output_LUT_bit_depth, vector_level});
    processor.append_matrix(settings.matrix);
    korvex::color::per_channel<bool> inputs;
    korvex::color::per_channel<bool> outputs;
    for (std::size_t place = 0; place < library_channels.size(); ++place) {
        const korvex::color::channel which = library_channels.at(place);
        std::ranges::copy(settings.input_LUTs.at(place), processor.input_LUT(which).begin());
        std::ranges::copy(settings.output_LUTs.at(place), processor.output_LUT(which).begin());
        inputs[which] = !settings.input_LUTs.at(place).empty();
        outputs[which] = !settings.output_LUTs.at(place).empty();
    }
    processor.enable_input_LUTs(inputs);
    processor.enable_output_LUTs(outputs);
    return processor;
}

// What a transform with that processor takes besides. Samples are checked against the input LUTs.
inline korvex::color::transform_options transform_options_of(const library_settings& settings)
{
    korvex::color::transform_options options;
    for (std::size_t place = 0; place < library_channels.size(); ++place) {
        const clamp_range& range = settings.clamps.at(place);
        options.clamp[library_channels.at(place)] = {range.minimum, range.maximum};
        options.shift[library_channels.at(place)] = settings.shifts.at(place);
    }
    options.check_samples = true;
    return options;
}

} // namespace kx::profile
