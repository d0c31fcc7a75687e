#include "png_handle.h"

#include <bit>
#include <cstdlib>

namespace kx::images {

namespace {

constexpr png_alloc_size_t max_chunk = 1U << 28;

} // namespace

png_handle::png_handle(const std::filesystem::path& input, ledger& losses)
    : name_(input), losses_(losses), input_(input),
      png_(png_create_read_struct_2(PNG_LIBPNG_VER_STRING, this, record_error, record_warning, nullptr, allocate,
                                    nullptr))
{
    prepare();
    png_set_read_fn(png_, this, read);
}

png_handle::png_handle(files::output_file& output, ledger& losses)
    : name_(output.name()), losses_(losses), output_(&output),
      png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, this, record_error, record_warning))
{
    prepare();
    png_set_write_fn(png_, this, write, nullptr);
}

void png_handle::prepare()
{
    info_ = png_ != nullptr ? png_create_info_struct(png_) : nullptr;
    if (info_ == nullptr) {
        throw std::bad_alloc();
    }
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX); // check_dimensions() has the limits that count
    png_set_chunk_cache_max(png_, 0);                            // any number of texts
    png_set_chunk_malloc_max(png_, max_chunk);
}

png_handle::~png_handle()
{
    if (output_ == nullptr) {
        png_destroy_read_struct(&png_, &info_, nullptr);
    } else {
        png_destroy_write_struct(&png_, &info_);
    }
}

void png_handle::fail(const char* failure) const
{
    throw image_error(name_, system_error_.empty() ? std::string(failure) + " (" + message_ + ")" : system_error_);
}

// A damaged file may claim a chunk of gigabytes, which libpng would allocate before it reads on. No row is as long.
png_voidp png_handle::allocate(png_structp /*png*/, png_alloc_size_t size)
{
    return size <= max_chunk ? std::malloc(size) : nullptr;
}

// The jump may not leave a catch block, nor skip the end of an object.
void png_handle::record_error(png_structp png, png_const_charp text)
{
    static_cast<png_handle*>(png_get_error_ptr(png))->message_ = text;
    png_longjmp(png, 1);
}

void png_handle::record_warning(png_structp png, png_const_charp text)
{
    static_cast<png_handle*>(png_get_error_ptr(png))->losses_.enter(loss::oddity, std::string("libpng: ") + text);
}

void png_handle::read(png_structp png, png_bytep bytes, std::size_t count)
{
    png_handle& self = *static_cast<png_handle*>(png_get_io_ptr(png));
    try {
        if (self.input_->read(self.place_, bytes, count) == count) {
            self.place_ += count;
            return;
        }
    } catch (const files::file_error& error) {
        self.system_error_ = error.reason();
    }
    png_error(png, "the file ends too early");
}

void png_handle::write(png_structp png, png_bytep bytes, std::size_t count)
{
    png_handle& self = *static_cast<png_handle*>(png_get_io_ptr(png));
    try {
        self.output_->write(self.place_, bytes, count);
        self.place_ += count;
        return;
    } catch (const files::file_error& error) {
        self.system_error_ = error.reason();
    }
    png_error(png, "cannot be written");
}

void set_byte_order(png_structp png)
{
    if constexpr (std::endian::native == std::endian::little) {
        png_set_swap(png);
    }
}

} // namespace kx::images
