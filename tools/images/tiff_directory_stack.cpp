#include "description.h"
#include "tiff_directory.h"
#include "tiff_page.h"

#include <algorithm>

namespace kx::images {

namespace {

constexpr std::uint64_t max_pages = std::uint64_t{1} << 24;

// Where the page's samples begin, if all of them stand in one piece, as they are.
std::optional<std::uint64_t> plain_start(TIFF* tiff, std::uint64_t page_bytes)
{
    std::uint16_t compression = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
    if (compression != COMPRESSION_NONE || TIFFIsTiled(tiff) != 0) {
        return std::nullopt;
    }
    const std::uint64_t start = TIFFGetStrileOffset(tiff, 0);
    std::uint64_t end = start;
    for (std::uint32_t strip = 0; strip < TIFFNumberOfStrips(tiff) && end < start + page_bytes; ++strip) {
        if (TIFFGetStrileOffset(tiff, strip) != end) {
            return std::nullopt;
        }
        end += TIFFGetStrileByteCount(tiff, strip);
    }
    return end >= start + page_bytes ? std::optional(start) : std::nullopt;
}

} // namespace

std::vector<tiff_page> pages_of_directory(tiff_file& file, const tiff_page& first, bool one_directory)
{
    TIFF* const tiff = file.get();
    std::uint32_t depth = 1;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_IMAGEDEPTH, &depth);
    const char* text = nullptr;
    TIFFGetField(tiff, TIFFTAG_IMAGEDESCRIPTION, &text);
    const image_16& image = first.image;
    const std::uint64_t page_samples = image.pixel_count() * first.samples;
    const described_stack said = text != nullptr ? describe_stack(text, page_samples) : described_stack{};
    const bool by_text = said.without_directories || one_directory;
    const std::uint64_t count = depth > 1 ? depth : by_text ? said.pages : 1;
    if (count <= 1) {
        return {first};
    }

    const std::uint64_t page_bytes = page_samples * (first.bits / 8);
    const auto start = plain_start(tiff, page_bytes);
    const std::uint64_t room =
        start ? std::min(file.stream().size(), tiff_directory(file).next_structure(*start)) - *start : 0;
    if (count > max_pages || count > room / page_bytes) {
        const std::string claim = "is said to hold " + std::to_string(count) + " pages";
        if (depth > 1 || said.without_directories) {
            file.fail(claim + ", but only the first can be read");
        }
        std::vector<tiff_page> single{first};
        single.front().oddities.push_back(claim + " by its description, and holds one");
        return single;
    }
    // With ImageDepth a plane holds all pages; otherwise a page holds all planes.
    const std::uint64_t planes = image.layout == arrangement::planar_bgr ? first.samples : 1;
    const std::uint64_t plane_bytes = page_bytes / planes;
    std::vector<tiff_page> pages(count, first);
    for (std::uint32_t number = 0; number < count; ++number) {
        pages[number].number = first.number + number;
        pages[number].repeats_directory = number > 0;
        pages[number].shared = depth > 1 ? shared_place{*start + number * plane_bytes, count * plane_bytes}
                                         : shared_place{*start + number * page_bytes, plane_bytes};
    }
    return pages;
}

} // namespace kx::images
