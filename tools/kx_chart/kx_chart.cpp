// kx_chart: makes a camera's frame of a 24-patch color chart, calibrates from it and judges what the
// conversion made of it.
#include "calibration.h"
#include "camera.h"
#include "comparison.h"
#include "judgement.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <iostream>
#include <limits>
#include <string>

namespace {

using namespace kx::chart;

void make_frame(const std::string& file, const noise& sensor)
{
    // Opened first: a file that cannot be written is refused before the work.
    const auto writer = kx::images::create_image(file);
    writer->write_page(photograph_chart(sensor));
    writer->commit();
    std::printf("%s: %d x %d pixels of 48 bits, linear; full well %.0f electrons, read noise %.1f electrons\n",
                file.c_str(), frame_width, frame_height, sensor.full_well, sensor.read_noise);
}

void calibrate(const std::string& frame, const std::string& matrix_file)
{
    const lab_converter converter;
    const patch_colors camera = measure_patches(read_camera_picture(frame));
    patch_colors targets{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        targets[index] = converter.to_linear_srgb(reference_patches[index].published);
    }
    const color_matrix matrix = fit_matrix(camera, targets);
    write_matrix(matrix_file, matrix);
    std::printf("%s: camera RGB to linear sRGB, the least-squares fit over the frame's 24 patches\n",
                matrix_file.c_str());
    for (const auto& row : matrix) {
        std::printf("  %9.4f %9.4f %9.4f\n", row[0], row[1], row[2]);
    }
}

int judge_picture(const std::string& file, double max_mean)
{
    const judgement verdict = judge(measure_patches(read_srgb_picture(file)));
    print(std::cout, verdict);
    if (!(verdict.mean < max_mean)) {
        std::cerr << "kx_chart: the mean CIEDE2000 is not below " << max_mean << ".\n";
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    CLI::App app("A 24-patch color chart: a simulated camera's frame of it, calibration and judgement");
    app.require_subcommand(1);
    int status = 0;
    std::string frame;
    std::string picture;
    std::string output;

    CLI::App* frame_command = app.add_subcommand("frame", "Make a camera's frame of the chart (48-bit TIFF, linear)");
    noise sensor;
    frame_command->add_option("OUTPUT", output, "TIFF to write")->required();
    frame_command->add_option("--full-well", sensor.full_well, "Electrons at full scale")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    frame_command->add_option("--read-noise", sensor.read_noise, "Standard deviation in electrons")
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    frame_command->add_option("--seed", sensor.seed, "Start of the noise's random numbers")->capture_default_str();
    frame_command->callback([&] { make_frame(output, sensor); });

    CLI::App* calibrate_command =
        app.add_subcommand("calibrate", "Fit the matrix from camera RGB to linear sRGB to a frame of the chart");
    calibrate_command->add_option("FRAME", frame, "The camera's frame")->required();
    calibrate_command->add_option("MATRIX", output, "Text file to write, nine numbers")->required();
    calibrate_command->callback([&] { calibrate(frame, output); });

    CLI::App* judge_command =
        app.add_subcommand("judge", "Compare a converted picture's patches with their published colors");
    double max_mean = std::numeric_limits<double>::infinity();
    judge_command->add_option("PICTURE", picture, "8-bit sRGB PNG")->required();
    judge_command->add_option("--max-mean", max_mean, "Fail unless the mean CIEDE2000 is below this")
        ->check(CLI::PositiveNumber);
    judge_command->callback([&] { status = judge_picture(picture, max_mean); });

    CLI::App* compare_command = app.add_subcommand("compare", "Draw a frame and its conversion side by side");
    compare_command->add_option("FRAME", frame, "The camera's frame")->required();
    compare_command->add_option("PICTURE", picture, "The converted 8-bit sRGB PNG")->required();
    compare_command->add_option("OUTPUT", output, "PNG to write")->required();
    compare_command->callback([&] {
        const camera_picture before = read_camera_picture(frame);
        write_picture(output, before_and_after(before, read_srgb_picture(picture)));
        std::printf("%s: left the camera's frame as it comes, right the conversion\n", output.c_str());
    });

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error);
    } catch (const std::exception& error) {
        std::cerr << "kx_chart: " << error.what() << '\n';
        return 1;
    }
    return status;
}
