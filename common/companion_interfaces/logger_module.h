// The logger module's entry points, as function types; found by name at run time.
#pragma once

#include <cstdint>

namespace kx::logger_module {

inline constexpr const char* base_name = "korvex_kvi_logger";

extern "C" {
// Opens a channel. Returns its log handle, or null on failure.
using get_log_function = void*(const char* channel_name, const char* second_name);

// Writes one line; called concurrently. Returns 0 if the line was written.
using log_function = std::int32_t(void* log, std::int32_t level, const char* source_file_name, std::int32_t source_line,
                                  const char* function_name, const char* message);

// Closes a channel, by the two names it was opened with. The result is ignored.
using free_log_function = std::int32_t(const char* channel_name, const char* second_name);
}

// The levels this library writes at.
inline constexpr std::int32_t error_level = 0;
inline constexpr std::int32_t information_level = 2;

} // namespace kx::logger_module
