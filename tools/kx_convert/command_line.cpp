#include "command_line.h"

#include "text_numbers.h"

#include <CLI/CLI.hpp>
#include <korvex_kvi_color_processing.h>

#include <cmath>

namespace kx::convert {

namespace {

constexpr const char* description =
    "Converts 16-bit RGB images (TIFF with any number of pages, PNG) with the color processing library: input\n"
    "LUTs, matrix, rounding, clamp, output LUTs, shift, in this order. Without options the samples stay as they\n"
    "are. The output file appears, or replaces an older one, only when the conversion is complete.\n";

constexpr const char* footer =
    "\nLUT is the name of a curve or a text file:\n"
    "  linear     straight\n"
    "  srgb       the sRGB encoding of linear light\n"
    "  gamma:G    encodes with the exponent 1/G (gamma:2.2: x^(1/2.2)); gamma:0.4545 decodes\n"
    "  FILE       2^bits entries of 0 to 65535, one a line, or an index and a value a line;\n"
    "             blanks and commas separate, # begins a comment\n"
    "Curves span the whole table and deliver 0..65535 in input LUTs and the output's full range (0..255 or\n"
    "0..65535) in output LUTs; a file's entries are taken as they stand.\n"
    "\n"
    "What indexes an output LUT is the clamped result of the matrix. A table of 12 bits thus covers 0..4095,\n"
    "and larger results are clamped: scale 16-bit data with a matrix that has 0.0625 on its diagonal.\n"
    "\n"
    "Nothing wraps around: clamps and tables whose values would not fit the output samples are refused.\n"
    "\n"
    "Example: white balance and colour correction of 12-bit data, shown as an 8-bit sRGB picture\n"
    "  kx_convert stack.tif picture.tif --matrix-file camera.txt --matrix 1.8 0 0  0 1 0  0 0 1.5 \\\n"
    "             --output-lut srgb --output-lut-bits 12 --depth 8 --compression deflate --info\n";

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

// What an option of all channels and the three channels' own options gave.
template <typename Value>
struct channel_options {
    std::string name; // without dashes
    std::optional<Value> for_all;
    per_channel<std::optional<Value>> own;

    // Adds the four options.
    void add_to(CLI::App& app, const std::string& what, const std::string& type, const CLI::Validator& check)
    {
        add(app, "--" + name, for_all, what, type, check);
        for (std::size_t channel = 0; channel < own.size(); ++channel) {
            add(app, std::string("--") + channel_names[channel] + "-" + name, own[channel],
                std::string("The same for ") + channel_names[channel] + " alone", type, check);
        }
    }

    // A channel's own value comes before the value for all.
    template <typename Result, typename Convert>
    void collect(per_channel<std::optional<given<Result>>>& result, Convert convert) const
    {
        for (std::size_t channel = 0; channel < own.size(); ++channel) {
            const std::string own_name = std::string("--") + channel_names[channel] + "-" + name;
            if (own[channel]) {
                result[channel] = given<Result>{own_name, convert(own_name, *own[channel])};
            } else if (for_all) {
                result[channel] = given<Result>{"--" + name, convert("--" + name, *for_all)};
            }
        }
    }

private:
    static void add(CLI::App& app, const std::string& option, std::optional<Value>& value, const std::string& what,
                    const std::string& type, const CLI::Validator& check)
    {
        app.add_option(option, value, what)->type_name(type)->check(check)->group("Processing");
    }
};

clamp_range to_clamp(const std::string& option, const std::pair<int, int>& range)
{
    if (range.first > range.second) {
        throw option_error(option, "the minimum " + std::to_string(range.first) + " is above the maximum "
                                       + std::to_string(range.second));
    }
    return {static_cast<std::uint16_t>(range.first), static_cast<std::uint16_t>(range.second)};
}

const std::map<std::string, images::compression> compressions{
    {"none", images::compression::none}, {"lzw", images::compression::lzw}, {"deflate", images::compression::deflate}};

const std::map<std::string, std::optional<std::int32_t>> vector_levels{{"scalar", KX_COLOR_VECTOR_LEVEL_SCALAR},
                                                                       {"sse", KX_COLOR_VECTOR_LEVEL_SSE},
                                                                       {"avx2", KX_COLOR_VECTOR_LEVEL_AVX2},
                                                                       {"auto", std::nullopt}};

// The options while they are parsed. The help says in words what the validators would add to it, so their own
// descriptions are left out.
class options {
public:
    options()
    {
        add_files();
        add_matrices();
        add_tables();
        add_ranges();
        add_output();
        add_execution();
    }
    options(const options&) = delete; // the parser holds references to the members
    options& operator=(const options&) = delete;
    ~options() = default;

    CLI::App& parser() { return app_; }

    [[nodiscard]] settings result() const;

private:
    void add_files();
    void add_matrices();
    void add_tables();
    void add_ranges();
    void add_output();
    void add_execution();

