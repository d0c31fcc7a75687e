#include "tool_test.h"

#include <algorithm>
#include <cstdio>
#include <memory>
#include <random>
#include <stdexcept>

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

// Some channels of a part of the image. What lies beyond it is noise.
std::vector<std::uint16_t> cut_out(const picture& image, std::size_t left, std::size_t top, std::size_t width,
                                   std::size_t height, unsigned first_channel, unsigned channels)
{
    std::vector<std::uint16_t> samples(width * height * channels, 0xABCD);
    for (std::size_t at = 0; at < samples.size(); ++at) {
        const std::size_t x = left + at / channels % width;
        const std::size_t pixel = (top + at / channels / width) * image.width + x;
        const std::size_t place = pixel * image.channels + first_channel + at % channels;
        if (x < image.width && place < image.samples.size()) {
            samples[at] = image.samples[place];
        }
    }
    return samples;
}

// Interleaves what a file has one plane after the other.
std::vector<std::uint16_t> samples_of(const std::vector<std::uint8_t>& bytes, unsigned bits, unsigned planes)
{
    std::vector<std::uint16_t> samples(bytes.size() * 8 / bits);
    for (std::size_t at = 0; at < samples.size(); ++at) {
        const std::size_t place = at % planes * (samples.size() / planes) + at / planes;
        const int value = bits == 16 ? bytes[place * 2] | bytes[place * 2 + 1] << 8 : bytes[place];
        samples[at] = static_cast<std::uint16_t>(value);
    }
    return samples;
}

using tiff_handle = std::unique_ptr<TIFF, decltype(&TIFFClose)>;

// Errors end the test program: libpng's default handler has no jump target here.
void write_png(const std::string& file, const image_file& image)
{
    constexpr int types[]{PNG_COLOR_TYPE_GRAY, PNG_COLOR_TYPE_GRAY_ALPHA, PNG_COLOR_TYPE_RGB, PNG_COLOR_TYPE_RGBA};
    const picture& page = image.pages.front();
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> stream(std::fopen(file.c_str(), "wb"), std::fclose);
    require(stream != nullptr, "create");
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png_create_info_struct(png);
    png_init_io(png, stream.get());
    png_set_IHDR(png, info, page.width, page.height, static_cast<int>(page.bits), types[page.channels - 1],
                 image.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT,
                 PNG_FILTER_TYPE_DEFAULT);
    std::vector<std::uint16_t> samples = page.samples;
    std::vector<png_bytep> rows;
    for (std::size_t y = 0; y < page.height; ++y) {
        rows.push_back(reinterpret_cast<png_bytep>(&samples[y * page.width * page.channels]));
    }
    png_set_rows(png, info, rows.data());
    png_write_png(png, info, PNG_TRANSFORM_SWAP_ENDIAN, nullptr);
    png_destroy_write_struct(&png, &info);
}

picture read_png(const std::string& file)
{
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    require(png_image_begin_read_from_file(&png, file.c_str()) != 0, "open");
    std::vector<std::uint8_t> bytes(PNG_IMAGE_SIZE(png));
    require(png_image_finish_read(&png, nullptr, bytes.data(), 0, nullptr) != 0, "rows");
    const unsigned bits = 8 * PNG_IMAGE_SAMPLE_COMPONENT_SIZE(png.format);
    return {png.width, png.height, PNG_IMAGE_SAMPLE_CHANNELS(png.format), bits, samples_of(bytes, bits, 1)};
}

} // namespace

picture make_picture(std::uint32_t width, std::uint32_t height, unsigned seed, std::uint16_t maximum)
{
    picture image{.width = width, .height = height, .samples = {0, maximum, 1, maximum, 0, 2}};
    std::minstd_rand random(seed);
    while (image.samples.size() < std::size_t{width} * height * 3) {
        image.samples.push_back(static_cast<std::uint16_t>(random() % (maximum + 1U)));
    }
    image.samples.resize(std::size_t{width} * height * 3);
    return image;
}

