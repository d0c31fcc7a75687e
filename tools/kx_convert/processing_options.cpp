#include "option_groups.h"
#include "text_numbers.h"

#include <korvex_kvi_color_processing.h>

#include <cmath>

namespace kx::convert {

namespace {

constexpr const char* processing_group = "Processing";

matrix to_matrix(const std::string& option, const std::vector<std::string>& words)
{
    if (words.size() != 9) {
        throw option_error(option, "a matrix needs nine numbers, not " + std::to_string(words.size()));
    }
    matrix result{};
    for (std::size_t place = 0; place < result.size(); ++place) {
        const auto number = parse_number<float>(words[place]);
        if (!number || !std::isfinite(*number)) {
            throw option_error(option, "'" + words[place] + "' is not a number for a matrix");
        }
        result.at(place) = *number;
    }
    return result;
}

matrix read_matrix(const std::string& file)
{
    std::vector<std::string> words;
    for (const text_line& line : read_words("--matrix-file", file)) {
        words.insert(words.end(), line.words.begin(), line.words.end());
    }
    return to_matrix("--matrix-file: " + file, words);
}

clamp_range to_clamp(const std::string& option, const std::pair<int, int>& range)
{
    if (range.first > range.second) {
        throw option_error(option, "the minimum " + std::to_string(range.first) + " is above the maximum "
                                       + std::to_string(range.second));
    }
    return {static_cast<std::uint16_t>(range.first), static_cast<std::uint16_t>(range.second)};
}

CLI::Validator any_text()
{
    return {[](const std::string&) { return std::string(); }, ""};
}

CLI::Validator between(int least, int most)
{
    return CLI::Range(least, most).description("");
}

} // namespace

processing_options::processing_options(CLI::App& app)
    : input_tables_(app, "input-lut", "LUT for the input samples", "LUT", any_text()),
      output_tables_(app, "output-lut", "LUT for the clamped results", "LUT", any_text()),
      clamps_(app, "clamp", "Range of the rounded results, within 0..65535; default: all that fits the output",
              "MIN MAX", between(0, 65535)),
      shifts_(app, "shift", "Shift the results left, or right if D is negative (-15..15); default: to the depth", "D",
              between(KX_COLOR_MIN_SHIFT_DISTANCE, KX_COLOR_MAX_SHIFT_DISTANCE))
{
    add_matrices(app);
    app.add_option("--input-bits", input_bits_,
                   "Bits that the camera delivers (1..16): scales to the output and its LUTs")
        ->type_name("N")
        ->check(between(1, 16))
        ->group(processing_group);
    const CLI::Validator table_bits = between(KX_COLOR_MIN_LUT_BIT_DEPTH, KX_COLOR_MAX_LUT_BIT_DEPTH);
    app.add_option("--input-lut-bits", input_table_bits_, "Input LUTs have 2^BITS entries (0..16, default: input bits)")
        ->type_name("BITS")
        ->check(table_bits)
        ->group(processing_group);
    app.add_option("--output-lut-bits", output_table_bits_,
                   "Output LUTs have 2^BITS entries (0..16, default: 16 or input bits)")
        ->type_name("BITS")
        ->check(table_bits)
        ->group(processing_group);
}

// Each occurrence is taken as it is parsed, so that the two options keep their order among each other.
void processing_options::add_matrices(CLI::App& app)
{
    app.add_option_function<std::vector<std::string>>(
           "--matrix", [this](const auto& words) { matrices_.push_back(to_matrix("--matrix", words)); },
           "Append a matrix by rows, red first; may be repeated: M becomes M x A")
        ->type_size(9)
        ->expected(1)
        ->type_name("N1 .. N9")
        ->trigger_on_parse()
        ->group(processing_group);
    app.add_option_function<std::string>(
           "--matrix-file", [this](const auto& file) { matrices_.push_back(read_matrix(file)); },
           "The same from a text file")
        ->type_name("FILE")
        ->trigger_on_parse()
        ->group(processing_group);
}

void processing_options::put_into(settings& wanted) const
{
    const auto as_given = [](const std::string&, const auto& value) { return value; };
    wanted.input_bits = input_bits_;
    wanted.matrices = matrices_;
    input_tables_.collect(wanted.input_tables, as_given);
    wanted.input_table_bits = input_table_bits_;
    output_tables_.collect(wanted.output_tables, as_given);
    wanted.output_table_bits = output_table_bits_;
    clamps_.collect(wanted.clamps, to_clamp);
    shifts_.collect(wanted.shifts, as_given);
}

} // namespace kx::convert
