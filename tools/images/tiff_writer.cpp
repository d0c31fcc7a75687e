#include "image_formats.h"
#include "pending_file.h"
#include "tiff_file.h"

#include <algorithm>

namespace kx::images {

namespace {

// Offsets in a plain TIFF have 32 bits; this leaves room for what is not samples.
constexpr std::uint64_t big_tiff_from = 0xF0000000;

std::uint16_t tag_of(compression chosen)
{
    switch (chosen) {
    case compression::lzw:
        return COMPRESSION_LZW;
    case compression::deflate:
        return COMPRESSION_ADOBE_DEFLATE;
    default:
        return COMPRESSION_NONE;
    }
}

class tiff_writer final : public image_writer {
public:
    tiff_writer(const std::filesystem::path& file, const write_options& options)
        : options_(options), pending_(file),
          file_(pending_.temporary_name(), options.expected_bytes >= big_tiff_from ? "w8" : "w", file)
    {
    }

    void write_page(const image_16& page) override { write(page); }
    void write_page(const image_8& page) override { write(page); }

    void commit() override
    {
        file_.close("cannot be written");
        pending_.commit();
    }

private:
    template <typename Sample>
    void write(const image<Sample>& page);
    template <typename Sample>
    void write_rows(const Sample* samples, std::size_t row_samples, std::uint32_t rows, std::uint16_t plane);
    template <typename... Value>
    void set(std::uint32_t tag, Value... value);

    write_options options_;
    pending_file pending_;
    tiff_file file_;
    std::uint32_t pages_written_ = 0;
};

template <typename... Value>
void tiff_writer::set(std::uint32_t tag, Value... value)
{
    if (TIFFSetField(file_.get(), tag, value...) != 1) {
        file_.fail("cannot be written");
    }
}

template <typename Sample>
void tiff_writer::write(const image<Sample>& page)
{
    const bool planar = page.layout == arrangement::planar_bgr;
    set(TIFFTAG_IMAGEWIDTH, page.width);
    set(TIFFTAG_IMAGELENGTH, page.height);
    set(TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * sizeof(Sample)));
    set(TIFFTAG_SAMPLESPERPIXEL, page.channels);
    set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    set(TIFFTAG_PLANARCONFIG, planar ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    set(TIFFTAG_ORIENTATION, static_cast<int>(page.orientation));
    set(TIFFTAG_COMPRESSION, static_cast<int>(tag_of(options_.tiff_compression)));
    if (options_.tiff_compression != compression::none) {
        set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    if (page.channels == 4) {
        // Neither alpha nor anything else that a viewer should interpret.
        const std::uint16_t meaning = EXTRASAMPLE_UNSPECIFIED;
        set(TIFFTAG_EXTRASAMPLES, 1, &meaning);
    }
    if (options_.page_count > 1) {
        set(TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        if (options_.page_count <= 0xFFFF) {
            set(TIFFTAG_PAGENUMBER, static_cast<int>(pages_written_), static_cast<int>(options_.page_count));
        }
    }
    set(TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(file_.get(), 0));

    if (planar) {
        // Memory has blue, green, red and the fourth; the file has red, green, blue and the fourth.
        for (std::uint16_t plane = 0; plane < page.channels; ++plane) {
            const std::size_t place = plane < 3 ? 2U - plane : plane;
            write_rows(page.samples.data() + place * page.pixel_count(), page.width, page.height, plane);
        }
    } else {
        write_rows(page.samples.data(), std::size_t{page.width} * page.channels, page.height, 0);
    }
    if (TIFFWriteDirectory(file_.get()) != 1) {
        file_.fail("cannot be written");
    }
    ++pages_written_;
}

// Rows go through a copy: libtiff's predictor changes what it is given.
template <typename Sample>
void tiff_writer::write_rows(const Sample* samples, std::size_t row_samples, std::uint32_t rows, std::uint16_t plane)
{
    std::vector<Sample> copy(row_samples);
    for (std::uint32_t row = 0; row < rows; ++row) {
        std::copy_n(samples + row * row_samples, row_samples, copy.begin());
        if (TIFFWriteScanline(file_.get(), copy.data(), row, plane) != 1) {
            file_.fail("cannot be written");
        }
    }
}

} // namespace

std::unique_ptr<image_writer> create_tiff(const std::filesystem::path& file, const write_options& options)
{
    return std::make_unique<tiff_writer>(file, options);
}

} // namespace kx::images
