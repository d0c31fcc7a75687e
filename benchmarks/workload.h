// What the benchmarks convert, and a processor to do it with.
#pragma once

#include "korvex_kvi_color_processing.hpp"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace kx::benchmarks {

namespace kc = korvex::color;

inline constexpr kc::matrix correction = {1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F};
inline constexpr kc::matrix identity = {1.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F, 1.0F};

struct image {
    std::string name;
    std::size_t width;
    std::size_t height;
    std::vector<std::uint16_t> samples;

    [[nodiscard]] std::size_t pixels() const { return width * height; }
};

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
    int depth = 16; // of samples and LUTs, in bits
};

// An output LUT's entry, for light from 0 to 1: darker tones are lifted, as for a screen.
inline double encoded(double light)
{
    return std::sqrt(light);
}

// A processor for that: input LUTs take off a black level, output LUTs encode for a screen.
inline kc::processor make_processor(const kc::library& library, std::int32_t vector_level, const transform_case& what)
{
    kc::processor made(library, {what.depth, what.depth, vector_level});
    made.append_matrix(what.matrix);
    made.enable_input_LUTs(what.input_LUTs);
    made.enable_output_LUTs(what.output_LUTs);
    const double last = (1 << what.depth) - 1;
    const double largest = what.output_bits < 48 ? 255 : last;
    for (const kc::channel each : {kc::channel::blue, kc::channel::green, kc::channel::red}) {
        const kc::LUT_range input = made.input_LUT(each);
        const kc::LUT_range output = made.output_LUT(each);
        const double black = last / 50;
        for (std::size_t i = 0; i < input.size(); ++i) {
            // Rounded, as a profile's: truncated, what comes out whole would now and then be one less, which is no
            // line.
            const auto sample = static_cast<double>(i);
            input[i] =
                sample < black ? 0 : static_cast<std::uint32_t>(std::lround((sample - black) / (last - black) * last));
            output[i] = static_cast<std::uint32_t>(std::lround(largest * encoded(sample / last)));
        }
    }
    return made;
}

// `output` has room for four samples of 16 bits a pixel.
inline void transform(const kc::processor& with, const transform_case& what, const std::uint16_t* input,
                      std::uint16_t* output, std::size_t width, std::size_t height = 1)
{
    const int channels = what.output_bits % 32 == 0 ? 4 : 3;
    const kc::image_view from(input, what.input_layout, width, height);
    kc::transform_options options;
    options.shift = what.shift;
    if (what.output_bits >= 48) {
        with.transform(from, kc::image_view(output, what.output_layout, width, height, channels), options);
    } else {
        auto* const bytes = reinterpret_cast<std::uint8_t*>(output);
        with.transform(from, kc::image_view(bytes, what.output_layout, width, height, channels), options);
    }
}

} // namespace kx::benchmarks
