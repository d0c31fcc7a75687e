#include "text_numbers.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace kx::convert {

std::vector<text_line> read_words(const std::filesystem::path& file)
{
    errno = 0;
    std::ifstream stream(file);
    if (!stream) {
        throw std::runtime_error(file.string() + " cannot be opened: " + std::strerror(errno));
    }
    std::vector<text_line> lines;
    std::string text;
    for (std::size_t number = 1; std::getline(stream, text); ++number) {
        if (number == 1 && text.starts_with("\xEF\xBB\xBF")) { // a byte-order mark
            text.erase(0, 3);
        }
        text.erase(std::min(text.find('#'), text.size()));
        std::ranges::replace(text, ',', ' ');
        std::istringstream words(text);
        text_line line{number, {}};
        for (std::string word; words >> word;) {
            line.words.push_back(word);
        }
        if (!line.words.empty()) {
            lines.push_back(std::move(line));
        }
    }
    if (stream.bad()) { // a directory, for one, opens but cannot be read
        throw std::runtime_error(file.string() + " cannot be read: " + std::strerror(errno));
    }
    return lines;
}

} // namespace kx::convert
