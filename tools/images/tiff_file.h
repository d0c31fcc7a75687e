// A libtiff handle whose errors become exceptions and never reach standard error.
#pragma once

#include "image_file.h"

#include <tiffio.h>

namespace kx::images {

class tiff_file {
public:
    // Opens `path`; messages speak of `shown_name`. Throws image_error.
    tiff_file(const std::string& path, const char* mode, std::filesystem::path shown_name);
    tiff_file(const tiff_file&) = delete;
    tiff_file& operator=(const tiff_file&) = delete;
    ~tiff_file();

    [[nodiscard]] TIFF* get() const { return tiff_; }
    [[nodiscard]] const std::filesystem::path& name() const { return name_; }

    // Whether libtiff has complained since the file was opened.
    [[nodiscard]] bool has_errors() const { return !messages_.empty(); }

    // Closes the file and throws image_error if libtiff has complained.
    void close(const char* failure);

    // Throws image_error: the reason with libtiff's own messages.
    [[noreturn]] void fail(const std::string& reason) const;

private:
    static int record_error(TIFF* tiff, void* self, const char* module, const char* format, va_list arguments);

    std::filesystem::path name_;
    std::string path_;
    std::string messages_;
    TIFF* tiff_ = nullptr;
};

} // namespace kx::images
