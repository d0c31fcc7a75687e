#include "picture.h"

#include <png.h>

#include <memory>
#include <string>

namespace kx::chart {

namespace {

void check_size(const std::filesystem::path& file, std::uint32_t width, std::uint32_t height)
{
    if (width != frame_width || height != frame_height) {
        throw images::image_error(file, "is " + std::to_string(width) + " x " + std::to_string(height)
                                            + " pixels; a picture of the chart has " + std::to_string(frame_width)
                                            + " x " + std::to_string(frame_height) + ".");
    }
}

} // namespace

camera_picture read_camera_picture(const std::filesystem::path& file)
{
    images::image_16 samples = images::open_image(file)->read_page();
    check_size(file, samples.width, samples.height);
    if (samples.layout != images::arrangement::interleaved_rgb) {
        throw images::image_error(file, "has separate planes; a camera frame has interleaved samples.");
    }
    return {std::move(samples), linear_decoding()};
}

srgb_picture read_srgb_picture(const std::filesystem::path& file)
{
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    const std::unique_ptr<png_image, void (*)(png_image*)> release_at_end(&png, png_image_free);
    if (png_image_begin_read_from_file(&png, file.c_str()) == 0) {
        throw images::image_error(file, std::string("cannot be read as PNG: ") + png.message + ".");
    }
    if (png.format != PNG_FORMAT_RGB) {
        throw images::image_error(file, "is not RGB with three 8-bit samples a pixel.");
    }
    check_size(file, png.width, png.height);
    images::image_8 samples;
    samples.width = png.width;
    samples.height = png.height;
    samples.samples.resize(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, samples.samples.data(), 0, nullptr) == 0) {
        throw images::image_error(file, std::string("cannot be read: ") + png.message + ".");
    }
    return {std::move(samples), srgb_decoding()};
}

} // namespace kx::chart
