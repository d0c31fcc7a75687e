#include "image_formats.h"
#include "sample_rows.h"
#include "tiff_page.h"

#include <algorithm>
#include <array>

namespace kx::images {

namespace {

constexpr std::uint64_t max_tile_bytes = std::uint64_t{1} << 30;

// What is read at once.
constexpr std::uint64_t max_read_bytes = std::uint64_t{1} << 24;

// Whether the samples stand in the file as they are, in strips, and all of them are there.
bool is_plain(TIFF* tiff)
{
    std::uint16_t compression = 0;
    std::uint16_t fill_order = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
    TIFFGetFieldDefaulted(tiff, TIFFTAG_FILLORDER, &fill_order);
    return compression == COMPRESSION_NONE && fill_order == FILLORDER_MSB2LSB && TIFFIsTiled(tiff) == 0;
}

// The samples of one plane, or of all if they stand side by side.
class plane_reader {
public:
    plane_reader(tiff_file& file, const tiff_page& page, sample_rows& rows, std::uint16_t plane)
        : file_(file), page_(page), rows_(rows), plane_(plane)
    {
    }

    void read()
    {
        if (page_.shared) {
            read_shared();
        } else if (TIFFIsTiled(file_.get()) != 0) {
            read_tiles();
        } else if (is_plain(file_.get())) {
            read_plain();
        } else {
            read_rows();
        }
    }

private:
    void read_shared();
    void read_plain();
    void read_piece(std::uint64_t place, std::uint32_t first_row, std::uint32_t rows);
    void read_rows();
    void read_tiles();

    [[noreturn]] void fail(const std::string& what, std::uint64_t number) const
    {
        file_.fail(page_.name() + ", " + what + " " + std::to_string(number)
                   + " cannot be read: the file is damaged or cut short");
    }

