#include "image_formats.h"
#include "tiff_file.h"
#include "tiff_tags.h"

#include <algorithm>
#include <future>
#include <iterator>

namespace kx::images {

namespace {

// Offsets in a plain TIFF have 32 bits; this leaves room for what is not samples.
constexpr std::uint64_t big_tiff_from = 0xF0000000;

// Large enough that calls to the system do not count, small enough to share a page among threads.
constexpr std::size_t strip_bytes = std::size_t{1} << 20;

constexpr int default_zstd_level = 3; // zstd's own; libtiff's takes twice the time

std::uint16_t tag_of(compression chosen)
{
    switch (chosen) {
    case compression::lzw:
        return COMPRESSION_LZW;
    case compression::deflate:
        return COMPRESSION_ADOBE_DEFLATE;
    case compression::zstd:
        return COMPRESSION_ZSTD;
    case compression::packbits:
        return COMPRESSION_PACKBITS;
    case compression::lzma:
        return COMPRESSION_LZMA;
    default:
        return COMPRESSION_NONE;
    }
}

// What the samples may take: noise grows when it is compressed, by LZW to one and a half.
std::uint64_t most_bytes(const write_options& options)
{
    return options.expected_bytes + options.expected_bytes / (options.tiff_compression == compression::lzw ? 2 : 64);
}

// How a page is divided into strips: as many for each plane, all planes' strips numbered in turn.
class strips {
public:
    explicit strips(const samples_view& page)
        : page_(page), planes_(page.layout == arrangement::planar_bgr ? page.channels : 1),
          row_bytes_(page.sample_bytes * page.width * page.channels / planes_),
          rows_(static_cast<std::uint32_t>(std::clamp<std::size_t>(strip_bytes / row_bytes_, 1, page.height))),
          per_plane_((page.height + rows_ - 1) / rows_)
    {
    }

    [[nodiscard]] std::uint32_t rows_per_strip() const { return rows_; }
    [[nodiscard]] std::uint32_t count() const { return per_plane_ * planes_; }

    [[nodiscard]] std::size_t size(std::uint32_t strip) const
    {
        return row_bytes_ * std::min(rows_, page_.height - strip % per_plane_ * rows_);
    }

    // Memory has blue, green, red and the fourth plane; the file has red, green, blue and the fourth.
    [[nodiscard]] const std::byte* samples(std::uint32_t strip) const
    {
        const std::uint32_t plane = strip / per_plane_;
        const std::size_t place = planes_ > 1 && plane < 3 ? 2 - plane : plane;
        return page_.bytes + row_bytes_ * (place * page_.height + std::size_t{strip % per_plane_} * rows_);
    }

private:
    const samples_view& page_;
    std::uint32_t planes_;
    std::size_t row_bytes_;
    std::uint32_t rows_;
    std::uint32_t per_plane_;
};

// Sets what the samples and their compression need.
void set_layout(tiff_file& file, const samples_view& page, const write_options& options)
{
    file.set(TIFFTAG_IMAGEWIDTH, page.width);
    file.set(TIFFTAG_IMAGELENGTH, page.height);
    file.set(TIFFTAG_BITSPERSAMPLE, static_cast<int>(8 * page.sample_bytes));
    file.set(TIFFTAG_SAMPLESPERPIXEL, page.channels);
    file.set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
    file.set(TIFFTAG_PLANARCONFIG,
             page.layout == arrangement::planar_bgr ? PLANARCONFIG_SEPARATE : PLANARCONFIG_CONTIG);
    file.set(TIFFTAG_COMPRESSION, static_cast<int>(tag_of(options.tiff_compression)));
    if (options.tiff_compression != compression::none && options.tiff_compression != compression::packbits) {
        file.set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    }
    if (options.tiff_compression == compression::zstd) {
        file.set(TIFFTAG_ZSTD_LEVEL, options.level.value_or(default_zstd_level));
    } else if (options.tiff_compression == compression::deflate && options.level) {
        file.set(TIFFTAG_ZIPQUALITY, *options.level);
    }
    if (page.channels == 4) {
        // Neither alpha nor anything else that a viewer should interpret.
        const std::uint16_t meaning = EXTRASAMPLE_UNSPECIFIED;
        file.set(TIFFTAG_EXTRASAMPLES, 1, &meaning);
    }
    file.set(TIFFTAG_ROWSPERSTRIP, strips(page).rows_per_strip());
}

struct encoded_strip {
    const std::byte* bytes;
    std::size_t size;
};

// What libtiff writes, for those to take who want the strips alone.
class strip_stream final : public byte_stream {
public:
    std::size_t read(std::uint64_t, void*, std::size_t) override { return 0; } // libtiff writes only
    std::uint64_t size() override { return taken_ + bytes_.size(); }

    void write(std::uint64_t place, const void* bytes, std::size_t count) override
    {
        if (place < taken_) {
            return; // into the header
        }
        bytes_.resize(std::max(bytes_.size(), place - taken_ + count));
        std::copy_n(static_cast<const std::byte*>(bytes), count, &bytes_[place - taken_]);
    }

