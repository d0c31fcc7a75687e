// The readers and writers behind image_file.h, one pair for each file type.
#pragma once

#include "image_file.h"
#include "sample_rows.h"

#include <limits>

namespace kx::images {

std::unique_ptr<image_reader> open_tiff(const std::filesystem::path& file, ledger& losses, bool channel_pages);
std::unique_ptr<image_reader> open_png(const std::filesystem::path& file, ledger& losses);

std::unique_ptr<image_writer> create_tiff(const std::filesystem::path& file, const write_options& options,
                                          ledger& losses);
std::unique_ptr<image_writer> create_png(const std::filesystem::path& file, const write_options& options,
                                         ledger& losses);

// What a file must hold, for the texts of refusals.
inline constexpr const char* needed_samples = "needed are RGB images of unsigned 16- or 8-bit samples";

// Throws unless the library can count the page's pixels. Dimensions come from the file and may be anything.
inline void check_dimensions(const std::filesystem::path& file, std::uint32_t width, std::uint32_t height)
{
    const std::string size = std::to_string(width) + " x " + std::to_string(height);
    if (width == 0 || height == 0) {
        throw image_error(file, "an image of " + size + " pixels has nothing to convert");
    }
    if (std::uint64_t{width} * height > std::numeric_limits<std::int32_t>::max()) {
        throw image_error(file, "an image of " + size + " pixels is too large: at most 2147483647 are possible");
    }
}

// Everything but the samples, whose memory is kept for reuse.
inline void copy_shape(const image_16& from, image_16& to)
{
    std::vector<std::uint16_t> samples = std::move(to.samples);
    to = from;
    to.samples = std::move(samples);
}

// Sets aside memory for the page's samples without touching it.
inline void reserve_samples(const std::filesystem::path& file, image_16& page)
{
    try {
        page.samples.reserve(page.pixel_count() * page.channels);
    } catch (const std::bad_alloc&) {
        throw image_error(file, "not enough memory for an image of " + std::to_string(page.width) + " x "
                                    + std::to_string(page.height) + " pixels");
    }
}

// Throws if leaving the fourth samples out would lose something. `where` is the page, for messages.
void check_fourth_sample(const std::filesystem::path& file, const std::string& where, const fourth_samples& fourth,
                         bool is_alpha);

} // namespace kx::images
