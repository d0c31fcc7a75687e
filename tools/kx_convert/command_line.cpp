#include "command_line.h"

#include "profile/text_numbers.h"
#include "start/command_line_paths.h"
#include "vector_levels.h"

#include <korvex_kvi_color_processing.h>

#include <map>
#include <sstream>

namespace kx::convert {

namespace {

constexpr const char* description =
    "Converts RGB images of 16- or 8-bit samples (TIFF with any number of pages, PNG): input LUTs, matrix, rounding,\n"
    "clamp, output LUTs, shift, in this order, as docs/profiles.md says.\n"
    "Without options samples of 16 bits stay as they are, and those of 8 bits are spread over 16 bits.";

constexpr const char* footer =
    "LUT is a curve that spans the table and the output's range: linear, srgb, rec709, gamma:G (the exponent 1/G),\n"
    "inverse: and one of these, or a file: .cube (1D), .spi1d, or text with numbers from 0.0 to 1.0 at equal steps.\n"
    "Or it is a text file of 2^BITS entries of 0..65535, one a line, or an index and a value a line, taken as they\n"
    "stand. What indexes an output LUT is the clamped result of the matrix.\n"
    "--input-lut, --output-lut, --clamp and --shift also come for one channel: --red-clamp 0 4000.\n"
    "Exit codes: 0 all converted, 1 a file failed, 2 the options cannot be followed.";

const std::map<std::string, images::file_type> file_types{{"tiff", images::file_type::tiff},
                                                          {"png", images::file_type::png}};

const std::map<std::string, images::compression> compressions{{"none", images::compression::none},
                                                              {"lzw", images::compression::lzw},
                                                              {"deflate", images::compression::deflate},
                                                              {"zstd", images::compression::zstd}};

const std::map<std::string, std::optional<std::int32_t>> vector_levels = [] {
    std::map<std::string, std::optional<std::int32_t>> levels{{"auto", std::nullopt}};
    for (std::size_t level = 0; level < vector_level_names.size(); ++level) {
        levels.emplace(vector_level_names[level], static_cast<std::int32_t>(level));
    }
    return levels;
}();

constexpr const char* hidden_group = "hidden"; // the parser's own hidden options have no names in its messages
constexpr std::string_view area_mark = "auto:";
constexpr const char* area_option = "--white-balance-area";

// Without the hidden options, and without CLI11's second empty line before each group.
class help_formatter : public CLI::Formatter {
public:
    help_formatter() { column_width(27); }

