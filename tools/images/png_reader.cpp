#include "image_formats.h"
#include "png_handle.h"
#include "png_metadata.h"

namespace kx::images {

namespace {

const char* color_type_name(int type)
{
    switch (type) {
    case PNG_COLOR_TYPE_GRAY:
        return "grey";
    case PNG_COLOR_TYPE_GRAY_ALPHA:
        return "grey with alpha";
    case PNG_COLOR_TYPE_PALETTE:
        return "palette";
    case PNG_COLOR_TYPE_RGB:
        return "RGB";
    default:
        return "RGB with alpha";
    }
}

class png_reader final : public image_reader {
public:
    png_reader(const std::filesystem::path& file, ledger& losses);

    [[nodiscard]] std::uint32_t page_count() const override { return 1; }
    [[nodiscard]] std::uint64_t pixel_count(std::uint32_t) const override { return image_.pixel_count(); }
    void read_page(std::uint32_t number, image_16& page) override;

private:
    std::unique_ptr<png_handle> open(); // and reads what comes before the samples

    std::filesystem::path name_;
    ledger& losses_;
    std::unique_ptr<png_handle> handle_; // of the first read
    image_16 image_;                     // without samples
    unsigned bits_ = 16;
    bool has_alpha_ = false;
};

png_reader::png_reader(const std::filesystem::path& file, ledger& losses)
    : name_(file), losses_(losses), handle_(open())
{
    png_struct* const png = handle_->png();
    bits_ = png_get_bit_depth(png, handle_->info());
    const int type = png_get_color_type(png, handle_->info());
    has_alpha_ = type == PNG_COLOR_TYPE_RGB_ALPHA;
    if ((bits_ != 16 && bits_ != 8) || (type != PNG_COLOR_TYPE_RGB && !has_alpha_)) {
        throw image_error(file, "has " + std::to_string(bits_) + "-bit samples, colour type " + color_type_name(type)
                                    + "; " + needed_samples);
    }
    image_.width = png_get_image_width(png, handle_->info());
    image_.height = png_get_image_height(png, handle_->info());
    image_.was_8_bit = bits_ == 8;
    check_dimensions(file, image_.width, image_.height);
}

std::unique_ptr<png_handle> png_reader::open()
{
    auto handle = std::make_unique<png_handle>(name_, losses_);
    handle->call("cannot be read", [&handle] {
        png_set_keep_unknown_chunks(handle->png(), PNG_HANDLE_CHUNK_ALWAYS, nullptr, 0);
        png_read_info(handle->png(), handle->info());
    });
    return handle;
}

void png_reader::read_page(std::uint32_t, image_16& page)
{
    const std::unique_ptr<png_handle> handle = handle_ != nullptr ? std::move(handle_) : open();
    copy_shape(image_, page);
    reserve_samples(name_, page);
    sample_rows rows(page, bits_, has_alpha_ ? 4 : 3);
    handle->call("the file is damaged or cut short", [this, &handle, &rows] {
        png_struct* const png = handle->png();
        if (bits_ == 16) {
            set_byte_order(png);
        }
        const auto read_row = [&](std::byte* row) { png_read_row(png, reinterpret_cast<png_bytep>(row), nullptr); };
        const int passes = png_set_interlace_handling(png);
        for (std::size_t row = 0; passes == 1 && row < image_.height; ++row) {
            read_row(rows.next(1));
            rows.take(1);
        }
        // The passes of an interlaced image add to each other. The first claims memory row by row.
        for (int pass = 0; passes > 1 && pass < passes; ++pass) {
            for (std::size_t row = 0; row < image_.height; ++row) {
                read_row(rows.next(pass == 0 ? row + 1 : image_.height) + row * rows.row_bytes());
            }
        }
        if (passes > 1) {
            rows.take(image_.height);
        }
        png_read_end(png, handle->info()); // the checksums too
    });
    page.about = read_metadata(handle->png(), handle->info(), losses_);
    const fourth_samples& fourth = rows.finish();
    if (has_alpha_) {
        check_fourth_sample(name_, "the picture", fourth, true);
    }
}

} // namespace

std::unique_ptr<image_reader> open_png(const std::filesystem::path& file, ledger& losses)
{
    return std::make_unique<png_reader>(file, losses);
}

} // namespace kx::images
