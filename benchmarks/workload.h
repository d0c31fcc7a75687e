// What the benchmarks convert, and a processor to do it with.
#pragma once

#include "korvex_kvi_color_processing.hpp"

#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace kx::benchmarks {

namespace kc = korvex::color;

inline constexpr kc::matrix correction = {1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F};
inline constexpr kc::matrix identity = {1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F};

// Noise over the whole range, the worst case for tables.
inline std::vector<std::uint16_t> noise_image(std::int32_t pixels)
{
    std::vector<std::uint16_t> samples(static_cast<std::size_t>(pixels) * 3);
    std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same image in every run
    for (std::uint16_t& sample : samples) {
        sample = static_cast<std::uint16_t>(random());
    }
    return samples;
}

// A processor with LUTs of 16 bits, filled but disabled.
inline kc::processor make_processor(const kc::library& library, std::int32_t vector_level)
{
    kc::processor made(library, {16, 16, vector_level});
    std::uint32_t factor = 1;
    for (const auto get : {&kc::processor::input_LUT, &kc::processor::output_LUT}) {
        for (const kc::channel each : {kc::channel::blue, kc::channel::green, kc::channel::red}) {
            factor += 2;
            std::uint32_t value = 0;
            for (std::uint32_t& entry : (made.*get)(each)) {
                entry = value;
                value += factor;
            }
        }
    }
    return made;
}

// One kind of transform: the output's bits a pixel and what is switched on.
struct transform_case {
    const char* name;
    int output_bits; // 48, 64, 24 or 32
    kc::pixel_layout input_layout;
    kc::pixel_layout output_layout;
    kc::matrix matrix;
    kc::per_channel<std::int32_t> shift;
    bool input_LUTs;
    bool output_LUTs;
};

inline void configure(kc::processor& with, const transform_case& what)
{
    with.clear_matrix();
    with.append_matrix(what.matrix);
    with.enable_input_LUTs(what.input_LUTs);
    with.enable_output_LUTs(what.output_LUTs);
}

// `output` has room for four samples of 16 bits a pixel.
inline void transform(const kc::processor& with, const transform_case& what, const std::vector<std::uint16_t>& input,
                      std::uint16_t* output)
{
    const std::size_t pixels = input.size() / 3;
    const int channels = what.output_bits % 32 == 0 ? 4 : 3;
    const kc::image_view from(input.data(), what.input_layout, pixels, 1);
    kc::transform_options options;
    options.shift = what.shift;
    if (what.output_bits >= 48) {
        with.transform(from, kc::image_view(output, what.output_layout, pixels, 1, channels), options);
    } else {
        auto* const bytes = reinterpret_cast<std::uint8_t*>(output);
        with.transform(from, kc::image_view(bytes, what.output_layout, pixels, 1, channels), options);
    }
}

} // namespace kx::benchmarks
