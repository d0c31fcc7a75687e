#include "test_images.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include <png.h>
#include <tiffio.h>

namespace kx_test {

namespace {

void require(bool holds, const char* what)
{
    if (!holds) {
        throw std::runtime_error(std::string("test image: ") + what);
    }
}

using tiff_handle = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

// The bytes of `count` samples that lie `step` apart, as they stand in a file.
std::vector<std::uint8_t> to_bytes(const std::uint16_t* sample, std::size_t count, std::size_t step, unsigned bits)
{
    std::vector<std::uint8_t> bytes;
    for (std::size_t place = 0; place < count; ++place) {
        const std::uint16_t value = sample[place * step];
        bytes.push_back(static_cast<std::uint8_t>(value));
        if (bits == 16) {
            bytes.push_back(static_cast<std::uint8_t>(value >> 8));
        }
    }
    return bytes;
}

void write_tiles(TIFF* tiff, const picture& page, const tiff_layout& layout)
{
    const unsigned planes = layout.planar ? page.channels : 1;
    const unsigned components = layout.planar ? 1 : page.channels;
    for (std::uint16_t plane = 0; plane < planes; ++plane) {
        for (std::uint32_t y = 0; y < page.height; y += layout.tile) {
            for (std::uint32_t x = 0; x < page.width; x += layout.tile) {
                std::vector<std::uint16_t> tile(std::size_t{layout.tile} * layout.tile * components, 0xABCD);
                for (std::uint32_t row = y; row < std::min(y + layout.tile, page.height); ++row) {
                    for (std::uint32_t column = x; column < std::min(x + layout.tile, page.width); ++column) {
                        for (unsigned component = 0; component < components; ++component) {
                            const std::size_t source =
                                (std::size_t{row} * page.width + column) * page.channels + plane + component;
                            tile[((row - y) * layout.tile + column - x) * components + component] =
                                page.samples[source];
                        }
                    }
                }
                require(TIFFWriteTile(tiff, tile.data(), x, y, 0, plane) > 0, "tile");
            }
        }
    }
}

} // namespace

picture make_picture(std::uint32_t width, std::uint32_t height, unsigned seed, std::uint16_t maximum)
{
    picture image{.width = width, .height = height, .samples = {0, maximum, 1, maximum, 0, 2}};
    std::uint32_t state = seed * 2654435761U + 1;
    while (image.samples.size() < std::size_t{width} * height * 3) {
        state = state * 1664525U + 1013904223U;
        image.samples.push_back(static_cast<std::uint16_t>((state >> 12) % (maximum + 1U)));
    }
    image.samples.resize(std::size_t{width} * height * 3);
    return image;
}

void write_tiff(const std::filesystem::path& file, const std::vector<picture>& pages, const tiff_layout& layout)
{
    const tiff_handle handle(TIFFOpen(file.c_str(), layout.mode), TIFFClose);
    TIFF* const tiff = handle.get();
    require(tiff != nullptr, "open");
    for (const picture& page : pages) {
        TIFFSetField(tiff, TIFFTAG_IMAGEWIDTH, page.width);
        TIFFSetField(tiff, TIFFTAG_IMAGELENGTH, page.height);
        TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, page.bits);
        TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, page.channels);
        TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, int{layout.sample_format});
        TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC, int{layout.photometric});
        TIFFSetField(tiff, TIFFTAG_ORIENTATION, int{layout.orientation});
        TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, layout.planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
        TIFFSetField(tiff, TIFFTAG_COMPRESSION, int{layout.compression});
        if (layout.tile > 0) {
            TIFFSetField(tiff, TIFFTAG_TILEWIDTH, layout.tile);
            TIFFSetField(tiff, TIFFTAG_TILELENGTH, layout.tile);
            write_tiles(tiff, page, layout);
        } else {
            const std::size_t row_samples = std::size_t{page.width} * page.channels;
            TIFFSetField(tiff, TIFFTAG_ROWSPERSTRIP, 2);
            // One plane after the other, and only the rows that are there, whatever height the page claims.
            for (std::uint16_t plane = 0; plane < (layout.planar ? page.channels : 1); ++plane) {
                for (std::uint32_t row = 0; row < page.height && row * row_samples < page.samples.size(); ++row) {
                    const std::uint16_t* const samples = &page.samples[row * row_samples];
                    auto bytes = layout.planar ? to_bytes(samples + plane, page.width, page.channels, page.bits)
                                               : to_bytes(samples, row_samples, 1, page.bits);
                    require(TIFFWriteScanline(tiff, bytes.data(), row, plane) == 1, "row");
                }
            }
        }
        require(TIFFWriteDirectory(tiff) == 1, "directory");
    }
}

