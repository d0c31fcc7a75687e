#include "command_line.h"

#include "camera_options.h"
#include "option_groups.h"

namespace kx::convert {

namespace {

constexpr const char* description =
    "Converts 16-bit RGB images (TIFF with any number of pages, PNG): input LUTs, matrix, rounding, clamp,\n"
    "output LUTs, shift, in this order. Without options the samples stay as they are.";

constexpr const char* footer =
    "LUT is a curve that spans the table and the output's range: linear, srgb, rec709, gamma:G (the exponent 1/G),\n"
    "inverse: and one of these, or a file: .cube (1D), .spi1d, or text with numbers from 0.0 to 1.0 at equal steps.\n"
    "Or it is a text file of 2^BITS entries of 0..65535, one a line, or an index and a value a line, taken as they\n"
    "stand. What indexes an output LUT is the clamped result of the matrix.\n"
    "--input-lut, --output-lut, --clamp and --shift also come for one channel: --red-clamp 0 4000.\n"
    "Exit codes: 0 all converted, 1 a file failed, 2 the options cannot be followed.";

// Without CLI11's second empty line before each group: the help should fit two screens.
class help_formatter : public CLI::Formatter {
public:
    help_formatter() { column_width(27); }

    [[nodiscard]] std::string make_group(std::string group, bool is_positional,
                                         std::vector<const CLI::Option*> shown) const override
    {
        const std::string text = CLI::Formatter::make_group(std::move(group), is_positional, std::move(shown));
        return text.empty() ? text : text.substr(1);
    }
};

} // namespace

std::variant<settings, int> parse_command_line(int count, char** arguments)
{
    CLI::App app{description, "kx_convert"};
    app.footer(footer);
    app.set_version_flag("--version", "kx_convert " KX_VERSION, "Print the version and end");
    app.failure_message([](const CLI::App*, const CLI::Error& error) {
        return std::string("kx_convert: ") + error.what() + "\nkx_convert --help lists the options.\n";
    });
    app.formatter(std::make_shared<help_formatter>());

    const file_options files(app);
    const camera_options camera(app);
    const processing_options processing(app);
    const output_options output(app);
    try {
        app.parse(count, arguments);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : wrong_command_line;
    }
    settings wanted;
    files.put_into(wanted);
    processing.put_into(wanted);
    output.put_into(wanted);
    camera.put_into(wanted);
    return wanted;
}

} // namespace kx::convert