void write_image(const std::string& file, const image_file& image)
{
    if (file.ends_with("png")) {
        write_png(file, image);
        return;
    }
    const tiff_handle handle(TIFFOpen(file.c_str(), (std::string("w") + image.kind).c_str()), TIFFClose);
    TIFF* const tiff = handle.get();
    require(tiff != nullptr, "create");
    const bool tiled = image.tile > 0;
    for (const picture& page : image.pages) {
        const std::uint32_t width = tiled ? image.tile : page.width;
        const std::uint32_t height = tiled ? image.tile : 2;
        for (const auto& [tag, value] : std::initializer_list<std::pair<std::uint32_t, std::uint32_t>>{
                 {TIFFTAG_IMAGEWIDTH, page.width},
                 {TIFFTAG_IMAGELENGTH, page.height},
                 {TIFFTAG_BITSPERSAMPLE, page.bits},
                 {TIFFTAG_SAMPLESPERPIXEL, page.channels},
                 {TIFFTAG_SAMPLEFORMAT, image.sample_format},
                 {TIFFTAG_PHOTOMETRIC, image.photometric},
                 {TIFFTAG_ORIENTATION, image.orientation},
                 {TIFFTAG_COMPRESSION, image.compression},
                 {TIFFTAG_PLANARCONFIG, image.planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG},
                 {tiled ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, tiled ? width : height},
                 {tiled ? TIFFTAG_TILELENGTH : TIFFTAG_ROWSPERSTRIP, height}}) {
            TIFFSetField(tiff, tag, value);
        }
        if (image.fourth_sample >= 0) {
            const auto meaning = static_cast<std::uint16_t>(image.fourth_sample);
            TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &meaning);
        }
        // One plane after the other, and only the rows that are there, whatever height the page claims.
        const auto rows = static_cast<std::uint32_t>(page.samples.size() / page.channels / page.width);
        const unsigned components = image.planar ? 1 : page.channels;
        std::uint32_t number = 0;
        for (unsigned plane = 0; plane < page.channels; plane += components) {
            for (std::uint32_t y = 0; y < std::min(rows, page.height); y += height) {
                for (std::uint32_t x = 0; x < page.width; x += width) {
                    const std::uint32_t part = tiled ? height : std::min(height, rows - y);
                    auto samples = cut_out(page, x, y, width, part, plane, components);
                    const auto size = static_cast<tmsize_t>(samples.size() * sizeof(samples[0]));
                    const auto write = tiled ? TIFFWriteEncodedTile : TIFFWriteEncodedStrip;
                    require(write(tiff, number++, samples.data(), size) > 0, "part");
                }
            }
        }
        require(TIFFWriteDirectory(tiff) == 1, "directory");
    }
}

image_file read_image(const std::string& file)
{
    if (file.ends_with("png")) {
        return {{read_png(file)}};
    }
    image_file content;
    const tiff_handle handle(TIFFOpen(file.c_str(), "r"), TIFFClose);
    TIFF* const tiff = handle.get();
    require(tiff != nullptr, "open");
    const auto field = [tiff](std::uint32_t tag) {
        std::uint16_t value = 0;
        TIFFGetFieldDefaulted(tiff, tag, &value);
        return value;
    };
    do {
        std::uint16_t extra_count = 0;
        std::uint16_t* extras = nullptr;
        TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &extra_count, &extras);
        content = {.pages = std::move(content.pages),
                   .planar = field(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE,
                   .compression = field(TIFFTAG_COMPRESSION),
                   .photometric = field(TIFFTAG_PHOTOMETRIC),
                   .sample_format = field(TIFFTAG_SAMPLEFORMAT),
                   .orientation = field(TIFFTAG_ORIENTATION),
                   .fourth_sample = extra_count > 0 ? *extras : -1};
        picture page{.channels = field(TIFFTAG_SAMPLESPERPIXEL), .bits = field(TIFFTAG_BITSPERSAMPLE)};
        TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &page.width);
        TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &page.height);
        const unsigned planes = content.planar ? page.channels : 1;
        const auto row_bytes = static_cast<std::size_t>(TIFFScanlineSize(tiff));
        require(row_bytes == std::size_t{page.width} * page.channels / planes * page.bits / 8, "size of a row");
        std::vector<std::uint8_t> bytes(row_bytes * page.height * planes);
        for (std::uint32_t y = 0; y < page.height * planes; ++y) {
            const auto plane = static_cast<std::uint16_t>(y / page.height);
            require(TIFFReadScanline(tiff, &bytes[row_bytes * y], y % page.height, plane) == 1, "row");
        }
        page.samples = samples_of(bytes, page.bits, planes);
        content.pages.push_back(std::move(page));
    } while (TIFFReadDirectory(tiff) == 1);
    return content;
}

} // namespace kx_test
