#include "image_formats.h"
#include "png_handle.h"
#include "png_metadata.h"

#include <utility>

namespace kx::images {

namespace {

// Compression takes nearly all the time of writing a PNG. Level 1 with one good filter is about ten times as fast
// as libpng's own choice, for files some 15 % larger.
constexpr int default_level = 1;
constexpr int lowest_thorough_level = 4; // from here on every row's filter is chosen anew

// What is compressed before it is written: by default 8 KB.
constexpr std::size_t chunk_bytes = std::size_t{1} << 20;

struct encoded_png final : encoded_page {
    explicit encoded_png(const samples_view& samples) : page(samples) {}

    samples_view page;
};

class png_writer final : public image_writer {
public:
    png_writer(const std::filesystem::path& file, const write_options& options, ledger& losses)
        : level_(options.level.value_or(default_level)), losses_(losses),
          output_(file, {.replace = options.overwrite, .sync = options.sync}), handle_(output_, losses)
    {
    }

    // There is one page, and it is compressed as it is written.
    std::unique_ptr<encoded_page> encode(const samples_view& page, unsigned) override
    {
        return std::make_unique<encoded_png>(page);
    }

    void append(encoded_page& page) override { write(dynamic_cast<const encoded_png&>(page).page); }

    void commit() override { output_.commit(); }

private:
    void write(const samples_view& page);

    int level_;
    ledger& losses_;
    files::output_file output_;
    png_handle handle_;
    bool page_written_ = false;
};

void png_writer::write(const samples_view& page)
{
    const char* const refusal = std::exchange(page_written_, true) ? "PNG takes one page only"
                                : page.channels != 3 ? "the fourth sample of a PNG is its alpha: the picture "
                                                       "would be transparent"
                                : page.layout != arrangement::interleaved_rgb ? "PNG has no separate planes"
                                : page.orientation != 1 ? "PNG has no orientation, and the image is not upright"
                                                        : nullptr;
    if (refusal != nullptr) {
        throw image_error(output_.name(), refusal);
    }
    png_metadata about(*page.about, losses_);
    handle_.call("cannot be written", [this, &page, &about] {
        png_struct* const png = handle_.png();
        png_set_compression_level(png, level_);
        png_set_filter(png, PNG_FILTER_TYPE_BASE, level_ < lowest_thorough_level ? PNG_FILTER_AVG : PNG_ALL_FILTERS);
        png_set_compression_buffer_size(png, chunk_bytes);
        png_set_IHDR(png, handle_.info(), page.width, page.height, static_cast<int>(8 * page.sample_bytes),
                     PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_benign_errors(png, 1); // a profile that it does not like is no reason to give up
        about.set(png, handle_.info());
        png_write_info(png, handle_.info());
        if (page.sample_bytes > 1) {
            set_byte_order(png);
        }
        const std::size_t row_bytes = page.sample_bytes * 3 * page.width;
        for (std::size_t row = 0; row < page.height; ++row) {
            png_write_row(png, reinterpret_cast<png_const_bytep>(page.bytes + row * row_bytes));
        }
        png_write_end(png, handle_.info());
    });
}

} // namespace

std::unique_ptr<image_writer> create_png(const std::filesystem::path& file, const write_options& options,
                                         ledger& losses)
{
    if (options.page_count > 1) {
        throw image_error(file, "PNG takes one page only, and there are " + std::to_string(options.page_count)
                                    + ": write a TIFF instead");
    }
    return std::make_unique<png_writer>(file, options, losses);
}

} // namespace kx::images
