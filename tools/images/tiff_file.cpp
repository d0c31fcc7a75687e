#include "tiff_file.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <utility>

namespace kx::images {

namespace {

// What libtiff may allocate at once; larger wishes come from damaged files.
constexpr tmsize_t max_allocation = tmsize_t{1} << 31;

int ignore_warning(TIFF*, void*, const char*, const char*, va_list)
{
    return 1;
}

} // namespace

tiff_file::tiff_file(const std::string& path, const char* mode, std::filesystem::path shown_name)
    : name_(std::move(shown_name)), path_(path)
{
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options == nullptr) {
        throw std::bad_alloc();
    }
    TIFFOpenOptionsSetErrorHandlerExtR(options, record_error, this);
    TIFFOpenOptionsSetWarningHandlerExtR(options, ignore_warning, nullptr);
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, max_allocation);
    tiff_ = TIFFOpenExt(path.c_str(), mode, options);
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

void tiff_file::close(const char* failure)
{
    TIFFClose(std::exchange(tiff_, nullptr));
    if (has_errors()) {
        fail(failure);
    }
}

void tiff_file::fail(const std::string& reason) const
{
    throw image_error(name_, messages_.empty() ? reason : reason + " (" + messages_ + ")");
}

// Keeps the first messages: later ones tell only what followed from them.
int tiff_file::record_error(TIFF*, void* self, const char* module, const char* format, va_list arguments)
{
    tiff_file& file = *static_cast<tiff_file*>(self);
    if (file.messages_.size() < 300) {
        std::array<char, 300> text{};
        std::vsnprintf(text.data(), text.size(), format, arguments);
        file.messages_ += file.messages_.empty() ? "" : "; ";
        if (module != nullptr && *module != '\0' && module != file.path_) {
            file.messages_ += std::string(module) + ": ";
        }
        file.messages_ += text.data();
    }
    return 1; // handled: libtiff must not print it as well
}

} // namespace kx::images
