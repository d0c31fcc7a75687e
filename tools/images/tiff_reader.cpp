#include "image_formats.h"
#include "tiff_file.h"

#include <algorithm>
#include <array>

namespace kx::images {

namespace {

constexpr std::uint64_t max_tile_bytes = std::uint64_t{1} << 30;

const char* photometric_name(std::uint16_t photometric)
{
    switch (photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
        return "grey";
    case PHOTOMETRIC_RGB:
        return "RGB";
    case PHOTOMETRIC_PALETTE:
        return "palette";
    case PHOTOMETRIC_SEPARATED:
        return "CMYK";
    case PHOTOMETRIC_YCBCR:
        return "YCbCr";
    default:
        return "other than RGB";
    }
}

const char* sample_format_name(std::uint16_t format)
{
    switch (format) {
    case SAMPLEFORMAT_UINT:
        return "unsigned";
    case SAMPLEFORMAT_INT:
        return "signed";
    case SAMPLEFORMAT_IEEEFP:
        return "floating point";
    default:
        return "untyped";
    }
}

class tiff_reader final : public image_reader {
public:
    explicit tiff_reader(const std::filesystem::path& file);

    [[nodiscard]] std::uint32_t page_count() const override { return page_count_; }
    [[nodiscard]] std::uint64_t total_pixels() const override { return total_pixels_; }
    image_16 read_page() override;

private:
    // The current page's size and layout, still without samples.
    image_16 check_page(std::uint32_t number);

    void read_rows(image_16& page, unsigned components, std::uint16_t plane);
    void read_tiles(image_16& page, unsigned components, std::uint16_t plane);

    tiff_file file_;
    std::uint32_t page_count_ = 0;
    std::uint64_t total_pixels_ = 0;
    std::uint32_t next_page_ = 0;
};

// Goes through all pages first, so that a stack with a page of another kind is refused before any work.
tiff_reader::tiff_reader(const std::filesystem::path& file) : file_(file.string(), "rm", file)
{
    do {
        ++page_count_;
        total_pixels_ += check_page(page_count_).pixel_count();
    } while (TIFFReadDirectory(file_.get()) != 0);
    if (file_.has_errors()) {
        file_.fail("page " + std::to_string(page_count_ + 1) + " cannot be found");
    }
    if (TIFFSetDirectory(file_.get(), 0) == 0) {
        file_.fail("page 1 cannot be read");
    }
}

image_16 tiff_reader::check_page(std::uint32_t number)
{
    TIFF* const tiff = file_.get();
    image_16 page;
    std::uint16_t bits = 0;
    std::uint16_t samples = 0;
    std::uint16_t format = 0;
    std::uint16_t planes = 0;
    std::uint16_t photometric = 0;
    if (TIFFGetField(tiff, TIFFTAG_IMAGEWIDTH, &page.width) == 0
        || TIFFGetField(tiff, TIFFTAG_IMAGELENGTH, &page.height) == 0
        || TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) == 0) {
        file_.fail("page " + std::to_string(number) + " is incomplete: its size or its colour type is missing");
    }
    TIFFGetFieldDefaulted(tiff, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLESPERPIXEL, &samples);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_SAMPLEFORMAT, &format);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_PLANARCONFIG, &planes);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ORIENTATION, &page.orientation);

    if (bits != 16 || samples != 3 || format != SAMPLEFORMAT_UINT || photometric != PHOTOMETRIC_RGB) {
        file_.fail("page " + std::to_string(number) + " has " + std::to_string(samples) + " "
                   + sample_format_name(format) + " " + std::to_string(bits) + "-bit samples a pixel, colour type "
                   + photometric_name(photometric) + "; " + needed_samples);
    }
    check_dimensions(file_.name(), page.width, page.height);
    page.layout = planes == PLANARCONFIG_SEPARATE ? arrangement::planar_bgr : arrangement::interleaved_rgb;
    return page;
}

