#include "image_formats.h"
#include "png_compression.h"
#include "png_handle.h"
#include "png_metadata.h"

#include <utility>

namespace kx::images {

namespace {

constexpr int default_level = 1;

struct encoded_png final : encoded_page {
    encoded_png(const samples_view& samples, std::vector<std::vector<std::byte>> stream)
        : page(samples), compressed(std::move(stream))
    {
    }

    samples_view page;
    std::vector<std::vector<std::byte>> compressed;
};

class png_writer final : public image_writer {
public:
    png_writer(const std::filesystem::path& file, const write_options& options, ledger& losses)
        : level_(options.level.value_or(default_level)), losses_(losses),
          output_(file, {.replace = options.overwrite, .sync = options.sync}), handle_(output_, losses)
    {
    }

    std::unique_ptr<encoded_page> encode(const samples_view& page, unsigned threads) override;
    void append(encoded_page& page) override;

    void commit() override { output_.commit(); }

private:
    int level_;
    ledger& losses_;
    files::output_file output_;
    png_handle handle_;
    bool page_encoded_ = false;
};

std::unique_ptr<encoded_page> png_writer::encode(const samples_view& page, unsigned threads)
{
    const char* const refusal = std::exchange(page_encoded_, true) ? "PNG takes one page only"
                                : page.channels != 3 ? "the fourth sample of a PNG is its alpha: the picture "
                                                       "would be transparent"
                                : page.layout != arrangement::interleaved_rgb ? "PNG has no separate planes"
                                : page.orientation != 1 ? "PNG has no orientation, and the image is not upright"
                                                        : nullptr;
    if (refusal != nullptr) {
        throw image_error(output_.name(), refusal);
    }
    return std::make_unique<encoded_png>(page, compress_rows(page, level_, threads, output_.name()));
}

void png_writer::append(encoded_page& encoded)
{
    const auto& [page, compressed] = dynamic_cast<const encoded_png&>(encoded);
    png_metadata about(*page.about, losses_);
    handle_.call("cannot be written", [this, &page = page, &compressed = compressed, &about] {
        png_struct* const png = handle_.png();
        png_set_IHDR(png, handle_.info(), page.width, page.height, static_cast<int>(8 * page.sample_bytes),
                     PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_set_benign_errors(png, 1); // a profile that it does not like is no reason to give up
        about.set(png, handle_.info());
        png_write_info(png, handle_.info());
        // libpng would compress by itself, on one core.
        for (const std::vector<std::byte>& piece : compressed) {
            png_write_chunk(png, reinterpret_cast<png_const_bytep>("IDAT"),
                            reinterpret_cast<png_const_bytep>(piece.data()), piece.size());
        }
        png_write_chunk(png, reinterpret_cast<png_const_bytep>("IEND"), nullptr, 0);
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
