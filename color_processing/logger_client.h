// The library's one channel of the logger module.
#pragma once

#include "call_site.h"
#include "companion_interfaces/logger_module.h"

#include <cstdint>

namespace kx {

// Opens the channel when constructed and closes it when destroyed. Without a usable logger module the
// client exists all the same, is not ready, and swallows every line.
class logger_client {
public:
    logger_client();
    ~logger_client();
    logger_client(const logger_client&) = delete;
    logger_client& operator=(const logger_client&) = delete;

    // Formats (printf conventions; up to 511 characters) and hands over one line. Takes no lock. Returns whether the
    // logger module accepted the line. When memory runs out on the way the line is dropped: no std::bad_alloc leaves.
    [[gnu::format(printf, 4, 5)]] bool write(std::int32_t level, const call_site& site, const char* format, ...) const;

    // Writes an error line whose format begins with "%s ", which becomes the error mark.
    void write_error(const char* format, const call_site& site) const;

private:
    void* module_ = nullptr;
    void* log_ = nullptr;
    logger_module::log_function* log_function_ = nullptr;
    bool ready_ = false;
};

} // namespace kx
