// kx_chart: makes a camera's profile from a photograph of a 24-patch colour chart, and judges pictures of the chart.
#include "commands.h"
#include "start/command_line_paths.h"
#include "start/start.h"

#include <korvex_kvi_color_processing.h>

#include <array>
#include <exception>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace {

using namespace kx::chart;

constexpr const char* program = "kx_chart " KX_COLOR_PROCESSING_VERSION;

// The options of a subcommand, for as long as the command line is parsed.
template <typename Command>
struct parsed {
    Command command;
    std::array<double, 8> corners{};
    std::vector<double> black_level;
    std::string tone_curve = "srgb";
};

template <typename Command>
void add_what_is_common(CLI::App& app, parsed<Command>& options)
{
    app.add_option("--corners", options.corners,
                   "The centres of the corner patches in pixels, once around the chart:\n"
                   "dark skin, bluish green, black, white")
        ->type_name("X,Y X,Y X,Y X,Y")
        ->delimiter(',')
        ->required();
    app.add_option("--reference", options.command.reference,
                   "Other published colours than the chart's own: a text file with\n"
                   "24 lines of name, L*, a*, b* (D50), row by row")
        ->type_name("FILE");
}

chart_corners to_corners(const std::array<double, 8>& numbers)
{
    chart_corners corners{};
    for (std::size_t corner = 0; corner < corners.size(); ++corner) {
        corners.at(corner) = {numbers.at(2 * corner), numbers.at(2 * corner + 1)};
    }
    return corners;
}

void add_calibrate(CLI::App& app)
{
    const std::map<std::string, matrix_fit> fits{{"white-preserving", matrix_fit::white_preserving},
                                                 {"least-squares", matrix_fit::least_squares}};
    CLI::App* const sub = app.add_subcommand("calibrate", "Make a camera's profile from a photograph of the chart");
    const auto options = std::make_shared<parsed<calibrate_command>>();
    calibrate_command& command = options->command;
    command.options.description = program;
    sub->add_option("PHOTOGRAPH", command.photograph,
                    "RGB of 16 or 8 bits, TIFF or PNG, linear, as the camera\ndelivers it")
        ->required();
    sub->add_option("PROFILE", command.profile, "Profile to write, JSON")->required();
    add_what_is_common(*sub, *options);
    sub->add_option("--bits", command.options.bits, "What the camera delivers: 8 to 16 bits, samples from 0 to 2^N - 1")
        ->type_name("N")
        ->check(CLI::Range(8, 16).description(""))
        ->required();
    CLI::Option* const dark =
        sub->add_option("--dark", command.dark_frame, "A picture taken without light, to find the black level")
            ->type_name("FILE");
    sub->add_option("--black-level", options->black_level,
                    "The black level of red, green and blue; without this and --dark it is\n"
                    "estimated from the grey patches")
        ->type_name("R G B")
        ->expected(3)
        ->excludes(dark);
    sub->add_option("--saturation", command.options.saturation,
                    "Samples from here on are over-exposed; by default the largest, 2^bits - 1")
        ->type_name("N")
        ->check(CLI::Range(1, 65535).description(""));
    sub->add_option("--fit", command.options.fit,
                    "white-preserving (default): greys stay grey, whatever that costs elsewhere;\n"
                    "least-squares: the smallest error over all patches")
        ->type_name("NAME")
        ->transform(CLI::CheckedTransformer(fits).description(""));
    sub->add_option("--report", command.report, "SVG picture to draw: each patch measured beside published")
        ->type_name("FILE");
    sub->add_option("--tone-curve", options->tone_curve,
                    "The profile's curve: linear, srgb (default), rec709, gamma:G, inverse:...")
        ->type_name("NAME");
    sub->add_option("--depth", command.options.output_depth, "The profile's output depth: 8 (default) or 16")
        ->type_name("BITS")
        ->check(CLI::IsMember({8, 16}).description(""));
    sub->add_option("--description", command.options.description, "The profile's description, by default what made it")
        ->type_name("TEXT");
    sub->add_flag("--force", command.force, "Write the profile also when the colours do not fit");
    sub->add_flag("--overwrite", command.overwrite, "Replace profile and report that are there already");
    sub->callback([options] {
        calibrate_command wanted = options->command;
        wanted.corners = to_corners(options->corners);
        wanted.options.tone_curve = kx::profile::tone_curve::named(options->tone_curve);
        if (const auto& black = options->black_level; !black.empty()) {
            wanted.options.black_level = {black.at(0), black.at(1), black.at(2)};
        }
        run(wanted);
    });
}

void add_judge(CLI::App& app)
{
    CLI::App* const sub =
        app.add_subcommand("judge", "Compare a converted picture of the chart with published colours");
    const auto options = std::make_shared<parsed<judge_command>>();
    sub->add_option("PICTURE", options->command.picture, "sRGB of 16 or 8 bits, TIFF or PNG")->required();
    add_what_is_common(*sub, *options);
    sub->add_option("--max-mean", options->command.max_mean, "Fail unless the mean CIEDE2000 is below this")
        ->type_name("DIFFERENCE")
        ->check(CLI::PositiveNumber.description(""));
    sub->callback([options] {
        options->command.corners = to_corners(options->corners);
        run(options->command);
    });
}

} // namespace

int main(int argc, char** argv)
try {
    CLI::App app("Camera profiles from photographs of a 24-patch colour chart", "kx_chart");
    app.set_version_flag("--version", program, "Print the version and end");
    app.set_help_all_flag("--help-all", "Print the help messages of all subcommands and exit");
    app.allow_windows_style_options(false); // a word that begins with / is a path
    app.require_subcommand(1);
    add_calibrate(app);
    add_judge(app);
    try {
        const std::vector<char*> words = kx::start_program(argc, argv);
        app.parse(static_cast<int>(words.size()), words.data());
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "kx_chart: " << error.what() << '\n';
    return 1;
}
