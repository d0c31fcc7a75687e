// A shared library that this process has loaded, and what its file says.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kx::verify {

struct loaded_file {
    std::filesystem::path path;
    std::vector<std::string> exports; // sorted

    // Nothing when the process has no library of this base name in memory. Throws std::runtime_error when the file
    // cannot be read.
    static std::optional<loaded_file> find(const std::string& name);

    // The version in the file's mark, "@(#)NAME VERSION", or nothing.
    [[nodiscard]] std::string version(const std::string& name) const;
};

// The whole file. Throws std::runtime_error.
std::string contents(const std::filesystem::path& path);

} // namespace kx::verify
