#include "platform/performance_counter.h"

#include <ctime>

namespace kx::platform {

namespace {
constexpr std::int64_t nanoseconds_per_second = 1'000'000'000;
}

bool query_performance_frequency(std::int64_t& frequency)
{
    frequency = nanoseconds_per_second;
    return true;
}

bool query_performance_counter(std::int64_t& count)
{
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0) {
        return false;
    }
    count = static_cast<std::int64_t>(now.tv_sec) * nanoseconds_per_second + now.tv_nsec;
    return true;
}

} // namespace kx::platform
