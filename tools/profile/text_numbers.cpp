#include "text_numbers.h"

#include "files/text_file.h"

#include <algorithm>
#include <sstream>

namespace kx::profile {

std::vector<text_line> read_words(const std::filesystem::path& file)
{
    std::istringstream stream(files::read_text(file));
    std::vector<text_line> lines;
    std::string text;
    for (std::size_t number = 1; std::getline(stream, text); ++number) {
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
    return lines;
}

} // namespace kx::profile
