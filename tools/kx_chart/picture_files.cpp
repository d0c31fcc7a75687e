#include "picture_files.h"

#include <png.h>

#include <memory>
#include <string>

namespace kx::chart {

images::image_16 read_photograph(const std::filesystem::path& file, int bits)
{
    images::image_16 picture = images::open_image(file)->read_page();
    if (picture.was_8_bit && bits != 8) {
        throw images::image_error(file, "has samples of 8 bits, not of " + std::to_string(bits));
    }
    return picture;
}

images::image_8 read_srgb_picture(const std::filesystem::path& file)
{
    png_image png{};
    png.version = PNG_IMAGE_VERSION;
    const std::unique_ptr<png_image, void (*)(png_image*)> release_at_end(&png, png_image_free);
    if (png_image_begin_read_from_file(&png, file.c_str()) == 0) {
        throw images::image_error(file, std::string("cannot be read as PNG: ") + png.message);
    }
    if (png.format != PNG_FORMAT_RGB) {
        throw images::image_error(file, "is not RGB with three 8-bit samples a pixel");
    }
    images::image_8 samples;
    samples.width = png.width;
    samples.height = png.height;
    samples.samples.resize(PNG_IMAGE_SIZE(png));
    if (png_image_finish_read(&png, nullptr, samples.samples.data(), 0, nullptr) == 0) {
        throw images::image_error(file, std::string("cannot be read: ") + png.message);
    }
    return samples;
}

void refuse_same_file(const std::filesystem::path& output, std::initializer_list<std::filesystem::path> others)
{
    for (const std::filesystem::path& other : others) {
        std::error_code not_there;
        if (!output.empty()
            && (output.lexically_normal() == other.lexically_normal()
                || std::filesystem::equivalent(output, other, not_there))) {
            throw images::image_error(output, "would be written over " + other.string() + "; give another name");
        }
    }
}

} // namespace kx::chart
