// What all stand-ins do alike.
#pragma once

#include "frame/standins/recorder.h"

#include <cstdarg>
#include <cstdio>
#include <new>
#include <stdexcept>

#if defined(_WIN32)
#define KX_STANDIN_API extern "C" __declspec(dllexport)
#else
#define KX_STANDIN_API extern "C" __attribute__((visibility("default")))
#endif

namespace standin {

inline standins_script& script()
{
    return *standins_the_script();
}

#if defined(__GNUC__)
__attribute__((format(printf, 2, 3)))
#endif
inline void
record(standins_kind kind, const char* format, ...)
{
    char text[512];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    standins_record(kind, text, 0);
}

inline void throw_if(standins_exception exception)
{
    if (exception == standins_bad_alloc) {
        throw std::bad_alloc();
    }
    if (exception == standins_runtime_error) {
        throw std::runtime_error("as the test asked");
    }
}

// What the present call of a function throws by its script.
inline standins_exception due(standins_failure& failure)
{
    return failure.call_number > 0 && --failure.call_number == 0 ? failure.exception : standins_no_exception;
}

// Reports that its module was loaded and unloaded. The name is no member: setting it while the module is loaded
// again, on another thread, would look like a race to the thread sanitizer, which knows nothing of the loader's
// lock.
template <const char* module>
struct presence {
    presence() { record(standins_other, "%s loaded", module); }
    ~presence() { record(standins_other, "%s unloaded", module); }
    presence(const presence&) = delete;
    presence& operator=(const presence&) = delete;
};

} // namespace standin
