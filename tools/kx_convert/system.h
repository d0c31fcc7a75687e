// What only the operating system can tell.
#pragma once

#include <cstdint>

namespace kx::convert {

// Whether somebody watches standard error.
bool standard_error_is_terminal();

// The machine's memory in bytes; the largest number if it cannot be told.
std::uint64_t physical_memory();

} // namespace kx::convert
