#include "channel_pages.h"
#include "description.h"
#include "image_formats.h"
#include "tiff_page.h"
#include "tiff_tags.h"

#include <algorithm>
#include <iterator>
#include <mutex>

namespace kx::images {

namespace {

// What an output may be compressed by to be like the input.
compression lossless_compression(std::uint16_t code)
{
    switch (code) {
    case COMPRESSION_LZW:
        return compression::lzw;
    case COMPRESSION_ADOBE_DEFLATE:
    case COMPRESSION_DEFLATE:
        return compression::deflate;
    case COMPRESSION_ZSTD:
        return compression::zstd;
    case COMPRESSION_PACKBITS:
        return compression::packbits;
    case COMPRESSION_LZMA:
        return compression::lzma;
    default:
        return compression::none;
    }
}

class tiff_reader final : public image_reader {
public:
    tiff_reader(const std::filesystem::path& file, ledger& losses);

    [[nodiscard]] std::uint32_t page_count() const override { return static_cast<std::uint32_t>(pages_.size()); }
    [[nodiscard]] std::uint64_t pixel_count(std::uint32_t page) const override
    {
        return pages_.at(page).image.pixel_count();
    }
    void read_page(std::uint32_t number, image_16& page) override;
    [[nodiscard]] bool is_grey() const { return pages_.front().is_grey(); }
    [[nodiscard]] const metadata& notes() const override { return notes_; }
    [[nodiscard]] compression stored_compression() const override { return compression_; }
    [[nodiscard]] bool needs_big_tiff() const override { return needs_big_tiff_; }

private:
    [[nodiscard]] std::unique_ptr<tiff_file> open() const;
    void add_pages(tiff_file& handle, bool one_directory); // of its current directory

    std::filesystem::path name_;
    ledger& losses_;
    std::shared_ptr<const files::readable_file> file_;
    std::vector<tiff_page> pages_;
    metadata notes_;
    compression compression_ = compression::none;
    bool needs_big_tiff_ = false;
    std::mutex guard_;
    std::vector<std::unique_ptr<tiff_file>> idle_; // a handle serves one thread at a time
};

// Goes through all pages first, so that a stack with a page of another kind is refused before any work.
tiff_reader::tiff_reader(const std::filesystem::path& file, ledger& losses)
    : name_(file), losses_(losses), file_(std::make_shared<files::readable_file>(file))
{
    std::unique_ptr<tiff_file> handle = open();
    TIFF* const tiff = handle->get();
    const bool one_directory = TIFFLastDirectory(tiff) != 0;
    std::optional<std::string> other;
    for (std::uint32_t directory = 1;; ++directory) {
        other = other_than_page(tiff);
        std::uint16_t count = 0;
        toff_t* parts = nullptr;
        if (other && one_directory && TIFFGetField(tiff, TIFFTAG_SUBIFD, &count, &parts) == 0) {
            losses.enter(loss::oddity, "the only page is marked as " + *other);
            add_pages(*handle, one_directory);
        } else if (other) {
            losses.enter(loss::dropped, *other, directory);
        } else {
            add_pages(*handle, one_directory);
        }
        if (TIFFLastDirectory(tiff) != 0) {
            break;
        }
        if (TIFFReadDirectory(tiff) == 0) {
            handle->fail("page " + std::to_string(directory + 1) + " cannot be found");
        }
    }
    if (pages_.empty()) {
        handle->fail("holds no page, but only " + *other + ": the page itself is in a directory of its own (SubIFD)");
    }
    idle_.push_back(std::move(handle));
}

void tiff_reader::add_pages(tiff_file& handle, bool one_directory)
{
    const tiff_page first = describe_page(handle, page_count() + 1, pages_.empty() ? nullptr : &pages_.front());
    if (pages_.empty()) {
        std::uint16_t code = 0;
        TIFFGetFieldDefaulted(handle.get(), TIFFTAG_COMPRESSION, &code);
        compression_ = lossless_compression(code);
        ledger later; // what is lost of a page is entered when it is read
        metadata about = read_metadata(handle, 1, later);
        notes_ = take_file_notes(about);
    }
    needs_big_tiff_ = needs_big_tiff_ || images::needs_big_tiff(handle);
    std::ranges::move(pages_of_directory(handle, first, one_directory), std::back_inserter(pages_));
}

std::unique_ptr<tiff_file> tiff_reader::open() const
{
    return std::make_unique<tiff_file>(std::make_unique<input_stream>(file_), "r", name_);
}

void tiff_reader::read_page(std::uint32_t number, image_16& page)
{
    const tiff_page& wanted = pages_.at(number);
    std::unique_ptr<tiff_file> handle;
    if (const std::lock_guard lock(guard_); !idle_.empty()) {
        handle = std::move(idle_.back());
        idle_.pop_back();
    }
    if (handle == nullptr) {
        handle = open();
    }
    if (TIFFCurrentDirOffset(handle->get()) != wanted.directory
        && TIFFSetSubDirectory(handle->get(), wanted.directory) == 0) {
        handle->fail(wanted.name() + " cannot be read");
    }
    handle->take_messages();
    handle->take_warnings();
    read_samples(*handle, wanted, page);
    page.about = read_metadata(*handle, wanted.number, losses_);
    for (const std::string& oddity : wanted.oddities) {
        losses_.enter(loss::oddity, oddity, wanted.number);
    }
    // A library that guesses at damaged samples only warns of it. The old form of LZW is as good as the new one.
    for (const std::string& warning : handle->take_warnings()) {
        if (!warning.starts_with("Old-style LZW")) {
            handle->fail(wanted.name() + " cannot be read: the file is damaged (" + warning + ")");
        }
        losses_.enter(loss::oddity, warning, wanted.number);
    }
    if (number == 0) {
        take_file_notes(page.about);
    } else if (wanted.repeats_directory) { // whose notes and description are the first page's
        take_file_notes(page.about);
        std::erase_if(page.about.texts, [](const auto& text) { return text.first == description_keyword; });
    }
    const std::lock_guard lock(guard_);
    idle_.push_back(std::move(handle));
}

} // namespace

std::unique_ptr<image_reader> open_tiff(const std::filesystem::path& file, ledger& losses, bool channel_pages)
{
    auto reader = std::make_unique<tiff_reader>(file, losses);
    if (reader->is_grey()) {
        return combine_channel_pages(file, std::move(reader), channel_pages, losses);
    }
    return reader;
}

} // namespace kx::images
