#include "image_formats.h"
#include "tiff_page.h"
#include "tiff_tags.h"

#include <mutex>

namespace kx::images {

namespace {

class tiff_reader final : public image_reader {
public:
    explicit tiff_reader(const std::filesystem::path& file);

    [[nodiscard]] std::uint32_t page_count() const override { return static_cast<std::uint32_t>(pages_.size()); }
    [[nodiscard]] std::uint64_t pixel_count(std::uint32_t page) const override
    {
        return pages_.at(page).image.pixel_count();
    }
    void read_page(std::uint32_t number, image_16& page) override;

private:
    [[nodiscard]] std::unique_ptr<tiff_file> open() const;

    std::filesystem::path name_;
    std::shared_ptr<const files::input_file> file_;
    std::vector<tiff_page> pages_;
    std::mutex guard_;
    std::vector<std::unique_ptr<tiff_file>> idle_; // a handle serves one thread at a time
};

// Goes through all pages first, so that a stack with a page of another kind is refused before any work.
tiff_reader::tiff_reader(const std::filesystem::path& file)
    : name_(file), file_(std::make_shared<files::input_file>(file))
{
    std::unique_ptr<tiff_file> handle = open();
    for (;;) {
        pages_.push_back(describe_page(*handle, page_count() + 1));
        if (TIFFLastDirectory(handle->get()) != 0) {
            break;
        }
        if (TIFFReadDirectory(handle->get()) == 0) {
            handle->fail("page " + std::to_string(page_count() + 1) + " cannot be found");
        }
    }
    if (page_count() == 1) {
        pages_ = pages_of_directory(*handle, pages_.front());
    }
    idle_.push_back(std::move(handle));
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
    read_samples(*handle, wanted, page);
    page.about = read_metadata(*handle);
    if (wanted.skip > 0) { // the description is the first page's
        std::erase_if(page.about.texts, [](const auto& text) { return text.first == description_keyword; });
    }
    if (!wanted.oddities.empty()) {
        page.about.warnings.push_back(wanted.name() + ": " + wanted.oddities);
    }
    const std::lock_guard lock(guard_);
    idle_.push_back(std::move(handle));
}

} // namespace

std::unique_ptr<image_reader> open_tiff(const std::filesystem::path& file)
{
    return std::make_unique<tiff_reader>(file);
}

} // namespace kx::images
