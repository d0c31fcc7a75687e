#include "commands.h"

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
        const images::image_16 dark = read_photograph(command.dark_frame);
        command.options.black_level =
            name_file(command.dark_frame, [&] { return measure_black_level(dark, command.options.bits); });
    }
    const images::image_16 photograph = read_photograph(command.photograph);
    const calibration result =
        name_file(command.photograph, [&] { return calibrate(photograph, command.corners, command.options); });
    if (!command.report.empty()) {
        write_picture(command.report, draw_report(result.before, result.after));
    }
    profile::save_profile(result.profile, command.profile);

    print(std::cout, result.after, &result.before);
    const profile::profile_values& values = result.profile.values();
    const auto& black = values.black_level;
    const auto& gains = values.white_balance;
    std::printf("%s:\n  black level   %9.3f %9.3f %9.3f\n  white balance %9.4f %9.4f %9.4f\n", command.profile.c_str(),
                black[0], black[1], black[2], gains[0], gains[1], gains[2]);
    for (std::size_t row = 0; row < values.matrix.size(); ++row) {
        const auto& weights = values.matrix.at(row);
        std::printf("  %-13s %9.4f %9.4f %9.4f\n", row == 0 ? "matrix" : "", weights[0], weights[1], weights[2]);
    }
    constexpr double bad_fit = 6.0;
    if (result.after.mean > bad_fit) {
        std::cerr << "kx_chart: warning: the colours fit badly. Are the corners right, and in the order dark skin, "
                     "bluish green, black, white? Is the picture linear?\n";
    }
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
    const images::image_16 before = read_photograph(command.photograph);
    const images::image_8 after = read_srgb_picture(command.picture);
    write_picture(command.output,
                  name_file(command.picture, [&] { return before_and_after(before, command.bits, after); }));
    std::printf("%s: left the camera's picture as it comes, right the conversion\n", command.output.c_str());
}

} // namespace kx::chart
