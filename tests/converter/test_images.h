// Images for the converter's tests, written and read with libtiff and libpng alone, in the plainest way.
#pragma once

#include <cstdint>
#include <filesystem>
#include <vector>

namespace kx_test {

// Interleaved samples, for RGB red first, whatever the file's arrangement.
struct picture {
    std::uint32_t width;
    std::uint32_t height;
    unsigned channels = 3;
    unsigned bits = 16;
    std::vector<std::uint16_t> samples;

    bool operator==(const picture&) const = default;
};

// Samples without a pattern that a wrong order of channels, rows or planes would leave unchanged; the extremes
// of the range 0..maximum come first.
picture make_picture(std::uint32_t width, std::uint32_t height, unsigned seed, std::uint16_t maximum = 65535);

// A TIFF file's properties that are not pixels.
struct tiff_layout {
    bool planar = false;
    std::uint16_t compression = 1;
    std::uint32_t tile = 0; // edge of a tile, 0 for strips
    const char* mode = "w";
    std::uint16_t photometric = 2;
    std::uint16_t sample_format = 1;
    std::uint16_t orientation = 1;
};

struct tiff_content {
    std::vector<picture> pages;
    tiff_layout layout;                       // of the last page
    std::vector<std::uint16_t> extra_samples; // of the last page
};

void write_tiff(const std::filesystem::path& file, const std::vector<picture>& pages, const tiff_layout& layout = {});

// For files in strips; 8- and 16-bit samples.
tiff_content read_tiff(const std::filesystem::path& file);

// Channels 1 to 4 stand for grey, grey with alpha, RGB, RGB with alpha.
void write_png(const std::filesystem::path& file, const picture& image, bool interlaced = false);
picture read_png(const std::filesystem::path& file);

} // namespace kx_test
