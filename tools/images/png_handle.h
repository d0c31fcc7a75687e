// libpng's handles, whose errors become exceptions.
#pragma once

#include "files/output_file.h"
#include "image_file.h"

#include <csetjmp>
#include <optional>

#include <png.h>

namespace kx::images {

// libpng reports errors by a jump; call() turns them into exceptions.
class png_handle {
public:
    // libpng's warnings are entered in `losses`.
    png_handle(const std::filesystem::path& input, ledger& losses);
    png_handle(files::output_file& output, ledger& losses);
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
            fail(failure);
        }
        action();
    }

private:
    void prepare();
    [[noreturn]] void fail(const char* failure) const;
    static png_voidp allocate(png_structp png, png_alloc_size_t size);
    static void record_error(png_structp png, png_const_charp text);
    static void record_warning(png_structp png, png_const_charp text);
    static void read(png_structp png, png_bytep bytes, std::size_t count);
    static void write(png_structp png, png_bytep bytes, std::size_t count);

    std::filesystem::path name_;
    ledger& losses_;
    std::optional<files::readable_file> input_;
    files::output_file* output_ = nullptr;
    std::uint64_t place_ = 0; // in the one or the other
    std::string message_;
    std::string system_error_; // why nothing more could be written
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

// PNG samples have their high byte first.
void set_byte_order(png_structp png);

} // namespace kx::images
