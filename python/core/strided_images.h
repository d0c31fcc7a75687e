// Images with any strides, as NumPy arrays have them, and how they reach a library that takes views of images. Nothing
// here knows Python.
#pragma once

#include <korvex_kvi_color_processing.hpp>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx::python {

namespace kc = korvex::color;

inline constexpr std::size_t most_dimensions = 32; // of a NumPy array

// Where the samples of a stack of images lie: distances in bytes, of any sign.
struct sample_places {
    std::byte* data = nullptr;
    kc::pixel_layout layout{};
    int channels = 3;
    std::ptrdiff_t sample_bytes = 0;
    std::ptrdiff_t row = 0;
    std::ptrdiff_t column = 0;
    std::ptrdiff_t channel = 0;
    std::array<std::ptrdiff_t, most_dimensions> leading{}; // from an image to the next, in each leading dimension
};

// A stack of images to be converted into another one of the same size.
struct conversion {
    std::size_t leading_dimensions = 0;
    std::array<std::ptrdiff_t, most_dimensions> counts{}; // of images in each leading dimension
    std::ptrdiff_t height = 0;
    std::ptrdiff_t width = 0;
    sample_places input;
    sample_places output;
    bool crossing = false; // the two share no sample, but neither lies wholly before the other

    // Takes images whose rows follow one another for one tall image, and strides that nothing depends on for those of
    // a contiguous image.
    void simplify();

    [[nodiscard]] std::size_t images() const;
    [[nodiscard]] std::size_t rows() const { return images() * static_cast<std::size_t>(height); } // of all images
    [[nodiscard]] std::size_t pixels() const { return rows() * static_cast<std::size_t>(width); }
};

// Rows `first` to `first + count` of all rows. What the library's views cannot express goes through a small buffer.
// Both throw what the processor's functions throw; convert_rows does not check samples.
void check_rows(const kc::processor& processor, const conversion& wanted, std::size_t first, std::size_t count);
void convert_rows(const kc::processor& processor, const conversion& wanted, std::size_t first, std::size_t count,
                  const kc::transform_options& options);

} // namespace kx::python
