// kx_chart: makes a camera's profile from a photograph of a 24-patch colour chart, and judges pictures of the chart.
#include "commands.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <string>
#include <vector>

namespace {

using namespace kx::chart;

// A subcommand's options, for as long as the command line is parsed.
template <typename Command>
struct parsed {
    Command command;
    std::vector<double> corners;
    std::vector<double> black_level;
    std::string tone_curve = "srgb";
};

void add_bits(CLI::App& app, int& bits)
{
    app.add_option("--bits", bits, "What the camera delivers: 8 to 16 bits, samples from 0 to 2^N - 1")
        ->type_name("N")
        ->check(CLI::Range(8, 16).description(""))
        ->required();
}

void add_corners(CLI::App& app, std::vector<double>& corners)
{
    app.add_option("--corners", corners,
                   "The centres of the corner patches in pixels, once around the chart:\n"
                   "dark skin, bluish green, black, white")
        ->type_name("X,Y X,Y X,Y X,Y")
        ->delimiter(',')
        ->expected(8)
        ->required();
}

chart_corners to_corners(const std::vector<double>& numbers)
{
    chart_corners corners{};
    for (std::size_t corner = 0; corner < corners.size(); ++corner) {
        corners.at(corner) = {numbers.at(2 * corner), numbers.at(2 * corner + 1)};
    }
    return corners;
}

void add_reference(CLI::App& app, std::filesystem::path& reference)
{
    app.add_option("--reference", reference,
                   "Other published colours than the chart's own: a text file with\n"
                   "24 lines of name, L*, a*, b* (D50), row by row")
        ->type_name("FILE");
}

void add_calibrate(CLI::App& app)
{
    const std::map<std::string, matrix_fit> fits{{"white-preserving", matrix_fit::white_preserving},
                                                 {"least-squares", matrix_fit::least_squares}};
    CLI::App* const sub = app.add_subcommand("calibrate", "Make a camera's profile from a photograph of the chart");
    const auto options = std::make_shared<parsed<calibrate_command>>();
    calibrate_command& command = options->command;
    sub->add_option("PHOTOGRAPH", command.photograph,
                    "RGB of 16 or 8 bits, TIFF or PNG, linear, as the\ncamera delivers it")
        ->required();
    sub->add_option("PROFILE", command.profile, "Profile to write, JSON")->required();
    add_corners(*sub, options->corners);
    add_bits(*sub, command.options.bits);
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
    add_reference(*sub, command.reference);
    sub->add_option("--report", command.report, "Picture to draw: each patch measured beside published")
        ->type_name("FILE");
    sub->add_option("--tone-curve", options->tone_curve,
                    "The profile's curve: linear, srgb (default), rec709, gamma:G, inverse:...")
        ->type_name("NAME");
    sub->add_option("--depth", command.options.output_depth, "The profile's output depth: 8 (default) or 16")
        ->type_name("BITS")
        ->check(CLI::IsMember({8, 16}).description(""));
    sub->add_flag("--force", command.force, "Write the profile also when the colours do not fit");
    sub->add_option("--description", command.options.description, "The profile's description")->type_name("TEXT");
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
    sub->add_option("PICTURE", options->command.picture, "8-bit sRGB PNG")->required();
    add_corners(*sub, options->corners);
    add_reference(*sub, options->command.reference);
    sub->add_option("--max-mean", options->command.max_mean, "Fail unless the mean CIEDE2000 is below this")
        ->type_name("DIFFERENCE")
        ->check(CLI::PositiveNumber.description(""));
    sub->callback([options] {
        options->command.corners = to_corners(options->corners);
        run(options->command);
    });
}

void add_compare(CLI::App& app)
{
    CLI::App* const sub = app.add_subcommand("compare", "Draw a photograph and its conversion side by side");
    const auto command = std::make_shared<compare_command>();
    sub->add_option("PHOTOGRAPH", command->photograph, "As for calibrate")->required();
    sub->add_option("PICTURE", command->picture, "The converted 8-bit sRGB PNG")->required();
    sub->add_option("OUTPUT", command->output, "PNG to write")->required();
    add_bits(*sub, command->bits);
    sub->callback([command] { run(*command); });
}

void add_frame(CLI::App& app)
{
    CLI::App* const sub = app.add_subcommand("frame", "Let a simulated 12-bit camera photograph the chart");
    const auto command = std::make_shared<frame_command>();
    sub->add_option("OUTPUT", command->output, "TIFF to write")->required();
    sub->add_flag("--dark", command->dark, "With the lid on");
    sub->add_option("--exposure", command->camera.exposure, "The share of full scale that a perfect white reaches")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    sub->add_option("--full-well", command->camera.full_well, "Electrons at full scale")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    sub->add_option("--read-noise", command->camera.read_noise, "Standard deviation in electrons")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    sub->add_option("--metamerism", command->camera.metamerism, "Deviation of its view of a paint from the eye's")
        ->check(CLI::Range(0.0, 0.2))
        ->capture_default_str();
    sub->add_option("--seed", command->camera.seed, "Start of the noise's random numbers")->capture_default_str();
    sub->callback([command] { run(*command); });
}

} // namespace

int main(int argc, char** argv)
try {
    CLI::App app("Camera profiles from photographs of a 24-patch colour chart", "kx_chart");
    app.require_subcommand(1);
    add_calibrate(app);
    add_judge(app);
    add_compare(app);
    add_frame(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    }
    return 0;
} catch (const std::exception& error) {
    std::cerr << "kx_chart: " << error.what() << '\n';
    return 1;
}
