#include "commands.h"

#include "black_level.h"
#include "comparison.h"
#include "picture_files.h"
#include "report_picture.h"
#include "text_report.h"

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
        throw images::image_error(file, error.what());
    }
}

void warn(const std::string& text)
{
    std::cerr << "kx_chart: warning: " << text << '\n';
}

void print(const profile::profile_values& values, const calibrate_command& command)
{
    const auto& black = values.black_level;
    const auto& gains = values.white_balance;
    std::printf("black level   %9.3f %9.3f %9.3f%s\nwhite balance %9.4f %9.4f %9.4f\n", black[0], black[1], black[2],
                command.options.black_level ? "" : "  (estimated from the grey patches)", gains[0], gains[1], gains[2]);
    for (std::size_t row = 0; row < values.matrix.size(); ++row) {
        const auto& weights = values.matrix.at(row);
        std::printf("%-13s %9.4f %9.4f %9.4f\n", row == 0 ? "matrix" : "", weights[0], weights[1], weights[2]);
    }
}

} // namespace

void run(const frame_command& command)
{
    // Opened first: a file that cannot be written is refused before the work.
    const auto writer = images::create_image(command.output);
    const simulated_camera& camera = command.camera;
    writer->write_page(command.dark ? photograph_darkness(camera) : photograph_chart(camera));
    writer->commit();
    std::printf("%s: %u x %u pixels of three %d-bit samples, linear; full well %.0f electrons, read noise %.1f\n",
                command.output.c_str(), camera.width, camera.height, camera.bits, camera.full_well, camera.read_noise);
    if (!command.dark) {
        std::printf("The chart's corners:");
        for (const point& corner : camera.corners) {
            std::printf(" %.0f,%.0f", corner.x, corner.y);
        }
        std::printf("\n");
    }
}

void run(calibrate_command command)
{
    refuse_same_file(command.profile, {command.photograph, command.dark_frame, command.reference, command.report});
    refuse_same_file(command.report, {command.photograph, command.dark_frame, command.reference});
    command.options.reference = reference_from(command.reference);
    if (!command.report.empty()) {
        static_cast<void>(images::type_from_suffix(command.report));
    }
    if (!command.dark_frame.empty()) {
        const images::image_16 dark = read_photograph(command.dark_frame, command.options.bits);
        command.options.black_level =
            name_file(command.dark_frame, [&] { return measure_black_level(dark, command.options.bits); });
    }
    const images::image_16 photograph = read_photograph(command.photograph, command.options.bits);
    const calibration result =
        name_file(command.photograph, [&] { return calibrate(photograph, command.corners, command.options); });
    print(std::cout, result.after, &result.before);
    print(result.profile.values(), command);
    for (const std::string& warning : result.warnings) {
        warn(warning);
    }
    for (const std::string& objection : result.objections) {
        if (!command.force) {
            throw images::image_error(command.photograph,
                                      objection + " Nothing was written; --force writes the profile all the same.");
        }
        warn(objection);
    }
    if (!command.report.empty()) {
        write_picture(command.report, draw_report(result.before, result.after));
    }
    profile::save_profile(result.profile, command.profile);
    std::printf("%s was written.\n", command.profile.c_str());
}

void run(const judge_command& command)
{
    const reference_chart reference = reference_from(command.reference);
    const images::image_8 picture = read_srgb_picture(command.picture);
    const judgement verdict = name_file(
        command.picture, [&] { return judge(measure_patches(picture, chart_position(command.corners)), reference); });
    print(std::cout, verdict);
    if (command.max_mean && !(verdict.mean < *command.max_mean)) {
        throw images::image_error(command.picture,
                                  "the mean CIEDE2000 is not below " + std::to_string(*command.max_mean));
    }
}

void run(const compare_command& command)
{
    refuse_same_file(command.output, {command.photograph, command.picture});
    static_cast<void>(images::type_from_suffix(command.output));
    const images::image_16 before = read_photograph(command.photograph, command.bits);
    const images::image_8 after = read_srgb_picture(command.picture);
    write_picture(command.output,
                  name_file(command.picture, [&] { return before_and_after(before, command.bits, after); }));
    std::printf("%s: left the camera's picture as it comes, right the conversion\n", command.output.c_str());
}

} // namespace kx::chart