    // What was written since the last call.
    std::vector<std::byte> take()
    {
        std::vector<std::byte> taken = bytes_;
        taken_ += bytes_.size();
        bytes_.clear();
        return taken;
    }

private:
    std::vector<std::byte> bytes_;
    std::uint64_t taken_ = 0;
};

// Some of a page's strips, compressed by libtiff.
std::vector<std::vector<std::byte>> compress_strips(const std::filesystem::path& name, const samples_view& page,
                                                    const write_options& options, std::uint32_t first,
                                                    std::uint32_t end)
{
    auto stream = std::make_unique<strip_stream>();
    strip_stream& written = *stream;
    tiff_file file(std::move(stream), "w8", name); // of any size
    written.take();
    set_layout(file, page, options);
    const strips all(page);
    std::vector<std::vector<std::byte>> compressed;
    for (std::uint32_t strip = first; strip < end; ++strip) {
        // libtiff's predictor works on a copy.
        void* const samples = const_cast<std::byte*>(all.samples(strip));
        if (TIFFWriteEncodedStrip(file.get(), strip, samples, static_cast<tmsize_t>(all.size(strip))) < 0) {
            file.fail("cannot be compressed");
        }
        compressed.push_back(written.take());
    }
    return compressed;
}

struct encoded_tiff_page final : encoded_page {
    explicit encoded_tiff_page(const samples_view& samples) : page(samples) {}

    samples_view page;
    std::vector<encoded_strip> parts;
    std::vector<std::vector<std::byte>> compressed; // what holds the parts, unless the page itself does
};

class tiff_writer final : public image_writer {
public:
    tiff_writer(const std::filesystem::path& file, const write_options& options, ledger& losses)
        : options_(options), losses_(losses), output_(file, {.replace = options.overwrite, .sync = options.sync}),
          file_(std::make_unique<output_stream>(output_),
                options.big_tiff || most_bytes(options) >= big_tiff_from ? "w8" : "w", file)
    {
    }

    std::unique_ptr<encoded_page> encode(const samples_view& page, unsigned threads) override;
    void append(encoded_page& page) override;

    void commit() override
    {
        file_.close("cannot be written");
        output_.commit();
    }

private:
    write_options options_;
    ledger& losses_;
    files::output_file output_;
    tiff_file file_;
    std::uint32_t pages_written_ = 0;
};

std::unique_ptr<encoded_page> tiff_writer::encode(const samples_view& page, unsigned threads)
{
    auto encoded = std::make_unique<encoded_tiff_page>(page);
    const strips all(page);
    if (options_.tiff_compression == compression::none) {
        for (std::uint32_t strip = 0; strip < all.count(); ++strip) {
            encoded->parts.push_back({all.samples(strip), all.size(strip)});
        }
        return encoded;
    }
    // What a strip becomes does not depend on the strips before it, nor the file on the number of threads.
    const std::uint32_t shares = std::clamp(threads, 1U, all.count());
    std::vector<std::future<std::vector<std::vector<std::byte>>>> running;
    for (std::uint32_t share = 0; share < shares; ++share) {
        const auto begin_of = [&](std::uint64_t number) {
            return static_cast<std::uint32_t>(all.count() * number / shares);
        };
        const auto policy = share + 1 < shares ? std::launch::async : std::launch::deferred; // the last runs here
        running.push_back(std::async(policy, [this, &page, first = begin_of(share), end = begin_of(share + 1)] {
            return compress_strips(output_.name(), page, options_, first, end);
        }));
    }
    running.back().wait();
    for (auto& share : running) {
        std::ranges::move(share.get(), std::back_inserter(encoded->compressed));
    }
    for (const std::vector<std::byte>& strip : encoded->compressed) {
        encoded->parts.push_back({strip.data(), strip.size()});
    }
    return encoded;
}

void tiff_writer::append(encoded_page& encoded)
{
    const auto& [page, parts, compressed] = dynamic_cast<const encoded_tiff_page&>(encoded);
    set_layout(file_, page, options_);
    file_.set(TIFFTAG_ORIENTATION, static_cast<int>(page.orientation));
    const std::vector<tiff_tag> exact = write_metadata(file_, *page.about, losses_);
    if (options_.page_count > 1) {
        file_.set(TIFFTAG_SUBFILETYPE, FILETYPE_PAGE);
        if (options_.page_count <= 0xFFFF) {
            file_.set(TIFFTAG_PAGENUMBER, static_cast<int>(pages_written_), static_cast<int>(options_.page_count));
        }
    }
    for (std::uint32_t strip = 0; strip < parts.size(); ++strip) {
        void* const bytes = const_cast<std::byte*>(parts[strip].bytes);
        const auto size = static_cast<tmsize_t>(parts[strip].size);
        if (TIFFWriteRawStrip(file_.get(), strip, bytes, size) != size) {
            file_.fail("cannot be written");
        }
    }
    // A directory is written at the end, on an even place.
    const std::uint64_t directory = (output_.size() + 1) / 2 * 2;
    if (TIFFWriteDirectory(file_.get()) != 1) {
        file_.fail("cannot be written");
    }
    if (!exact.empty()) {
        const tiff_directory written(file_, directory);
        std::ranges::for_each(exact, [&](const tiff_tag& tag) { written.replace(tag); });
    }
    ++pages_written_;
}

} // namespace

std::unique_ptr<image_writer> create_tiff(const std::filesystem::path& file, const write_options& options,
                                          ledger& losses)
{
    if (TIFFIsCODECConfigured(tag_of(options.tiff_compression)) == 0) {
        throw image_error(file, "cannot be compressed so: this libtiff was built without");
    }
    return std::make_unique<tiff_writer>(file, options, losses);
}

} // namespace kx::images
