#include "environment.h"

#include <windows.h>

namespace kvi {

// Not std::getenv, which knows what was set through its own C runtime: the host's may be another.
std::string environment_variable(const char* name)
{
    std::string value(256, '\0');
    const auto get = [&] { return GetEnvironmentVariableA(name, value.data(), static_cast<DWORD>(value.size())); };
    DWORD length = get();
    while (length >= value.size()) { // too small: the size that is needed
        value.resize(length);
        length = get();
    }
    value.resize(length);
    return value;
}

} // namespace kvi
