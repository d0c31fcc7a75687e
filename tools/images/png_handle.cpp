#include "png_handle.h"

#include <bit>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace kx::images {

png_handle::png_handle(const std::string& path, direction way, std::filesystem::path shown_name)
    : name_(std::move(shown_name)), way_(way), stream_(std::fopen(path.c_str(), way == direction::read ? "rb" : "wb"))
{
    if (stream_ == nullptr) {
        throw image_error(name_, std::string("cannot be opened: ") + std::strerror(errno));
    }
    png_ = way == direction::read ? png_create_read_struct_2(PNG_LIBPNG_VER_STRING, this, record_error, ignore_warning,
                                                             nullptr, allocate, nullptr)
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
    if (std::fclose(std::exchange(stream_, nullptr)) != 0) {
        throw image_error(name_, std::string("cannot be written: ") + std::strerror(errno));
    }
}

void png_handle::fail(const char* failure) const
{
    const bool system = way_ == direction::write && system_error_ != 0;
    throw image_error(name_, system ? std::string(failure) + ": " + std::strerror(system_error_)
                                    : std::string(failure) + " (" + message_.data() + ")");
}

// A damaged file may claim a chunk of gigabytes, which libpng would allocate before it reads on. No row is as long.
png_voidp png_handle::allocate(png_structp /*png*/, png_alloc_size_t size)
{
    constexpr png_alloc_size_t most = 1U << 28;
    return size <= most ? std::malloc(size) : nullptr;
}

void png_handle::record_error(png_structp png, png_const_charp text)
{
    png_handle& self = *static_cast<png_handle*>(png_get_error_ptr(png));
    self.system_error_ = std::ferror(self.stream_) != 0 ? errno : 0;
    std::snprintf(self.message_.data(), self.message_.size(), "%s", text);
    png_longjmp(png, 1);
}

void set_byte_order(png_structp png)
{
    if constexpr (std::endian::native == std::endian::little) {
        png_set_swap(png);
    }
}

} // namespace kx::images
