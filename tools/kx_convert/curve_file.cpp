#include "curve_file.h"

#include "profile/text_numbers.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace kx::convert {

namespace {

constexpr std::size_t most_values = 65536;

// Throws with the file and, if not 0, the line in front.
[[noreturn]] void refuse(const std::filesystem::path& file, std::size_t line, const std::string& reason)
{
    throw std::runtime_error(file.string() + (line == 0 ? "" : ", line " + std::to_string(line)) + ": " + reason);
}

double to_number(const std::filesystem::path& file, std::size_t line, const std::string& word)
{
    const auto number = profile::parse_number<double>(word);
    if (!number || !std::isfinite(*number)) {
        refuse(file, line, "'" + word + "' is not a number");
    }
    return *number;
}

std::size_t to_size(const std::filesystem::path& file, const profile::text_line& line)
{
    const auto size = line.words.size() == 2 ? profile::parse_number<std::size_t>(line.words[1]) : std::nullopt;
    if (!size || *size < 2 || *size > most_values) {
        refuse(file, line.number, line.words[0] + " needs a number from 2 to 65536");
    }
    return *size;
}

// What a file says before and around its rows of numbers.
struct curve_table {
    sampled_curve curve;
    std::optional<std::size_t> size;
    std::size_t columns = 0;

    void add_row(const std::filesystem::path& file, const profile::text_line& line, std::size_t channel)
    {
        if (columns == 0) {
            columns = line.words.size();
        }
        if (line.words.size() != columns || (columns != 1 && columns != 3)) {
            refuse(file, line.number, "every row needs one number, or every row three: red, green, blue");
        }
        const double value = to_number(file, line.number, columns == 1 ? line.words[0] : line.words[channel]);
        if (!(value >= 0.0 && value <= 1.0)) {
            refuse(file, line.number, "values go from 0 to 1");
        }
        curve.values.push_back(value);
    }

    [[nodiscard]] sampled_curve finished(const std::filesystem::path& file) const
    {
        const std::size_t count = curve.values.size();
        if (count < 2 || count > most_values || (size && count != *size)) {
            refuse(file, 0,
                   "has " + std::to_string(count) + " rows; there should be "
                       + (size ? std::to_string(*size) : "2 to 65536"));
        }
        if (!(curve.from < curve.to)) {
            refuse(file, 0, "its input range is empty");
        }
        return curve;
    }
};

// Keywords, then rows of three numbers.
sampled_curve read_cube(const std::filesystem::path& file, const std::vector<profile::text_line>& lines,
                        std::size_t channel)
{
    curve_table table;
    for (const profile::text_line& line : lines) {
        const std::string& keyword = line.words[0];
        const auto number = [&](std::size_t place) {
            if (place >= line.words.size()) {
                refuse(file, line.number, keyword + " needs more numbers");
            }
            return to_number(file, line.number, line.words[place]);
        };
        if (keyword == "TITLE") {
            continue;
        }
        if (keyword == "LUT_1D_SIZE") {
            table.size = to_size(file, line);
        } else if (keyword == "DOMAIN_MIN") {
            table.curve.from = number(channel + 1);
        } else if (keyword == "DOMAIN_MAX") {
            table.curve.to = number(channel + 1);
        } else if (keyword == "LUT_1D_INPUT_RANGE") {
            table.curve.from = number(1);
            table.curve.to = number(2);
        } else if (keyword == "LUT_3D_SIZE") {
            refuse(file, line.number, "a 3D table mixes channels; only 1D tables can be used");
        } else {
            table.add_row(file, line, channel);
        }
    }
    if (!table.size) {
        refuse(file, 0, "has no LUT_1D_SIZE");
    }
    return table.finished(file);
}

// Version, From, Length and Components, then the rows between braces.
sampled_curve read_spi1d(const std::filesystem::path& file, const std::vector<profile::text_line>& lines,
                         std::size_t channel)
{
    curve_table table;
    bool in_rows = false;
    for (const profile::text_line& line : lines) {
        const std::string& keyword = line.words[0];
        if (keyword == "Version") {
            continue;
        }
        if (keyword == "From" && line.words.size() == 3) {
            table.curve.from = to_number(file, line.number, line.words[1]);
            table.curve.to = to_number(file, line.number, line.words[2]);
        } else if (keyword == "Length") {
            table.size = to_size(file, line);
        } else if (keyword == "Components" && line.words.size() == 2
                   && (line.words[1] == "1" || line.words[1] == "3")) {
            table.columns = line.words[1] == "1" ? 1 : 3;
        } else if (keyword == "{" || keyword == "}") {
            in_rows = keyword == "{";
        } else if (in_rows) {
            table.add_row(file, line, channel);
        } else {
            refuse(file, line.number, "'" + keyword + "' has no place in a .spi1d file, or lacks its numbers");
        }
    }
    if (!table.size) {
        refuse(file, 0, "has no Length");
    }
    return table.finished(file);
}

bool has_decimal_point(const std::vector<profile::text_line>& lines)
{
    return std::ranges::any_of(lines, [](const profile::text_line& line) {
        return std::ranges::any_of(line.words, [](const std::string& word) { return word.find('.') != word.npos; });
    });
}

} // namespace

double sampled_curve::operator()(double x) const
{
    const auto last = static_cast<double>(values.size() - 1);
    const double place = std::clamp((x - from) / (to - from), 0.0, 1.0) * last;
    const auto before = std::min(static_cast<std::size_t>(place), values.size() - 2);
    return std::lerp(values[before], values[before + 1], place - static_cast<double>(before));
}

std::optional<sampled_curve> read_curve_file(const std::filesystem::path& file, std::size_t channel)
{
    const std::vector<profile::text_line> lines = profile::read_words(file);
    const std::string suffix = file.extension().string();
    if (suffix == ".cube") {
        return read_cube(file, lines, channel);
    }
    if (suffix == ".spi1d") {
        return read_spi1d(file, lines, channel);
    }
    if (!has_decimal_point(lines)) {
        return std::nullopt;
    }
    curve_table table;
    for (const profile::text_line& line : lines) {
        table.add_row(file, line, channel);
    }
    return table.finished(file);
}

} // namespace kx::convert
