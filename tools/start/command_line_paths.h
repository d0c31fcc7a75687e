// CLI11, which puts words of the command line into paths: words are in UTF-8, whatever the system's own encoding is.
// To be included before or instead of CLI11's header.
#pragma once

#include <filesystem>
#include <string>

namespace CLI::detail {

inline bool lexical_cast(const std::string& word, std::filesystem::path& path)
{
    path = std::filesystem::path(std::u8string(word.begin(), word.end()));
    return true;
}

} // namespace CLI::detail

#include <CLI/CLI.hpp>
