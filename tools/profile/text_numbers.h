// Numbers from command lines and from text files.
#pragma once

#include <charconv>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kx::profile {

// The number that the whole text stands for, or nothing.
template <typename Number>
std::optional<Number> parse_number(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-")) {
        text.remove_prefix(1);
    }
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size()) {
        return std::nullopt;
    }
    return number;
}

struct text_line {
    std::size_t number; // from 1 on
    std::vector<std::string> words;
};

// The lines of a text file that hold anything: words separated by blanks or commas, comments from # on left out.
// Throws files::file_error.
std::vector<text_line> read_words(const std::filesystem::path& file);

} // namespace kx::profile
