// What all stand-ins do alike. A stand-in that lacks an entry point is built with the entry point renamed.
#pragma once

#include "frame/standins/recorder.h"

#include <new>
#include <stdexcept>

#if defined(_WIN32)
#define KX_STANDIN_API extern "C" __declspec(dllexport)
#else
#define KX_STANDIN_API extern "C" __attribute__((visibility("default")))
#endif

namespace standins {

// An exception whose type is the module's own: with the module its code goes.
struct own_error : std::runtime_error {
    own_error() : runtime_error("as the test asked") {}
};

inline void throw_if(exception wanted)
{
    if (wanted == bad_alloc) {
        throw std::bad_alloc();
    }
    if (wanted == runtime_error) {
        throw own_error();
    }
}

// What the present call of a function throws.
inline exception due(failure& wanted)
{
    return wanted.call_number > 0 && --wanted.call_number == 0 ? wanted.thrown : no_exception;
}

// Reports that its module was loaded and unloaded.
template <const char* module>
struct presence {
    presence() { record(std::string(module) + " loaded"); }
    ~presence() { record(std::string(module) + " unloaded"); }
    presence(const presence&) = delete;
    presence& operator=(const presence&) = delete;
};

} // namespace standins