    tiff_file& file_;
    const tiff_page& page_;
    sample_rows& rows_;
    std::uint16_t plane_;
};

// Rows that stand side by side in the file.
void plane_reader::read_piece(std::uint64_t place, std::uint32_t first_row, std::uint32_t rows)
{
    std::byte* const samples = rows_.next(rows);
    const std::size_t bytes = rows * rows_.row_bytes();
    if (file_.stream().read(place, samples, bytes) != bytes) {
        fail("row", first_row);
    }
    if (page_.bits == 16 && TIFFIsByteSwapped(file_.get()) != 0) {
        TIFFSwabArrayOfShort(reinterpret_cast<std::uint16_t*>(samples),
                             static_cast<tmsize_t>(bytes / sizeof(std::uint16_t)));
    }
    rows_.take(rows);
}

void plane_reader::read_shared()
{
    const std::size_t row_bytes = rows_.row_bytes();
    const std::uint64_t rows_at_once = std::max<std::uint64_t>(1, max_read_bytes / row_bytes);
    const std::uint64_t start = page_.shared->start + plane_ * page_.shared->plane_step;
    for (std::uint32_t row = 0; row < page_.image.height;) {
        const auto rows = static_cast<std::uint32_t>(std::min<std::uint64_t>(rows_at_once, page_.image.height - row));
        read_piece(start + row * row_bytes, row, rows);
        row += rows;
    }
}

// Strips that follow each other are read as one.
void plane_reader::read_plain()
{
    TIFF* const tiff = file_.get();
    const std::uint32_t height = page_.image.height;
    const std::size_t row_bytes = rows_.row_bytes();
    std::uint32_t strip_rows = 0;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_ROWSPERSTRIP, &strip_rows);
    for (std::uint32_t row = 0; row < height;) {
        std::uint64_t start = 0;
        std::uint64_t bytes = 0;
        const std::uint32_t first = row;
        do {
            const std::uint32_t strip = TIFFComputeStrip(tiff, row, plane_);
            const std::uint64_t offset = TIFFGetStrileOffset(tiff, strip);
            // A strip may also be longer than a read.
            const std::uint64_t within = std::uint64_t{row % strip_rows} * row_bytes;
            const std::uint64_t rows_at_once = std::max<std::uint64_t>(1, max_read_bytes / row_bytes);
            const auto rows = static_cast<std::uint32_t>(
                std::min<std::uint64_t>({strip_rows - row % strip_rows, height - row, rows_at_once}));
            if (TIFFGetStrileByteCount(tiff, strip) < within + rows * row_bytes) {
                fail("row", row);
            }
            if (bytes > 0 && (start + bytes != offset + within || bytes + rows * row_bytes > max_read_bytes)) {
                break;
            }
            start = bytes > 0 ? start : offset + within;
            bytes += rows * row_bytes;
            row += rows;
        } while (row < height);
        read_piece(start, first, row - first);
    }
}

void plane_reader::read_rows()
{
    TIFF* const tiff = file_.get();
    if (TIFFScanlineSize64(tiff) != rows_.row_bytes()) {
        file_.fail(page_.name() + " has rows of an unexpected size");
    }
    for (std::uint32_t row = 0; row < page_.image.height; ++row) {
        if (TIFFReadScanline(tiff, rows_.next(1), row, plane_) != 1) {
            fail("row", row);
        }
        rows_.take(1);
    }
}

void plane_reader::read_tiles()
{
    TIFF* const tiff = file_.get();
    const auto [width, height] = std::array{page_.image.width, page_.image.height};
    std::uint32_t tile_width = 0;
    std::uint32_t tile_height = 0;
    TIFFGetField(tiff, TIFFTAG_TILEWIDTH, &tile_width);
    TIFFGetField(tiff, TIFFTAG_TILELENGTH, &tile_height);
    const std::size_t pixel_bytes = rows_.row_bytes() / width;
    const std::uint64_t tile_row_bytes = std::uint64_t{tile_width} * pixel_bytes;
    const std::uint64_t tile_bytes = TIFFTileSize64(tiff);
    // The comparison with the limit comes first: below it the product cannot overflow.
    if (tile_bytes == 0 || tile_bytes > max_tile_bytes || tile_height > max_tile_bytes
        || tile_row_bytes > max_tile_bytes || tile_bytes != tile_row_bytes * tile_height) {
        file_.fail(page_.name() + " has tiles of an impossible size");
    }
    std::vector<std::byte> tile(tile_bytes);
    for (std::uint64_t y = 0; y < height; y += tile_height) {
        const std::size_t rows = std::min<std::size_t>(tile_height, height - y);
        std::byte* const target = rows_.next(rows);
        for (std::uint64_t x = 0; x < width; x += tile_width) {
            const std::uint32_t index =
                TIFFComputeTile(tiff, static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y), 0, plane_);
            if (TIFFReadEncodedTile(tiff, index, tile.data(), static_cast<tmsize_t>(tile_bytes)) < 0) {
                fail("tile", index);
            }
            const std::size_t used = std::min<std::size_t>(tile_width, width - x) * pixel_bytes;
            for (std::size_t row = 0; row < rows; ++row) {
                std::copy_n(&tile[row * tile_row_bytes], used, target + row * rows_.row_bytes() + x * pixel_bytes);
            }
        }
        rows_.take(rows);
    }
}

} // namespace

void read_samples(tiff_file& file, const tiff_page& page, image_16& image)
{
    copy_shape(page.image, image);
    reserve_samples(file.name(), image);
    const bool planar = image.layout == arrangement::planar_bgr;
    sample_rows rows(image, page.bits, planar ? 1 : page.samples);
    const auto read = [&](std::uint16_t plane) { plane_reader(file, page, rows, plane).read(); };
    if (!planar) {
        read(0);
    } else {
        for (const std::uint16_t plane : std::array<std::uint16_t, 3>{2, 1, 0}) {
            read(plane); // the file has red first, memory has blue first
        }
        if (page.samples == 4) {
            rows.begin_fourth_plane();
            read(3);
        }
    }
    const fourth_samples& fourth = rows.finish();
    if (page.samples == 4) {
        check_fourth_sample(file.name(), page.name(), fourth, page.is_alpha);
    }
}

} // namespace kx::images