    [[nodiscard]] std::string make_group(std::string group, bool is_positional,
                                         std::vector<const CLI::Option*> shown) const override
    {
        if (group == hidden_group) {
            return "";
        }
        const std::string text = CLI::Formatter::make_group(std::move(group), is_positional, std::move(shown));
        return text.empty() ? text : text.substr(1);
    }
};

// The help says in words what the validators would add to it.
template <typename Number>
CLI::Validator between(Number least, Number most)
{
    return CLI::Range(least, most).description("");
}

// An option whose words stand for values.
template <typename Target, typename Value>
CLI::Option* add_choice(CLI::App& app, const std::string& name, Target& target,
                        const std::map<std::string, Value>& choices, const std::string& help)
{
    return app
        .add_option_function<std::string>(
            name, [&target, &choices](const std::string& word) { target = choices.at(word); }, help)
        ->check(CLI::IsMember(choices).description(""))
        ->type_name("NAME");
}

// An option that exists four times: for all channels, and hidden from the help for each alone.
template <typename Value>
void add_channel_option(CLI::App& app, const std::string& name, channel_option<Value>& target, const std::string& type,
                        const CLI::Validator& check, const std::string& help)
{
    app.add_option("--" + name, target.all, help)->type_name(type)->check(check);
    for (std::size_t channel = 0; channel < channel_names.size(); ++channel) {
        app.add_option(std::string("--") + channel_names.at(channel) + "-" + name, target.own.at(channel))
            ->check(check)
            ->group(hidden_group);
    }
}

// 1-10,50 or 7-
std::vector<page_range> to_pages(const std::string& text)
{
    std::vector<page_range> pages;
    std::istringstream ranges(text);
    for (std::string range; std::getline(ranges, range, ',');) {
        const std::size_t dash = range.find('-');
        const auto first = profile::parse_number<std::uint32_t>(range.substr(0, dash));
        const auto last = dash == std::string::npos  ? first
                          : dash + 1 == range.size() ? std::optional(open_end)
                                                     : profile::parse_number<std::uint32_t>(range.substr(dash + 1));
        if (!first || !last || *first == 0 || *first > *last) {
            throw option_error("--pages", "'" + range + "' is no page and no range of pages, such as 1-10 or 7-");
        }
        pages.push_back({*first, *last});
    }
    return pages;
}

using nine_numbers = std::array<double, 9>;

// The product with what was given before, in the order in which a processor would form it.
void append_matrix(settings& wanted, const nine_numbers& factor)
{
    const profile::color_matrix before = wanted.matrix.value_or(profile::identity_matrix);
    profile::color_matrix& product = wanted.matrix.emplace();
    for (std::size_t row = 0; row < 3; ++row) {
        for (std::size_t column = 0; column < 3; ++column) {
            for (std::size_t inner = 0; inner < 3; ++inner) {
                product.at(row).at(column) += before.at(row).at(inner) * factor.at(3 * inner + column);
            }
        }
    }
}

double to_number(const std::string& word, const std::filesystem::path& file)
{
    if (const auto number = profile::parse_number<double>(word)) {
        return *number;
    }
    throw std::runtime_error(file.string() + ": '" + word + "' is not a number");
}

nine_numbers read_matrix(const std::filesystem::path& file)
try {
    nine_numbers matrix{};
    std::size_t count = 0;
    for (const profile::text_line& line : profile::read_words(file)) {
        for (const std::string& word : line.words) {
            matrix.at(std::min<std::size_t>(count++, 8)) = to_number(word, file);
        }
    }
    if (count != matrix.size()) {
        throw std::runtime_error(file.string() + ": a matrix needs nine numbers, not " + std::to_string(count));
    }
    return matrix;
} catch (const std::runtime_error& error) {
    throw option_error("--matrix-file", error.what());
}

void add_file_options(CLI::App& app, settings& wanted)
{
    app.add_option("files", wanted.inputs, "Images to read, or folders of them; without -o the last one is the output")
        ->required()
        ->type_name("");
    app.option_defaults()->group("Files");
    app.add_option("-o,--output", wanted.output,
                   "File to write, or folder, where names are kept; it is made if need be")
        ->type_name("PATH");
    add_choice(app, "--format", wanted.output_format, file_types, "tiff or png, in a folder (default: as the input)");
    app.add_option_function<std::string>(
           "--pages", [&wanted](const std::string& list) { wanted.pages = to_pages(list); },
           "Convert these pages only: 1-10,50 or 7-")
        ->type_name("LIST");
    app.add_flag("--channel-pages", wanted.channel_pages, "Three grey pages of a TIFF are red, green and blue");
    CLI::Option* const overwrite = app.add_flag("--overwrite", wanted.overwrite, "Replace outputs that exist");
    app.add_flag("--skip-existing", wanted.skip_existing, "Leave files out whose output exists: resumes a run")
        ->excludes(overwrite);
    app.add_flag("--stop-at-error", wanted.stop_at_error, "Begin no further file once one has failed");
    app.add_flag("--strict", wanted.strict, "What cannot be carried over is an error, and no output is written");
    app.add_flag("--sync", wanted.sync, "Wait until outputs are on the disk");
    app.add_flag("--dry-run", wanted.dry_run,
                 "Say what would be read, written and lost: outputs are made, but not kept");
}

void add_camera_options(CLI::App& app, settings& wanted)
{
    app.option_defaults()->group("Camera");
    app.add_option("--profile", wanted.profile,
                   "The camera's profile (JSON, docs/profiles.md); other options override its members")
        ->type_name("FILE");
    app.add_option("--input-bits", wanted.bits, "Bits that the camera delivers (8..16; default: the file's)")
        ->type_name("N");
    app.add_option("--black-level", wanted.black_level, "Samples without light: red, green, blue")->type_name("R G B");
    app.add_option("--white-balance", wanted.white_balance,
                   "Gains, or auto:X,Y,W,H: from a neutral area of each file's first page")
        ->type_name("R G B");
    app.add_option_function<std::array<std::uint32_t, 4>>(
           area_option,
           [&wanted](const auto& area) {
               wanted.balance_area = profile::pixel_area{area[0], area[1], area[2], area[3]};
           })
        ->delimiter(',')
        ->group(hidden_group);
}

void add_processing_options(CLI::App& app, settings& wanted)
{
    app.option_defaults()->group("Processing");
    const CLI::Validator any_text;
    // Each matrix is taken as it is parsed, so that the two options keep their order among each other.
    app.add_option_function<nine_numbers>(
           "--matrix", [&wanted](const nine_numbers& factor) { append_matrix(wanted, factor); },
           "Append a matrix by rows, red first; may be repeated: M becomes M x A")
        ->type_name("N1 .. N9")
        ->trigger_on_parse();
    app.add_option_function<std::filesystem::path>(
           "--matrix-file", [&wanted](const std::filesystem::path& file) { append_matrix(wanted, read_matrix(file)); },
           "The same from a text file")
        ->type_name("FILE")
        ->trigger_on_parse();
    add_channel_option(app, "input-lut", wanted.input_LUTs, "LUT", any_text,
                       "LUT for the input samples, in place of black level and balance");
    add_channel_option(app, "output-lut", wanted.output_LUTs, "LUT", any_text, "LUT for the clamped results");
    app.add_option("--output-lut-bits", wanted.output_LUT_bits,
                   "Output LUTs have 2^BITS entries (1..16; default: 16, for 8-bit output input bits, at least 12)")
        ->type_name("BITS")
        ->check(between(1, KX_COLOR_MAX_LUT_BIT_DEPTH));
    add_channel_option(app, "clamp", wanted.clamps, "MIN MAX", between(0, 65535),
                       "Range of the rounded results, within 0..65535; default: all that fits the output");
    add_channel_option(app, "shift", wanted.shifts, "D",
                       between(KX_COLOR_MIN_SHIFT_DISTANCE, KX_COLOR_MAX_SHIFT_DISTANCE),
                       "Shift the results left, or right if D is negative (-15..15)");
}

void add_output_options(CLI::App& app, settings& wanted)
{
    app.option_defaults()->group("Output and execution");
    app.add_option("--depth", wanted.depth, "Bits of an output sample: 16 (default) or 8")
        ->type_name("BITS")
        ->check(CLI::IsMember({8, 16}).description(""));
    app.add_option("--channels", wanted.channels,
                   "Samples of an output pixel: 3 (default), or 4, the fourth 0 (TIFF only)")
        ->type_name("N")
        ->check(between(3U, 4U));
    app.add_flag("--planar", wanted.planar, "Write separate planes (TIFF only)");
    add_choice(app, "--compression", wanted.tiff_compression, compressions,
               "none, lzw, deflate or zstd (TIFF only; default: the input's, if it is lossless)");
    app.add_option("--level", wanted.level,
                   "Effort of compression: PNG 0..9 (default 1), deflate 1..9 (6), zstd 1..22 (3)")
        ->type_name("N")
        ->check(between(0, 22));
    app.add_flag("--bigtiff", wanted.big_tiff, "Write a BigTIFF, whatever the size; larger than 4 GB they always are");
    app.add_option("--threads", wanted.threads, "Convert with N threads (default: one for each processor core)")
        ->type_name("N")
        ->check(between(1U, 256U));
    add_choice(app, "--vector-level", wanted.vector_level, vector_levels,
               "Use at most these kernels: auto (default), or what this processor has of scalar, sse, avx2 and neon");
    app.add_flag("--info", wanted.info, "Print the times and the clipped samples");
    app.add_flag("--quiet", wanted.quiet, "No progress, warnings and summary");
}

// Without -o the last of the files is the output.
void find_output(settings& wanted)
{
    if (!wanted.output.empty()) {
        return;
    }
    if (wanted.inputs.size() < 2) {
        throw option_error("output", "is missing: name a file to write");
    }
    wanted.output = std::move(wanted.inputs.back());
    wanted.inputs.pop_back();
}

// The last word first, as the parser takes them. --white-balance has one word or three: the one gets a name of its own.
std::vector<std::string> reversed_words(int count, char** arguments)
{
    std::vector<std::string> words;
    for (int place = 1; place < count; ++place) {
        std::string word = arguments[place];
        if (!words.empty() && words.back() == "--white-balance" && word.starts_with(area_mark)) {
            words.back() = area_option;
            word.erase(0, area_mark.size());
        }
        words.push_back(word);
    }
    std::ranges::reverse(words);
    return words;
}

} // namespace

std::variant<settings, int> parse_command_line(int count, char** arguments)
{
    CLI::App app{description, "kx_convert"};
    app.footer(footer);
    app.allow_windows_style_options(false); // a word that begins with / is a path
    app.set_version_flag("--version", "kx_convert " KX_VERSION, "Print the version and end");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("kx_convert: ") + error.what() + "\nkx_convert --help lists the options.\n";
    });
    app.formatter(std::make_shared<help_formatter>());

    settings wanted;
    add_file_options(app, wanted);
    add_camera_options(app, wanted);
    add_processing_options(app, wanted);
    add_output_options(app, wanted);
    try {
        app.parse(reversed_words(count, arguments));
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrong_command_line;
    }
    find_output(wanted);
    return wanted;
}

} // namespace kx::convert
