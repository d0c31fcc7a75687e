// Stacks of images with any strides, as NumPy arrays have them, and their conversion by the C++ interface, which knows
// single images. Nothing here knows Python.
#pragma once

#include <korvex_kvi_color_processing.hpp>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx::python {

namespace kc = korvex::color;

inline constexpr std::size_t most_dimensions = 64; // of a NumPy array

// Where the samples of a stack of images lie.
struct sample_places {
    std::byte* data = nullptr;
    kc::channel_order order{};
    int channels = 3;
    std::size_t sample_bytes = 0;
    kc::image_strides strides{};
    std::array<std::ptrdiff_t, most_dimensions> leading{}; // from an image to the next, in each leading dimension
};

// Some rows of all images, one image's after another's, and of these some columns.
struct image_region {
    std::size_t row = 0;
    std::size_t rows = 0;
    std::size_t column = 0;
    std::size_t columns = 0;

    // The region cut into `count` parts of nearly as many pixels: number `index`.
    [[nodiscard]] image_region part(std::size_t index, std::size_t count) const;
};

// A sample beyond its channel's enabled input LUT; its row is that of all images.
struct sample_beyond_LUT {
    kc::image_sample sample;
    std::size_t row;
};

// A stack of images to be converted into another one of the same size.
struct conversion {
    std::size_t leading_dimensions = 0;
    std::array<std::ptrdiff_t, most_dimensions> counts{}; // of images in each leading dimension
    std::ptrdiff_t height = 0;
    std::ptrdiff_t width = 0;
    sample_places input;
    sample_places output;

    // Takes images whose rows follow one another for one tall image.
    void simplify();

    [[nodiscard]] image_region everything() const;
    [[nodiscard]] std::size_t pixels() const { return everything().rows * everything().columns; }

    // Throws sample_beyond_LUT.
    void check(const kc::processor& processor, const image_region& where) const;

    // Checks neither samples nor overlaps.
    void convert(const kc::processor& processor, const image_region& where, kc::transform_options options) const;
};

} // namespace kx::python
