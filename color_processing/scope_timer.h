// Logs how long a scope took.
#pragma once

#include "call_site.h"

#include <cstdint>

namespace kx {

class logger_client;

class scope_timer {
public:
    // `name` and `site` are static texts; `logger` must outlive the timer.
    scope_timer(const char* name, const logger_client* logger, const call_site& site);

    // Writes the timing line: at the scope's normal end, which a destructor cannot tell from its end by an exception.
    // A companion module's exceptions are not always among those that std::uncaught_exceptions counts here: on
    // Windows each module may have a C++ runtime of its own.
    void report();

private:
    const char* name_;
    const logger_client* logger_;
    call_site site_;
    std::int64_t start_count_ = 0;
    std::int64_t end_count_ = 0;
    std::int64_t frequency_ = 0;
};

// Microseconds between two readings of a counter with `frequency` ticks a second.
constexpr double elapsed_microseconds(std::int64_t start_count, std::int64_t end_count, std::int64_t frequency)
{
    return static_cast<double>(end_count - start_count) / static_cast<double>(frequency) * 1000000.0;
}
static_assert(elapsed_microseconds(1'000, 9'125, 10'000'000) == 812.5);

} // namespace kx