image_16 tiff_reader::read_page()
{
    // TIFFReadDirectory goes on from the current page; TIFFSetDirectory would count from the first each time.
    if (next_page_ > 0 && TIFFReadDirectory(file_.get()) == 0) {
        file_.fail("page " + std::to_string(next_page_ + 1) + " cannot be read");
    }
    ++next_page_;
    image_16 page = check_page(next_page_);
    reserve_samples(file_.name(), page);
    const auto read = TIFFIsTiled(file_.get()) != 0 ? &tiff_reader::read_tiles : &tiff_reader::read_rows;
    if (page.layout == arrangement::interleaved_rgb) {
        (this->*read)(page, 3, 0);
    } else {
        for (const std::uint16_t plane :
             std::array<std::uint16_t, 3>{2, 1, 0}) { // the file has red first, memory has blue first
            (this->*read)(page, 1, plane);
        }
    }
    return page;
}

void tiff_reader::read_rows(image_16& page, unsigned components, std::uint16_t plane)
{
    TIFF* const tiff = file_.get();
    const std::size_t row_samples = std::size_t{page.width} * components;
    if (TIFFScanlineSize64(tiff) != row_samples * sizeof(std::uint16_t)) {
        file_.fail("page " + std::to_string(next_page_) + " has rows of an unexpected size");
    }
    for (std::uint32_t row = 0; row < page.height; ++row) {
        const std::size_t start = page.samples.size();
        page.samples.resize(start + row_samples);
        if (TIFFReadScanline(tiff, &page.samples[start], row, plane) != 1) {
            file_.fail("page " + std::to_string(next_page_) + ", row " + std::to_string(row)
                       + " cannot be read: the file is damaged or cut short");
        }
    }
}

void tiff_reader::read_tiles(image_16& page, unsigned components, std::uint16_t plane)
{
    TIFF* const tiff = file_.get();
    std::uint32_t tile_width = 0;
    std::uint32_t tile_height = 0;
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tile_width);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tile_height);
    const std::uint64_t tile_row_samples = std::uint64_t{tile_width} * components;
    const std::uint64_t tile_bytes = TIFFTileSize64(tiff);
    // The comparison with the limit comes first: below it the product cannot overflow.
    if (tile_bytes == 0 || tile_bytes > max_tile_bytes || tile_height > max_tile_bytes
        || tile_row_samples > max_tile_bytes || tile_bytes != tile_row_samples * tile_height * sizeof(std::uint16_t)) {
        file_.fail("page " + std::to_string(next_page_) + " has tiles of an impossible size");
    }
    std::vector<std::uint16_t> tile(tile_bytes / sizeof(std::uint16_t));
    const std::size_t row_samples = std::size_t{page.width} * components;

    for (std::uint64_t y = 0; y < page.height; y += tile_height) {
        const std::size_t start = page.samples.size();
        const std::size_t rows = std::min<std::size_t>(tile_height, page.height - y);
        page.samples.resize(start + rows * row_samples);
        for (std::uint64_t x = 0; x < page.width; x += tile_width) {
            const std::uint32_t index =
                TIFFComputeTile(tiff, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), 0, plane);
            if (TIFFReadEncodedTile(tiff, index, tile.data(), static_cast<tmsize_t>(tile_bytes)) < 0) {
                file_.fail("page " + std::to_string(next_page_) + ", tile " + std::to_string(index)
                           + " cannot be read: the file is damaged or cut short");
            }
            const std::size_t used = std::min<std::size_t>(tile_width, page.width - x) * components;
            for (std::size_t row = 0; row < rows; ++row) {
                std::copy_n(&tile[row * tile_row_samples], used,
                            &page.samples[start + row * row_samples + x * components]);
            }
        }
    }
}

} // namespace

std::unique_ptr<image_reader> open_tiff(const std::filesystem::path& file)
{
    return std::make_unique<tiff_reader>(file);
}

} // namespace kx::images
