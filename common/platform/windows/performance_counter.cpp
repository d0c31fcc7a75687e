#include "platform/performance_counter.h"

#include <windows.h>

namespace kx::platform {

bool query_performance_frequency(std::int64_t& frequency)
{
    LARGE_INTEGER value{};
    if (QueryPerformanceFrequency(&value) == FALSE) {
        return false;
    }
    frequency = value.QuadPart;
    return true;
}

bool query_performance_counter(std::int64_t& count)
{
    LARGE_INTEGER value{};
    if (QueryPerformanceCounter(&value) == FALSE) {
        return false;
    }
    count = value.QuadPart;
    return true;
}

} // namespace kx::platform
