// What only the operating system can tell.
#pragma once

#include <cstdint>
#include <filesystem>
#include <system_error>
#include <vector>

namespace kx::convert {

// Whether somebody watches standard error.
bool standard_error_is_terminal();

// The same path for all names that the system takes for one, where it passes over upper and lower case.
std::filesystem::path without_case(const std::filesystem::path& path);

// What is in a folder, in any order.
std::vector<std::filesystem::directory_entry> entries_of(const std::filesystem::path& folder, std::error_code& failed);

// The machine's memory in bytes; the largest number if it cannot be told.
std::uint64_t physical_memory();

} // namespace kx::convert
