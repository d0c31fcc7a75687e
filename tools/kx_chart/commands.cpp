#include "commands.h"

#include "black_level.h"
#include "report.h"

#include "files/output_file.h"
#include "images/image_file.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <stdexcept>

namespace kx::chart {

namespace {

reference_chart reference_from(const std::filesystem::path& file)
{
    return file.empty() ? published_reference() : read_reference(file);
}

// Runs the action; what it throws gets the file's name in front.
template <typename Action>
auto name_file(const std::filesystem::path& file, Action action)
{
    try {
        return action();
    } catch (const profile::profile_error&) {
        throw;
    } catch (const std::runtime_error& error) {
        throw files::file_error(file, error.what());
    }
}

void warn(const std::string& text)
{
    std::cerr << "kx_chart: warning: " << text << '\n';
}

images::image_16 read_picture(const std::filesystem::path& file)
{
    const auto reader = images::open_image(file);
    if (const auto pages = reader->page_count(); pages > 1) {
        warn(file.string() + ": has " + std::to_string(pages) + " pages, of which the first is taken");
    }
    return reader->read_page();
}

images::image_16 read_photograph(const std::filesystem::path& file, int bits)
{
    images::image_16 picture = read_picture(file);
    if (picture.was_8_bit && bits != 8) {
        throw files::file_error(file, "has samples of 8 bits, not of " + std::to_string(bits));
    }
    return picture;
}

// A file to be written at the end; none without a name.
class text_output {
public:
    // Throws files::file_error when it is one of those that are read, or cannot be written.
    text_output(const std::filesystem::path& file, std::initializer_list<std::filesystem::path> read, bool overwrite)
    {
        if (file.empty()) {
            return;
        }
        for (const std::filesystem::path& other : read) {
            std::error_code not_there;
            if (file.lexically_normal() == other.lexically_normal()
                || std::filesystem::equivalent(file, other, not_there)) {
                throw files::file_error(file, "would be written over " + other.string() + "; give another name");
            }
        }
        if (!overwrite && std::filesystem::exists(file)) {
            throw files::file_error(file, "exists already; --overwrite replaces it");
        }
        output_.emplace(file, files::output_options{.replace = overwrite});
    }

    void write(const std::string& text)
    {
        if (output_) {
            output_->write(0, text.data(), text.size());
        }
    }

    void commit()
    {
        if (output_) {
            output_->commit();
        }
    }

private:
    std::optional<files::output_file> output_;
};

void print(const profile::profile_values& values, bool is_estimated)
{
    const auto& black = values.black_level;
    const auto& gains = values.white_balance;
    std::printf("black level   %9.3f %9.3f %9.3f%s\nwhite balance %9.4f %9.4f %9.4f\n", black[0], black[1], black[2],
                is_estimated ? "  (estimated from the grey patches)" : "", gains[0], gains[1], gains[2]);
    for (std::size_t row = 0; row < values.matrix.size(); ++row) {
        const auto& weights = values.matrix.at(row);
        std::printf("%-13s %9.4f %9.4f %9.4f\n", row == 0 ? "matrix" : "", weights[0], weights[1], weights[2]);
    }
}

} // namespace

void run(calibrate_command command)
{
    if (!command.report.empty() && command.report.extension() != ".svg") {
        throw files::file_error(command.report, "would be no name for the report, which is SVG: use .svg");
    }
    // Opened first: a file that cannot be written is refused before the work.
    text_output profile(command.profile, {command.photograph, command.dark_frame, command.reference, command.report},
                        command.overwrite);
    text_output report(command.report, {command.photograph, command.dark_frame, command.reference}, command.overwrite);
    calibration_options& options = command.options;
    options.reference = reference_from(command.reference);
    if (!command.dark_frame.empty()) {
        const images::image_16 dark = read_photograph(command.dark_frame, options.bits);
        options.black_level = name_file(command.dark_frame, [&] { return measure_black_level(dark, options.bits); });
    }
    const images::image_16 photograph = read_photograph(command.photograph, options.bits);
    const calibration result =
        name_file(command.photograph, [&] { return calibrate(photograph, command.corners, options); });

    std::cout << to_text(result.after, &result.before) << std::flush;
    print(result.profile.values(), !options.black_level);
    for (const std::string& warning : result.warnings) {
        warn(warning);
    }
    for (const std::string& objection : result.objections) {
        if (!command.force) {
            throw files::file_error(command.photograph, objection + " Nothing is written without --force.");
        }
        warn(objection);
    }
    profile.write(to_json(result.profile));
    report.write(to_svg(result.before, result.after));
    report.commit();
    profile.commit();
}

void run(const judge_command& command)
{
    const reference_chart reference = reference_from(command.reference);
    const images::image_16 picture = read_picture(command.picture);
    const judgement verdict = name_file(command.picture, [&] {
        const auto measured = measure_patches(picture, chart_position(command.corners), picture.was_8_bit ? 8 : 16,
                                              profile::tone_curve::named("inverse:srgb"));
        patch_colors light{};
        std::ranges::transform(measured, light.begin(), &patch_measurement::mean);
        return judge(light, reference);
    });
    std::cout << to_text(verdict);
    if (command.max_mean && !(verdict.mean < *command.max_mean)) {
        throw files::file_error(command.picture,
                                "the mean CIEDE2000 is not below " + std::to_string(*command.max_mean));
    }
}

} // namespace kx::chart