    CLI::App app_{description, "kx_convert"};
    settings wanted_;
    channel_options<std::string> input_tables_{"input-lut", {}, {}};
    channel_options<std::string> output_tables_{"output-lut", {}, {}};
    channel_options<std::pair<int, int>> clamps_{"clamp", {}, {}};
    channel_options<int> shifts_{"shift", {}, {}};
    std::string compression_;
    std::string vector_level_ = "auto";
};

void options::add_files()
{
    app_.footer(footer);
    app_.set_version_flag("--version", "kx_convert " KX_VERSION, "Print the version and end");
    app_.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("kx_convert: ") + error.what() + "\nkx_convert --help lists the options.\n";
    });
    app_.get_formatter()->column_width(26);
    app_.add_option("input", wanted_.input, "Image to read: 16-bit RGB, TIFF or PNG")->required()->type_name("FILE");
    app_.add_option("output", wanted_.output, "Image to write: .tif, .tiff or .png")->required()->type_name("FILE");
}

// Each occurrence is taken as it is parsed, so that the two options keep their order among each other.
void options::add_matrices()
{
    app_.add_option_function<std::vector<std::string>>(
            "--matrix", [this](const auto& words) { wanted_.matrices.push_back(to_matrix("--matrix", words)); },
            "Append a matrix, row by row: rows are output red, green, blue,\n"
            "columns input red, green, blue. May be repeated, also with\n"
            "--matrix-file: M becomes M x A, the last one acts first")
        ->type_size(9)
        ->expected(1)
        ->type_name("N1 .. N9")
        ->trigger_on_parse()
        ->group("Processing");
    app_.add_option_function<std::string>(
            "--matrix-file", [this](const auto& file) { wanted_.matrices.push_back(read_matrix(file)); },
            "The same from a text file: nine numbers, separated by blanks\n"
            "or commas; # begins a comment")
        ->type_name("FILE")
        ->trigger_on_parse()
        ->group("Processing");
}

void options::add_tables()
{
    const CLI::Validator table_bits =
        CLI::Range(KX_COLOR_MIN_LUT_BIT_DEPTH, KX_COLOR_MAX_LUT_BIT_DEPTH).description("");
    const CLI::Validator any_text([](const std::string&) { return std::string(); }, "");
    input_tables_.add_to(app_, "LUT for the input samples of all channels", "LUT", any_text);
    app_.add_option("--input-lut-bits", wanted_.input_table_bits,
                    "Input LUTs have 2^BITS entries (BITS 0..16, by default 16);\n"
                    "larger samples are refused")
        ->type_name("BITS")
        ->check(table_bits)
        ->group("Processing");
    output_tables_.add_to(app_, "LUT for the clamped results of all channels", "LUT", any_text);
    app_.add_option("--output-lut-bits", wanted_.output_table_bits,
                    "Output LUTs have 2^BITS entries (BITS 0..16, by default 16)")
        ->type_name("BITS")
        ->check(table_bits)
        ->group("Processing");
}

void options::add_ranges()
{
    clamps_.add_to(app_,
                   "Range of the rounded results, before output LUT and shift, within\n"
                   "0..65535. Default: from 0 to the output LUT's last entry, or to the\n"
                   "largest value that fits the output samples after the shift",
                   "MIN MAX", CLI::Range(0, 65535).description(""));
    shifts_.add_to(app_,
                   "Shift the results left by D bits, right if D is negative (-15..15).\n"
                   "Default 0, but -8 for 8-bit output without output LUT",
                   "D", CLI::Range(KX_COLOR_MIN_SHIFT_DISTANCE, KX_COLOR_MAX_SHIFT_DISTANCE).description(""));
}

void options::add_output()
{
    app_.add_option("--depth", wanted_.depth, "Bits of an output sample: 16 (default) or 8")
        ->type_name("BITS")
        ->check(CLI::IsMember({8U, 16U}).description(""))
        ->group("Output");
    app_.add_option("--channels", wanted_.channels,
                    "Samples of an output pixel: 3 (default), or 4, the fourth\n"
                    "unspecified and 0 (TIFF only)")
        ->type_name("N")
        ->check(CLI::IsMember({3U, 4U}).description(""))
        ->group("Output");
    app_.add_flag("--planar", wanted_.planar, "Write separate planes (TIFF only)")->group("Output");
    app_.add_option("--compression", compression_, "none (default), lzw or deflate (TIFF only)")
        ->type_name("NAME")
        ->check(CLI::IsMember(compressions).description(""))
        ->group("Output");
}

void options::add_execution()
{
    app_.add_option("--vector-level", vector_level_, "Use at most these kernels: scalar, sse, avx2 or auto (default)")
        ->type_name("LEVEL")
        ->check(CLI::IsMember(vector_levels).description(""))
        ->group("Execution");
    app_.add_flag("--info", wanted_.info,
                  "Print the vector level and the speed of the library's work\n"
                  "alone, on standard output")
        ->group("Execution");
}

settings options::result() const
{
    settings result = wanted_;
    const auto as_given = [](const std::string&, const auto& value) { return value; };
    input_tables_.collect(result.input_tables, as_given);
    output_tables_.collect(result.output_tables, as_given);
    clamps_.collect(result.clamps, to_clamp);
    shifts_.collect(result.shifts, as_given);
    if (!compression_.empty()) {
        result.tiff_compression = compressions.at(compression_);
    }
    result.vector_level = vector_levels.at(vector_level_);
    return result;
}

} // namespace

std::variant<settings, int> parse_command_line(int count, char** arguments)
{
    options all;
    try {
        all.parser().parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        return all.parser().exit(error);
    }
    return all.result();
}

} // namespace kx::convert
