#include "lookup_table.h"

#include "curve_file.h"
#include "text_numbers.h"

#include "profile/profile_error.h"
#include "profile/tone_curve.h"

#include <cmath>
#include <functional>

namespace kx::convert {

namespace {

// Maps 0..1 to 0..1.
using curve = std::function<double(double)>;

curve curve_named(const given<std::string>& source)
{
    try {
        return profile::tone_curve::named(source.value);
    } catch (const profile::profile_error& error) {
        const std::string& name = source.value;
        if (name.starts_with("gamma:") || name.starts_with("inverse:")) {
            throw option_error(source.option, error.reason());
        }
        return nullptr; // a file
    }
}

std::vector<std::uint32_t> read_table(const given<std::string>& source, std::size_t entries)
{
    const auto refuse = [&source](const std::string& reason) -> void {
        throw option_error(source.option, source.value + reason);
    };
    const std::vector<text_line> lines = read_words(source.option, source.value);
    if (lines.size() != entries) {
        refuse(" has " + std::to_string(lines.size()) + " entries, but the table takes " + std::to_string(entries)
               + " (see the option for the table's bits)");
    }
    std::vector<std::uint32_t> table(entries);
    std::vector<bool> seen(entries);
    for (std::size_t place = 0; place < lines.size(); ++place) {
        const auto& [number, words] = lines[place];
        const std::string where = ", line " + std::to_string(number) + ": ";
        if (words.size() > 2 || words.size() != lines.front().words.size()) {
            refuse(where + "every line needs one value, or every line an index and a value");
        }
        const auto index = words.size() == 2 ? parse_number<std::size_t>(words.front()) : place;
        if (!index || *index >= entries || seen[*index]) {
            refuse(where + "'" + words.front() + "' is not an index from 0 to " + std::to_string(entries - 1)
                   + ", or was there before");
        }
        const auto value = parse_number<std::uint16_t>(words.back());
        if (!value) {
            refuse(where + "'" + words.back() + "' is not a whole number from 0 to 65535");
        }
        table[*index] = *value;
        seen[*index] = true;
    }
    return table;
}

} // namespace

std::vector<std::uint32_t> make_lookup_table(const given<std::string>& source, std::size_t channel, int bits,
                                             std::uint32_t full_scale)
{
    const std::size_t entries = std::size_t{1} << bits;
    curve shape = curve_named(source);
    if (shape == nullptr) {
        const auto from_file = read_curve_file(source, channel);
        if (!from_file) {
            return read_table(source, entries);
        }
        shape = *from_file;
    }
    std::vector<std::uint32_t> table(entries);
    for (std::size_t index = 0; index < entries; ++index) {
        const double x = entries == 1 ? 0.0 : static_cast<double>(index) / static_cast<double>(entries - 1);
        table[index] = static_cast<std::uint32_t>(std::lround(shape(x) * full_scale));
    }
    return table;
}

} // namespace kx::convert
