#include "logger_client.h"

#include "platform/dynamic_module.h"

#include <cstdarg>
#include <cstddef>
#include <cstdio>

namespace kx {

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
    log_ = get_log(channel_name_.c_str(), second_name_.c_str());
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
            free_log(channel_name_.c_str(), second_name_.c_str());
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
    std::va_list arguments;
    va_start(arguments, format);
    std::va_list arguments_again;
    va_copy(arguments_again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);

    std::string text;
    if (length >= 0) {
        text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(text.data(), text.size() + 1, format, arguments_again);
    }
    va_end(arguments_again);
    if (length < 0) {
        return false;
    }
    return log_function_(log_, level, site.source_file_name, site.source_line, site.function_name, text.c_str()) == 0;
}

void logger_client::write_error(const char* format, const call_site& site) const
{
    write(logger_module::error_level, site, format, "ERROR: ");
}

} // namespace kx
