#include "logger_client.h"

#include "platform/dynamic_module.h"

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <new>

namespace kx {

namespace {

constexpr const char* channel_name = "KORVEX_KVI_COLOR_PROCESSING";
constexpr const char* second_name = ""; // its meaning is the logger module's

// A text by printf's conventions, on the stack if it is as short as the library's own lines are.
class formatted_text {
public:
    // Returns whether that could be done.
    bool format(const char* format, std::va_list arguments)
    {
        std::va_list arguments_again;
        va_copy(arguments_again, arguments);
        const int length = std::vsnprintf(short_text_.data(), short_text_.size(), format, arguments);
        if (length >= 0 && static_cast<std::size_t>(length) >= short_text_.size()) {
            const std::size_t size = static_cast<std::size_t>(length) + 1;
            long_text_.reset(new (std::nothrow) char[size]);
            if (long_text_ != nullptr) {
                std::vsnprintf(long_text_.get(), size, format, arguments_again);
            }
        }
        va_end(arguments_again);
        return length >= 0 && (static_cast<std::size_t>(length) < short_text_.size() || long_text_ != nullptr);
    }

    [[nodiscard]] const char* get() const { return long_text_ != nullptr ? long_text_.get() : short_text_.data(); }

private:
    std::array<char, 256> short_text_; // not filled before it is written to
    std::unique_ptr<char[]> long_text_;
};

} // namespace

logger_client::logger_client()
{
    module_ = platform::load_module(logger_module::base_name);
    if (module_ == nullptr) {
        return;
    }
    logger_module::get_log_function* get_log = nullptr;
    if (!platform::find_entry_point(module_, "kvi_get_log", get_log)) {
        return;
    }
    log_ = get_log(channel_name, second_name);
    if (log_ == nullptr) {
        return;
    }
    ready_ = platform::find_entry_point(module_, "kvi_log", log_function_);
}

logger_client::~logger_client()
{
    if (module_ == nullptr) {
        return;
    }
    try {
        // Whether or not the channel was opened: closing it is the logger module's to sort out.
        logger_module::free_log_function* free_log = nullptr;
        if (platform::find_entry_point(module_, "kvi_free_log", free_log)) {
            free_log(channel_name, second_name);
        }
        platform::unload_module(module_);
    } catch (...) { // NOLINT(bugprone-empty-catch): a module that fails to close stays loaded
    }
}

bool logger_client::write(std::int32_t level, const call_site& site, const char* format, ...) const
{
    if (!ready_) {
        return false;
    }
    formatted_text text;
    std::va_list arguments;
    va_start(arguments, format);
    const bool formatted = text.format(format, arguments);
    va_end(arguments);
    try {
        return formatted
               && log_function_(log_, level, site.source_file_name, site.source_line, site.function_name, text.get())
                      == 0;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void logger_client::write_error(const char* format, const call_site& site) const
{
    write(logger_module::error_level, site, format, "ERROR: ");
}

} // namespace kx
