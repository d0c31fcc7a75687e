// Settings into a color processor, through the library's C++ interface.
#pragma once

#include "library_settings.h"

#include <korvex_kvi_color_processing.hpp>

#include <algorithm>
#include <optional>

namespace kx::profile {

// A processor with the settings' LUTs and matrix. Throws korvex::color::error.
inline korvex::color::processor make_processor(const korvex::color::library& library, const library_settings& settings,
                                               std::optional<std::int32_t> vector_level = {})
{
    using korvex::color::channel;
    korvex::color::processor processor(library,
                                       {settings.input_LUT_bit_depth, settings.output_LUT_bit_depth, vector_level});
    processor.append_matrix(settings.matrix);
    korvex::color::per_channel<bool> inputs;
    korvex::color::per_channel<bool> outputs;
    for (const channel which : {channel::blue, channel::green, channel::red}) {
        const auto& input = settings.input_LUTs.at(static_cast<std::size_t>(which));
        const auto& output = settings.output_LUTs.at(static_cast<std::size_t>(which));
        std::ranges::copy(input, processor.input_LUT(which).begin());
        std::ranges::copy(output, processor.output_LUT(which).begin());
        inputs[which] = !input.empty();
        outputs[which] = !output.empty();
    }
    processor.enable_input_LUTs(inputs);
    processor.enable_output_LUTs(outputs);
    return processor;
}

// What a transform with that processor takes besides. Samples are checked against the input LUTs.
inline korvex::color::transform_options transform_options_of(const library_settings& settings)
{
    return {korvex::color::clamp_range{settings.clamp_min, settings.clamp_max}, settings.shift, true};
}

} // namespace kx::profile
