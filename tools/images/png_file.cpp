#include "image_formats.h"
#include "pending_file.h"

#include <array>
#include <bit>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <utility>

#include <png.h>

namespace kx::images {

namespace {

// libpng's handles with an open file. libpng reports errors by a jump; call() turns them into exceptions.
class png_handle {
public:
    enum class direction { read, write };

    png_handle(const std::string& path, direction way, std::filesystem::path shown_name);
    png_handle(const png_handle&) = delete;
    png_handle& operator=(const png_handle&) = delete;
    ~png_handle();

    [[nodiscard]] png_structp png() const { return png_; }
    [[nodiscard]] png_infop info() const { return info_; }

    // Runs an action on the handles. A jump may leave the action: it must not hold anything to be released.
    template <typename Action>
    void call(const char* failure, Action action)
    {
        if (setjmp(png_jmpbuf(png_)) != 0) {
            throw image_error(name_, std::string(failure) + " (" + message_.data() + ")");
        }
        action();
    }

    // Closes the file written; throws image_error if not everything reached it.
    void close();

private:
    static void record_error(png_structp png, png_const_charp text)
    {
        png_handle& self = *static_cast<png_handle*>(png_get_error_ptr(png));
        std::snprintf(self.message_.data(), self.message_.size(), "%s", text);
        png_longjmp(png, 1);
    }
    static void ignore_warning(png_structp, png_const_charp) {}

    std::filesystem::path name_;
    direction way_;
    std::array<char, 200> message_{};
    std::FILE* stream_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

png_handle::png_handle(const std::string& path, direction way, std::filesystem::path shown_name)
    : name_(std::move(shown_name)), way_(way), stream_(std::fopen(path.c_str(), way == direction::read ? "rb" : "wb"))
{
    if (stream_ == nullptr) {
        throw image_error(name_, std::string("cannot be opened: ") + std::strerror(errno));
    }
    png_ = way == direction::read ? png_create_read_struct(PNG_LIBPNG_VER_STRING, this, record_error, ignore_warning)
                                  : png_create_write_struct(PNG_LIBPNG_VER_STRING, this, record_error, ignore_warning);
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
    if (info_ == nullptr) {
        std::fclose(stream_);
        throw std::bad_alloc();
    }
    png_init_io(png_, stream_);
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX); // check_dimensions() has the limits that count
}

png_handle::~png_handle()
{
    if (way_ == direction::read) {
        png_destroy_read_struct(&png_, &info_, nullptr);
    } else {
        png_destroy_write_struct(&png_, &info_);
    }
    if (stream_ != nullptr) {
        std::fclose(stream_);
    }
}

void png_handle::close()
{
    errno = 0;
    if (std::fclose(std::exchange(stream_, nullptr)) != 0) {
        throw image_error(name_, std::string("cannot be written: ") + std::strerror(errno));
    }
}

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

// PNG samples have their high byte first.
void set_byte_order(png_structp png)
{
    if constexpr (std::endian::native == std::endian::little) {
        png_set_swap(png);
    }
}

class png_reader final : public image_reader {
public:
    explicit png_reader(const std::filesystem::path& file)
        : file_(file), handle_(file.string(), png_handle::direction::read, file)
    {
        handle_.call("cannot be read", [this] { png_read_info(handle_.png(), handle_.info()); });
        const int bits = png_get_bit_depth(handle_.png(), handle_.info());
        const int type = png_get_color_type(handle_.png(), handle_.info());
        if (bits != 16 || type != PNG_COLOR_TYPE_RGB) {
            throw image_error(file, "has " + std::to_string(bits) + "-bit samples, colour type " + color_type_name(type)
                                        + "; " + needed_samples);
        }
        page_.width = png_get_image_width(handle_.png(), handle_.info());
        page_.height = png_get_image_height(handle_.png(), handle_.info());
        check_dimensions(file, page_.width, page_.height);
    }

    [[nodiscard]] std::uint32_t page_count() const override { return 1; }
    [[nodiscard]] std::uint64_t total_pixels() const override { return page_.pixel_count(); }

    image_16 read_page() override
    {
        image_16 page = page_;
        reserve_samples(file_, page);
        handle_.call("the file is damaged or cut short", [this, &page] {
            set_byte_order(handle_.png());
            const int passes = png_set_interlace_handling(handle_.png());
            const std::size_t row_samples = std::size_t{page.width} * 3;
            for (int pass = 0; pass < passes; ++pass) {
                for (std::size_t row = 0; row < page.height; ++row) {
                    if (pass == 0) {
                        page.samples.resize((row + 1) * row_samples);
                    }
                    // Later passes add to what is there.
                    png_read_row(handle_.png(), reinterpret_cast<png_bytep>(&page.samples[row * row_samples]), nullptr);
                }
            }
            png_read_end(handle_.png(), nullptr); // the checksums too
        });
        return page;
    }

private:
    std::filesystem::path file_;
    png_handle handle_;
    image_16 page_; // without samples
};

class png_writer final : public image_writer {
public:
    explicit png_writer(const std::filesystem::path& file)
        : pending_(file), handle_(pending_.temporary_name(), png_handle::direction::write, file)
    {
    }

    void write_page(const image_16& page) override { write(page); }
    void write_page(const image_8& page) override { write(page); }

    void commit() override
    {
        handle_.close();
        pending_.commit();
    }

private:
    template <typename Sample>
    void write(const image<Sample>& page)
    {
        const char* const refusal = std::exchange(page_written_, true) ? "PNG takes one page only"
                                    : page.channels != 3 ? "the fourth sample of a PNG is its alpha: the picture "
                                                           "would be transparent"
                                    : page.layout != arrangement::interleaved_rgb ? "PNG has no separate planes"
                                    : page.orientation != 1 ? "PNG has no orientation, and the image is not upright"
                                                            : nullptr;
        if (refusal != nullptr) {
            throw image_error(pending_.final_name(), refusal);
        }
        handle_.call("cannot be written", [this, &page] {
            png_struct* const png = handle_.png();
            png_set_IHDR(png, handle_.info(), page.width, page.height, 8 * sizeof(Sample), PNG_COLOR_TYPE_RGB,
                         PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
            png_write_info(png, handle_.info());
            if (sizeof(Sample) > 1) {
                set_byte_order(png);
            }
            const std::size_t row_samples = std::size_t{page.width} * 3;
            for (std::size_t row = 0; row < page.height; ++row) {
                png_write_row(png, reinterpret_cast<png_const_bytep>(&page.samples[row * row_samples]));
            }
            png_write_end(png, handle_.info());
        });
    }

    pending_file pending_;
    png_handle handle_;
    bool page_written_ = false;
};

} // namespace

std::unique_ptr<image_reader> open_png(const std::filesystem::path& file)
{
    return std::make_unique<png_reader>(file);
}

std::unique_ptr<image_writer> create_png(const std::filesystem::path& file, const write_options& options)
{
    if (options.page_count > 1) {
        throw image_error(file, "PNG takes one page only, and there are " + std::to_string(options.page_count)
                                    + ": write a TIFF instead");
    }
    return std::make_unique<png_writer>(file);
}

} // namespace kx::images
