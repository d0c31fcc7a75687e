#include "logger_client.h"

#include "platform/dynamic_module.h"

#include <array>
#include <cstdarg>
#include <cstdio>
#include <new>

namespace kx {

namespace {

constexpr const char* channel_name = "KORVEX_KVI_COLOR_PROCESSING";
constexpr const char* second_name = ""; // its meaning is the logger module's

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
    std::array<char, 512> text; // NOLINT(cppcoreguidelines-pro-type-member-init): longer than any line of the library
    std::va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
    va_end(arguments);
    try {
        return length >= 0
               && log_function_(log_, level, site.source_file_name, site.source_line, site.function_name, text.data())
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
