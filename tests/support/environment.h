// The process's environment, which the logger module reads.
#pragma once

#include <cstdlib>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace kx_test {

// Null: the variable shall not be set.
inline void set_environment(const char* name, const char* value)
{
#if defined(_WIN32)
    SetEnvironmentVariableA(name, value);
#else
    value != nullptr ? setenv(name, value, 1) : unsetenv(name);
#endif
}

} // namespace kx_test
