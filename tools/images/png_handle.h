// libpng's handles with an open file.
#pragma once

#include "image_file.h"

#include <array>
#include <csetjmp>
#include <cstdio>

#include <png.h>

namespace kx::images {

// libpng reports errors by a jump; call() turns them into exceptions.
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
        system_error_ = 0;
        if (setjmp(png_jmpbuf(png_)) != 0) {
            fail(failure);
        }
        action();
    }

    // Closes the file written; throws image_error if not everything reached it.
    void close();

private:
    [[noreturn]] void fail(const char* failure) const;
    static png_voidp allocate(png_structp png, png_alloc_size_t size);
    static void record_error(png_structp png, png_const_charp text);
    static void ignore_warning(png_structp, png_const_charp) {}

    std::filesystem::path name_;
    direction way_;
    std::array<char, 200> message_{};
    int system_error_ = 0; // its number, if a write failed
    std::FILE* stream_;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

// PNG samples have their high byte first.
void set_byte_order(png_structp png);

} // namespace kx::images
