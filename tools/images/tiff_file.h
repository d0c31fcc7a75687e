// A libtiff handle whose errors become exceptions and never reach standard error.
#pragma once

#include "byte_stream.h"
#include "image_file.h"

#include <tiffio.h>

namespace kx::images {

class tiff_file {
public:
    // Opens what the stream holds or, with mode "w", will hold; messages speak of `shown_name`. Throws image_error.
    tiff_file(std::unique_ptr<byte_stream> stream, const char* mode, std::filesystem::path shown_name);
    tiff_file(const tiff_file&) = delete;
    tiff_file& operator=(const tiff_file&) = delete;
    ~tiff_file();

    [[nodiscard]] TIFF* get() const { return tiff_; }
    [[nodiscard]] const std::filesystem::path& name() const { return name_; }
    [[nodiscard]] byte_stream& stream() const { return *stream_; }

    // What libtiff has found wrong since the file was opened or this was called last.
    std::string take_messages();

    // What libtiff, or a library behind it, has warned of since then.
    std::vector<std::string> take_warnings();

    // Completes the file and throws image_error if libtiff has complained.
    void close(const char* failure);

    // Throws image_error: the reason with libtiff's own messages, or the system's reason alone.
    [[noreturn]] void fail(const std::string& reason) const;

    // Sets a tag; throws image_error.
    template <typename... Value>
    void set(std::uint32_t tag, Value... value)
    {
        if (TIFFSetField(tiff_, tag, value...) != 1) {
            fail("cannot be written");
        }
    }

private:
    static int record_warning(TIFF* tiff, void* self, const char* module, const char* format, va_list arguments);
    static int record_error(TIFF* tiff, void* self, const char* module, const char* format, va_list arguments);
    template <typename Action>
    tmsize_t transfer(Action action);
    static tmsize_t read(thandle_t self, void* bytes, tmsize_t count);
    static tmsize_t write(thandle_t self, void* bytes, tmsize_t count);
    static toff_t seek(thandle_t self, toff_t offset, int origin);

    std::filesystem::path name_;
    std::unique_ptr<byte_stream> stream_;
    std::uint64_t position_ = 0;
    std::string messages_;
    std::vector<std::string> warnings_;
    std::string system_error_;
    TIFF* tiff_ = nullptr;
};

} // namespace kx::images
