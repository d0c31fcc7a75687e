#include "image_file.h"

#include "image_formats.h"

#include "files/readable_file.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <string_view>

namespace kx::images {

namespace {

ledger unread_ledger(false);

} // namespace

std::unique_ptr<image_reader> open_image(const std::filesystem::path& file, ledger& losses, bool channel_pages)
{
    using namespace std::string_view_literals;
    std::error_code ignored;
    if (std::filesystem::is_directory(file, ignored)) {
        throw image_error(file, "is a directory, not an image file");
    }
    if (std::filesystem::exists(file, ignored) && !std::filesystem::is_regular_file(file, ignored)) {
        throw image_error(file, "is a pipe or a device: images are read from files, whose parts are read in any order");
    }
    std::array<char, 8> start{};
    const std::string_view signature(start.data(), files::readable_file(file).read(0, start.data(), start.size()));
    if (signature == "\x89PNG\r\n\x1a\n"sv) {
        return open_png(file, losses);
    }
    for (const std::string_view mark : {"II*\0"sv, "MM\0*"sv, "II+\0"sv, "MM\0+"sv}) {
        if (signature.starts_with(mark)) {
            return open_tiff(file, losses, channel_pages);
        }
    }
    throw image_error(file, "is neither a TIFF nor a PNG file");
}

void check_fourth_sample(const std::filesystem::path& file, const std::string& where, const fourth_samples& fourth,
                         bool is_alpha)
{
    const auto value = fourth.common_value();
    if (is_alpha && value != 0xFFFF) {
        throw image_error(file, where + " is transparent in places: its alpha would be lost");
    }
    if (!value) {
        throw image_error(file, where + " has a fourth sample that varies and would be lost");
    }
}

file_type type_from_suffix(const std::filesystem::path& file)
{
    std::string suffix = file.extension().string();
    std::ranges::transform(suffix, suffix.begin(), [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (suffix == ".png") {
        return file_type::png;
    }
    if (suffix == ".tif" || suffix == ".tiff") {
        return file_type::tiff;
    }
    throw image_error(file, "cannot tell the file type from the suffix: use .tif, .tiff or .png");
}

std::unique_ptr<image_writer> create_image(const std::filesystem::path& file, const write_options& options,
                                           ledger& losses)
{
    return type_from_suffix(file) == file_type::png ? create_png(file, options, losses)
                                                    : create_tiff(file, options, losses);
}

std::unique_ptr<image_reader> open_image(const std::filesystem::path& file)
{
    return open_image(file, unread_ledger);
}

std::unique_ptr<image_writer> create_image(const std::filesystem::path& file, const write_options& options)
{
    return create_image(file, options, unread_ledger);
}

} // namespace kx::images
