#include "lookup_table.h"

#include "camera.h"
#include "curve_file.h"

#include "profile/library_settings.h"
#include "profile/text_numbers.h"

namespace kx::convert {

namespace {

std::vector<std::uint32_t> read_table(const std::filesystem::path& file, std::size_t entries)
{
    const auto refuse = [&file](const std::string& reason) -> void {
        throw std::runtime_error(file.string() + reason);
    };
    const std::vector<profile::text_line> lines = profile::read_words(file);
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
        const auto index = words.size() == 2 ? profile::parse_number<std::size_t>(words.front()) : place;
        if (!index || *index >= entries || seen[*index]) {
            refuse(where + "'" + words.front() + "' is not an index from 0 to " + std::to_string(entries - 1)
                   + ", or was there before");
        }
        const auto value = profile::parse_number<std::uint16_t>(words.back());
        if (!value) {
            refuse(where + "'" + words.back() + "' is not a whole number from 0 to 65535");
        }
        table[*index] = *value;
        seen[*index] = true;
    }
    return table;
}

} // namespace

std::vector<std::uint32_t> make_lookup_table(const std::string& source, std::size_t channel, int bits,
                                             std::uint32_t full_scale)
{
    if (const auto curve = find_curve(source)) {
        return profile::make_LUT(*curve, bits, full_scale);
    }
    const std::filesystem::path file(std::u8string(source.begin(), source.end()));
    if (const auto curve = read_curve_file(file, channel)) {
        return profile::make_LUT(*curve, bits, full_scale);
    }
    return read_table(file, std::size_t{1} << bits);
}

} // namespace kx::convert
