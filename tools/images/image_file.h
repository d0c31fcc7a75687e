// Image files as the color processing library wants them: 16-bit RGB in, 16- or 8-bit samples out.
//
// Reads TIFF (any libtiff compression, strips or tiles, contiguous or separate planes, several pages) and
// PNG; writes TIFF and PNG. Samples in memory are the samples in the file, and a fourth sample that says nothing is
// left out.
#pragma once

#include "files/file_error.h"
#include "ledger.h"
#include "metadata.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kx::images {

// What went wrong with an image file.
class image_error : public files::file_error {
public:
    using file_error::file_error;
};

// How the samples of an image lie in memory.
enum class arrangement {
    interleaved_rgb, // red, green, blue (, fourth) of a pixel side by side
    planar_bgr,      // planes of width x height samples: blue, green, red (, fourth)
};

// One page. `samples` holds channels x width x height samples, rows from top to bottom.
template <typename Sample>
struct image {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned channels = 3; // 3, or 4 in images to be written
    arrangement layout = arrangement::interleaved_rgb;
    std::uint16_t orientation = 1; // as in TIFF: 1 is the first row on top, the first column left
    bool was_8_bit = false;        // in the file that was read: samples from 0 to 255
    std::vector<Sample> samples;
    metadata about;

    [[nodiscard]] std::size_t pixel_count() const { return std::size_t{width} * height; }
};

using image_16 = image<std::uint16_t>;
using image_8 = image<std::uint8_t>;

// Samples to be written, of whichever size; the image must outlive it.
struct samples_view {
    template <typename Sample>
    samples_view(const image<Sample>& page) // NOLINT(google-explicit-constructor): any image will do
        : width(page.width), height(page.height), channels(page.channels), layout(page.layout),
          orientation(page.orientation), sample_bytes(sizeof(Sample)),
          bytes(reinterpret_cast<const std::byte*>(page.samples.data())), about(&page.about)
    {
    }

    std::uint32_t width;
    std::uint32_t height;
    unsigned channels;
    arrangement layout;
    std::uint16_t orientation;
    std::size_t sample_bytes;
    const std::byte* bytes;
    const metadata* about;
};

// Of TIFF files, lossless.
enum class compression { none, lzw, deflate, zstd, packbits, lzma };

// An image file open for reading. Several threads may read pages at the same time.
class image_reader {
public:
    virtual ~image_reader() = default;

    [[nodiscard]] virtual std::uint32_t page_count() const = 0;

    // Of a page, counted from 0; at most 2^31 - 1.
    [[nodiscard]] virtual std::uint64_t pixel_count(std::uint32_t page) const = 0;

    // Fills `page`, whose memory is reused. Files with separate planes give planar_bgr, all others
    // interleaved_rgb. Throws image_error.
    virtual void read_page(std::uint32_t number, image_16& page) = 0;

    // What belongs to all pages together, and on an output's first page whichever that is: add_file_notes().
    [[nodiscard]] virtual const metadata& notes() const
    {
        static const metadata none;
        return none;
    }

    // How a TIFF is compressed, if that is lossless and can be written.
    [[nodiscard]] virtual compression stored_compression() const { return compression::none; }

    // Whether a tag to be carried on has a number that only a BigTIFF can hold.
    [[nodiscard]] virtual bool needs_big_tiff() const { return false; }

    image_16 read_page(std::uint32_t number = 0)
    {
        image_16 page;
        read_page(number, page);
        return page;
    }
};

// Opens a TIFF or PNG file, told apart by its content. Throws files::file_error if it cannot be read, image_error
// unless all of its pages are RGB images of unsigned 16- or 8-bit samples. A fourth sample must be the same in all
// pixels, or opaque if it is alpha: read_page() throws otherwise. What cannot be carried on of the file, and of each
// page that is read, is entered in `losses`, which must outlive the reader.
//
// A TIFF's grey pages are taken as channels where its description (OME-XML, ImageJ) says that they are red, green and
// blue, or, with `channel_pages`, by threes; the file is refused otherwise.
std::unique_ptr<image_reader> open_image(const std::filesystem::path& file, ledger& losses, bool channel_pages = false);

// For whom the samples are all that counts.
std::unique_ptr<image_reader> open_image(const std::filesystem::path& file);

// A page's arrangement in memory decides whether a TIFF gets contiguous or separate planes.
struct write_options {
    compression tiff_compression = compression::none; // PNG has its own
    std::optional<int> level;                         // of PNG's and TIFF's compression, by default a fast one
    bool big_tiff = false;                            // even if the file is small
    std::uint32_t page_count = 1;                     // PNG takes one
    std::uint64_t expected_bytes = 0;                 // of samples; from 4 GB on a TIFF becomes a BigTIFF
    bool overwrite = true;                            // or else a file of this name is an error
    bool sync = false;                                // wait in commit() until all of it is on the disk
};

enum class file_type { tiff, png };

// The type that a name's suffix stands for: .tif, .tiff or .png in any case. Throws image_error for others.
file_type type_from_suffix(const std::filesystem::path& file);

// A page as it will stand in the file, but for its place there.
class encoded_page {
public:
    virtual ~encoded_page() = default;
};

// An image file being written, without its name until commit(). Its functions throw files::file_error.
class image_writer {
public:
    // Without commit() nothing stays, and a file of the final name is as it was.
    virtual ~image_writer() = default;

    // Compresses a page, with that many threads; several threads may do so at the same time. The page must stay as
    // it is until it is appended. PNG takes three channels, interleaved, with orientation 1: a
    // fourth sample would be its alpha, and the library's 0 would make the picture transparent.
    virtual std::unique_ptr<encoded_page> encode(const samples_view& page, unsigned threads) = 0;

    // Appends the next page to the file.
    virtual void append(encoded_page& page) = 0;

    void write_page(const samples_view& page) { append(*encode(page, 1)); }

    // Completes the file and gives it its final name, in place of what had it before.
    virtual void commit() = 0;
};

// Creates an image file of the type that its suffix names. What the pages' metadata have and a file of this type cannot
// hold is entered in `losses`, which must outlive the writer. Throws files::file_error.
std::unique_ptr<image_writer> create_image(const std::filesystem::path& file, const write_options& options,
                                           ledger& losses);

// For pages without metadata.
std::unique_ptr<image_writer> create_image(const std::filesystem::path& file, const write_options& options = {});

} // namespace kx::images
