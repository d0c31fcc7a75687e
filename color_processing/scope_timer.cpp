#include "scope_timer.h"

#include "logger_client.h"
#include "platform/performance_counter.h"

#include <array>
#include <charconv>

namespace kx {

scope_timer::scope_timer(const char* name, const logger_client* logger, const call_site& site)
    : name_(name), logger_(logger), site_(site)
{
    if (platform::query_performance_frequency(frequency_)) {
        platform::query_performance_counter(start_count_);
    }
}

void scope_timer::report()
{
    if (!platform::query_performance_counter(end_count_)) {
        return;
    }
    // As printf's %f, but with a point in every locale, and several times as fast: small images are converted in less
    // time than printf takes.
    std::array<char, 400> elapsed; // NOLINT(cppcoreguidelines-pro-type-member-init): the largest double has 309 digits
    const std::to_chars_result end =
        std::to_chars(elapsed.data(), elapsed.data() + elapsed.size() - 1,
                      elapsed_microseconds(start_count_, end_count_, frequency_), std::chars_format::fixed, 6);
    *end.ptr = '\0';
    logger_->write(logger_module::information_level, site_, "%s takes %s microseconds.", name_, elapsed.data());
}

} // namespace kx