tiff_content read_tiff(const std::filesystem::path& file)
{
    tiff_content content;
    const tiff_handle handle(TIFFOpen(file.c_str(), "r"), TIFFClose);
    TIFF* const tiff = handle.get();
    require(tiff != nullptr, "open");
    do {
        picture page{};
        std::uint16_t bits = 0;
        std::uint16_t channels = 0;
        std::uint16_t planes = 0;
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &page.width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &page.height);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &channels);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planes);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &content.layout.compression);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_PHOTOMETRIC, &content.layout.photometric);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &content.layout.sample_format);
        TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &content.layout.orientation);
        std::uint16_t extra_count = 0;
        std::uint16_t* extras = nullptr;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extra_count, &extras);
        content.extra_samples.assign(extras, extras + extra_count);
        content.layout.planar = planes == PLANARCONFIG_SEPARATE;
        page.bits = bits;
        page.channels = channels;
        page.samples.resize(std::size_t{page.width} * page.height * channels);
        const unsigned components = content.layout.planar ? 1 : channels;
        std::vector<std::uint8_t> row(static_cast<std::size_t>(TIFFScanlineSize(tiff)));
        require(row.size() == std::size_t{page.width} * components * bits / 8, "size of a row");
        for (std::uint16_t plane = 0; plane < channels / components; ++plane) {
            for (std::uint32_t y = 0; y < page.height; ++y) {
                require(TIFFReadScanline(tiff, row.data(), y, plane) == 1, "row");
                for (std::size_t place = 0; place < std::size_t{page.width} * components; ++place) {
                    const std::size_t pixel = std::size_t{y} * page.width + place / components;
                    const int value = bits == 16 ? row[place * 2] | row[place * 2 + 1] << 8 : row[place];
                    page.samples[pixel * channels + plane + place % components] = static_cast<std::uint16_t>(value);
                }
            }
        }
        content.pages.push_back(std::move(page));
    } while (TIFFReadDirectory(tiff) == 1);
    return content;
}

void write_png(const std::filesystem::path& file, const picture& image, bool interlaced)
{
    constexpr int types[]{PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGBA};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "wb"), std::fclose);
    require(stream != nullptr, "open");
    // Errors end the test program: libpng's default handler has no jump target here.
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, stream.get());
    png_set_IHDR(png, info, image.width, image.height, static_cast<int>(image.bits), types[image.channels - 1],
                 interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    png_set_swap(png);
    const int passes = png_set_interlace_handling(png);
    const std::size_t row_samples = std::size_t{image.width} * image.channels;
    for (int pass = 0; pass < passes; ++pass) {
        for (std::size_t row = 0; row < image.height; ++row) {
            png_write_row(png, to_bytes(&image.samples[row * row_samples], row_samples, 1, image.bits).data());
        }
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
}

picture read_png(const std::filesystem::path& file)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "rb"), std::fclose);
    require(stream != nullptr, "open");
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, stream.get());
    png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
    picture image{.width = png_get_image_width(png, info),
                  .height = png_get_image_height(png, info),
                  .channels = png_get_channels(png, info),
                  .bits = png_get_bit_depth(png, info),
                  .samples = {}};
    for (std::uint32_t y = 0; y < image.height; ++y) {
        const png_bytep row = png_get_rows(png, info)[y];
        for (std::size_t place = 0; place < std::size_t{image.width} * image.channels; ++place) {
            const int value = image.bits == 16 ? row[place * 2] << 8 | row[place * 2 + 1] : row[place];
            image.samples.push_back(static_cast<std::uint16_t>(value));
        }
    }
    png_destroy_read_struct(&png, &info, nullptr);
    return image;
}

} // namespace kx_test
