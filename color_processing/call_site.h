// Where a log line comes from.
#pragma once

#include <cstdint>

namespace kx {

// The file name alone. Compilers give a path with the separators of the machine that built the library.
constexpr const char* bare_file_name(const char* path)
{
    const char* name = path;
    for (const char* c = path; *c != '\0'; ++c) {
        if (*c == '\\' || *c == '/') {
            name = c + 1;
        }
    }
    return name;
}

struct call_site {
    // `function` is a text of its own rather than the compiler's name for the function: log filters rely
    // on it. File and line are those of the caller. (Not std::source_location, which clang 14 lacks.)
    constexpr call_site(const char* function, // NOLINT(google-explicit-constructor): meant to be implicit
                        const char* path = __builtin_FILE(), std::int32_t line = __builtin_LINE())
        : source_file_name(bare_file_name(path)), source_line(line), function_name(function)
    {
    }

    const char* source_file_name;
    std::int32_t source_line;
    const char* function_name;
};

} // namespace kx
