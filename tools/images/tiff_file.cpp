#include "tiff_file.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace kx::images {

namespace {

// What libtiff may allocate at once; larger wishes come from damaged files.
constexpr tmsize_t max_allocation = tmsize_t{1} << 31;

std::string to_text(const char* format, va_list arguments)
{
    std::array<char, 300> text{};
    std::vsnprintf(text.data(), text.size(), format, arguments);
    return text.data();
}

} // namespace

tiff_file::tiff_file(std::unique_ptr<byte_stream> stream, const char* mode, std::filesystem::path shown_name)
    : name_(std::move(shown_name)), stream_(std::move(stream))
{
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options == nullptr) {
        throw std::bad_alloc();
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options, record_error, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, record_warning, this);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, max_allocation);
    const auto close = [](thandle_t) { return 0; };
    const auto size = [](thandle_t self) { return static_cast<tiff_file*>(self)->stream_->size(); };
    tiff_ = TIFFClientOpenExt(name_.string().c_str(), mode, this, read, write, seek, close, size, nullptr, nullptr,
                              options);
    TIFFOpenOptionsFree(options);
    if (tiff_ == nullptr) {
        fail("cannot be opened as a TIFF file");
    }
}

tiff_file::~tiff_file()
{
    if (tiff_ != nullptr) {
        TIFFClose(tiff_);
    }
}

std::string tiff_file::take_messages()
{
    return std::exchange(messages_, {});
}

std::vector<std::string> tiff_file::take_warnings()
{
    return std::exchange(warnings_, {});
}

void tiff_file::close(const char* failure)
{
    TIFFClose(std::exchange(tiff_, nullptr));
    if (!messages_.empty() || !system_error_.empty()) {
        fail(failure);
    }
}

void tiff_file::fail(const std::string& reason) const
{
    if (!system_error_.empty()) {
        throw image_error(name_, system_error_);
    }
    throw image_error(name_, messages_.empty() ? reason : reason + " (" + messages_ + ")");
}

// Keeps the first messages: later ones tell only what followed from them.
int tiff_file::record_error(TIFF*, void* self, const char* module, const char* format, va_list arguments)
{
    tiff_file& file = *static_cast<tiff_file*>(self);
    if (file.messages_.size() < 300) {
        file.messages_ += file.messages_.empty() ? "" : "; ";
        if (module != nullptr && *module != '\0' && module != file.name_) {
            file.messages_ += std::string(module) + ": ";
        }
        file.messages_ += to_text(format, arguments);
    }
    return 1; // handled: libtiff must not print it as well
}

// Tags that libtiff does not know and texts with NULs are no oddities: tiff_tags.cpp reads them itself.
int tiff_file::record_warning(TIFF*, void* self, const char*, const char* format, va_list arguments)
{
    constexpr std::size_t enough = 20;
    tiff_file& file = *static_cast<tiff_file*>(self);
    const std::string text = to_text(format, arguments);
    if (!text.starts_with("Unknown field") && !text.starts_with("ASCII value") && file.warnings_.size() < enough) {
        file.warnings_.push_back(text);
    }
    return 1;
}

// Exceptions must not pass through libtiff, which is C.
template <typename Action>
tmsize_t tiff_file::transfer(Action action)
{
    try {
        const std::size_t done = action();
        position_ += done;
        return static_cast<tmsize_t>(done);
    } catch (const files::file_error& error) {
        system_error_ = error.reason();
    } catch (const std::exception& error) {
        system_error_ = error.what();
    }
    return -1;
}

tmsize_t tiff_file::read(thandle_t self, void* bytes, tmsize_t count)
{
    tiff_file& file = *static_cast<tiff_file*>(self);
    return file.transfer([&] { return file.stream_->read(file.position_, bytes, static_cast<std::size_t>(count)); });
}

tmsize_t tiff_file::write(thandle_t self, void* bytes, tmsize_t count)
{
    tiff_file& file = *static_cast<tiff_file*>(self);
    return file.transfer([&] {
        file.stream_->write(file.position_, bytes, static_cast<std::size_t>(count));
        return static_cast<std::size_t>(count);
    });
}

toff_t tiff_file::seek(thandle_t self, toff_t offset, int origin)
{
    tiff_file& file = *static_cast<tiff_file*>(self);
    const std::uint64_t start = origin == SEEK_SET ? 0 : origin == SEEK_CUR ? file.position_ : file.stream_->size();
    return file.position_ = start + offset;
}

} // namespace kx::images
