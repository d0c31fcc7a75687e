// Calibration from photographs of the chart: what a simulated camera in perspective was built from must come out again.
#include "black_level.h"
#include "calibration.h"
#include "camera.h"
#include "report_picture.h"
#include "tool_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace kx::chart;
using kx::images::arrangement;
using kx_test::picture;
using kx_test::program_result;
using kx_test::run_program;
using kx_test::work_directory;
using kx_test::write_image;
using testing::DoubleNear;
using testing::HasSubstr;
using testing::Pointwise;

// A perspective keeps corners and diagonals, and the way back leads back.
TEST(chart_position, is_a_perspective)
{
    const chart_corners corners{{{10, 20}, {110, 10}, {90, 80}, {0, 60}}};
    const chart_position position(corners);
    const auto expect_at = [](const point& actual, const point& expected) {
        EXPECT_NEAR(actual.x, expected.x, 1e-9);
        EXPECT_NEAR(actual.y, expected.y, 1e-9);
    };
    const std::array<point, 4> on_chart{{{0, 0}, {5, 0}, {5, 3}, {0, 3}}};
    for (std::size_t corner = 0; corner < 4; ++corner) {
        expect_at(position.to_picture(on_chart[corner]), corners[corner]);
        expect_at(position.to_chart(corners[corner]), on_chart[corner]);
    }
    // Where the lines from 10, 20 to 90, 80 and from 110, 10 to 0, 60 meet.
    const double t = 39.0 / 106.0;
    expect_at(position.to_picture({2.5, 1.5}), {10 + 80 * t, 20 + 60 * t});
}

// A quick camera that tilts and turns its head.
simulated_camera small_camera()
{
    simulated_camera camera;
    camera.width = 640;
    camera.height = 480;
    camera.metamerism = 0;
    camera.corners = {{{530, 120}, {470, 400}, {120, 330}, {190, 60}}};
    return camera;
}

calibration_options options_for(const simulated_camera& camera)
{
    calibration_options options;
    options.bits = camera.bits;
    options.black_level = measure_black_level(photograph_darkness(camera), camera.bits);
    return options;
}

TEST(calibration, finds_what_the_camera_was_built_from)
{
    const simulated_camera camera = small_camera();
    calibration_options options = options_for(camera);
    EXPECT_THAT(*options.black_level, Pointwise(DoubleNear(0.05), camera.black_level));
    kx::images::image_16 photograph = photograph_chart(camera);
    for (const matrix_fit fit : {matrix_fit::white_preserving, matrix_fit::least_squares}) {
        options.fit = fit;
        const calibration result = calibrate(photograph, camera.corners, options);
        const auto& values = result.profile.values();
        EXPECT_THAT(values.white_balance, Pointwise(DoubleNear(0.01), simulated_gains));
        for (const color& light : {color{0.2, 0.5, 0.1}, {0.9, 0.1, 0.3}, {0.7, 0.7, 0.7}}) {
            color balanced = camera_response(light);
            for (std::size_t channel = 0; channel < 3; ++channel) {
                balanced[channel] *= camera.exposure * values.white_balance[channel];
            }
            EXPECT_THAT(values.matrix * balanced, Pointwise(DoubleNear(0.005), light));
        }
        EXPECT_GT(result.before.mean, 10.0);
        EXPECT_LT(result.after.mean, 0.3);
        EXPECT_EQ(result.after.patches[result.after.largest].name, "cyan") << "which sRGB cannot hold";
    }
    // Separate planes are the same picture.
    const calibration interleaved = calibrate(photograph, camera.corners, options);
    kx::images::image_16 planar = photograph;
    planar.layout = arrangement::planar_bgr;
    for (std::size_t place = 0; place < planar.samples.size(); ++place) {
        planar.samples[(2 - place % 3) * planar.pixel_count() + place / 3] = photograph.samples[place];
    }
    EXPECT_EQ(calibrate(planar, camera.corners, options).profile, interleaved.profile);
}

TEST(calibration, white_preserving_keeps_greys_grey)
{
    simulated_camera camera = small_camera();
    camera.metamerism = 0.05;
    calibration_options options = options_for(camera);
    const kx::images::image_16 photograph = photograph_chart(camera);
    const auto grey_error = [&](matrix_fit fit) {
        options.fit = fit;
        const color grey = calibrate(photograph, camera.corners, options).profile.values().matrix * color{1, 1, 1};
        return (std::ranges::max(grey) - std::ranges::min(grey)) / grey[1];
    };
    EXPECT_LT(grey_error(matrix_fit::white_preserving), 1e-9);
    EXPECT_GT(grey_error(matrix_fit::least_squares), 0.003);
}

TEST(calibration, leaves_out_over_exposed_patches)
{
    simulated_camera camera = small_camera();
    camera.exposure = 1.35;
    const auto left_out_of = [](const calibration& result) {
        std::vector<std::string> names;
        for (const patch_judgement& patch : result.after.patches) {
            if (patch.left_out) {
                names.push_back(patch.name);
            }
        }
        return names;
    };
    calibration_options options = options_for(camera);
    const kx::images::image_16 photograph = photograph_chart(camera);
    const calibration result = calibrate(photograph, camera.corners, options);
    EXPECT_THAT(left_out_of(result), testing::ElementsAre("white"));
    EXPECT_THAT(result.profile.values().white_balance, Pointwise(DoubleNear(0.01), simulated_gains));
    EXPECT_LT(result.after.mean, 0.3);
    options.saturation = 3000;
    EXPECT_THAT(left_out_of(calibrate(photograph, camera.corners, options)), testing::Contains("neutral 8"));
    options.saturation = 65;
    EXPECT_THROW(calibrate(photograph, camera.corners, options), std::runtime_error) << "nothing is left";
}

TEST(report, shows_measured_beside_published_with_a_bar)
{
    patch_colors colors{};
    const lab_converter converter;
    for (std::size_t index = 0; index < patch_count; ++index) {
        colors[index] = converter.to_linear_srgb(published_reference()[index].published);
    }
    patch_flags left_out{};
    left_out[23] = true;
    const judgement before = judge(colors, published_reference(), left_out);
    colors[0] = {0.5, 0, 0};
    colors[1] = {0, 0, 1};
    const judgement after = judge(colors, published_reference(), left_out);
    EXPECT_EQ(after.largest, 1);
    const kx::images::image_8 report = draw_report(before, after);
    const auto pixel = [&report](std::size_t x, std::size_t y) {
        const auto start = report.samples.begin() + static_cast<std::ptrdiff_t>(3 * (y * report.width + x));
        return std::vector<int>(start, start + 3);
    };
    EXPECT_EQ(pixel(40, 100), (std::vector<int>{188, 0, 0})) << "measured";
    EXPECT_THAT(pixel(140, 100), Pointwise(DoubleNear(1), {115, 82, 68})) << "published: dark skin";
    // A full bar of 138 pixels is a difference of 100.
    std::size_t length = 0;
    while (pixel(176 + length, 200)[0] < 100) {
        ++length;
    }
    EXPECT_NEAR(static_cast<double>(length) / 1.38, after.patches[1].difference, 1.0);
    EXPECT_EQ(pixel(24 + 152 * 5 + 69, 84 + 136 * 3 + 36), (std::vector<int>{255, 255, 255})) << "crossed out";
}

// The simulated camera's pictures as files, made once.
class chart_program : public testing::Test {
protected:
    chart_program()
    {
        write(directory_ / "photo.tif", photograph_chart(camera_));
        write(directory_ / "dark.tif", photograph_darkness(camera_));
        std::ofstream reference(directory_ / "reference.txt");
        reference << "\xEF\xBB\xBF# row by row\n";
        for (const auto& [name, lab] : published_reference()) {
            reference << name << ' ' << lab.L + (name == "blue" ? 10 : 0) << '\t' << lab.a << " " << lab.b
                      << " # D50\n";
        }
    }

    static void write(const std::string& file, const kx::images::image_16& image)
    {
        write_image(file, {{picture{image.width, image.height, 3, 16, image.samples}}});
    }

    program_result run(const std::string& arguments) { return run_program(KX_CHART_PROGRAM, directory_, arguments); }

    const std::string corners_ = "--corners 530,120 470,400 120,330 190,60 ";
    simulated_camera camera_ = small_camera();
    work_directory directory_;
};

TEST_F(chart_program, calibrates_and_judges)
{
    const program_result result =
        run("calibrate photo.tif camera.json --bits 12 --dark dark.tif --report report.png --description 'Lab 3' "
            "--tone-curve gamma:2 --depth 16 "
            + corners_);
    ASSERT_EQ(result.exit_code, 0) << result.error;
    EXPECT_EQ(result.error, "");
    EXPECT_THAT(result.output,
                testing::ContainsRegex("Mean CIEDE2000 before 1[0-9].*\nMean CIEDE2000 after 0\\.[0-2]"));
    const auto profile = kx::profile::load_profile(directory_ / "camera.json");
    EXPECT_EQ(profile.values().description, "Lab 3");
    EXPECT_EQ(profile.values().tone_curve.name(), "gamma:2");
    EXPECT_EQ(profile.values().output_depth, 16);
    EXPECT_THAT(profile.values().white_balance, Pointwise(DoubleNear(0.01), simulated_gains));
    EXPECT_EQ(kx_test::read_file(directory_ / "report.png").substr(1, 3), "PNG");

    const program_result other = run("calibrate photo.tif other.json --bits 12 --black-level 64 64 65 "
                                     "--reference reference.txt "
                                     + corners_);
    EXPECT_THAT(other.output, HasSubstr("blue               38.778"));
    EXPECT_THAT(other.output, testing::ContainsRegex("after [^\n]*\\(blue\\)\nblack level  *64.000  *64.000  *65.000\n"));

    // A grey picture is no picture of the chart.
    kx::images::image_8 grey{
        .width = 640, .height = 480, .samples = std::vector<std::uint8_t>(640 * 480 * 3, 128), .about = {}};
    const auto writer = kx::images::create_image(directory_ / "grey.png");
    writer->write_page(grey);
    writer->commit();
    EXPECT_EQ(run("judge grey.png " + corners_).exit_code, 0) << "refused only when a limit is set";
    const program_result wrong = run("judge grey.png --max-mean 5 " + corners_);
    EXPECT_EQ(wrong.exit_code, 1);
    EXPECT_THAT(wrong.output, testing::ContainsRegex("cyan [^\n]*outside sRGB: clipped"));
    EXPECT_THAT(wrong.error, HasSubstr("grey.png: the mean CIEDE2000 is not below 5"));
}

TEST_F(chart_program, refuses_what_is_wrong)
{
    write(directory_ / "grey.tif",
          {.width = 640, .height = 480, .samples = std::vector<std::uint16_t>(640 * 480 * 3, 9), .about = {}});
    std::ofstream(directory_ / "short.txt") << "blue 1 2 3\n";
    std::ofstream(directory_ / "wrong.txt") << "\nblue 1 2 x\n";
    std::filesystem::create_symlink("photo.tif", directory_ / "link.json");
    const auto before = directory_.content();
    const std::string calibrate = "calibrate photo.tif new.json --bits 12 ";
    for (const auto& [arguments, reason] : std::vector<std::pair<std::string, const char*>>{
             {calibrate, "--corners is required"},
             {"calibrate photo.tif new.json " + corners_, "--bits is required"},
             {calibrate + "--corners 1,2 3,4 5,6", "--corners"},
             {calibrate + "--corners 10,10 20,20 30,30 40,40", "on one line"},
             {calibrate + "--corners 10,10 90,90 90,10 10,90", "once around"},
             {calibrate + "--corners 90,90 639,90 580,400 90,400", "photo.tif: the patch 'bluish green' lies beyond"},
             {calibrate + "--corners 10,10 20,10 20,20 10,20", "pixels to be measured"},
             {"calibrate photo.tif new.json --bits 11 " + corners_, "more than a camera of 11 bits delivers"},
             {"calibrate grey.tif new.json --bits 12 " + corners_, "grey.tif: the patches of this picture do not"},
             {calibrate + corners_ + "--dark photo.tif", "photo.tif: the dark frame is not dark"},
             {calibrate + corners_ + "--dark dark.tif --black-level 1 2 3", "excludes"},
             {calibrate + corners_ + "--black-level 1 2 -3", "/black_level/2"},
             {calibrate + corners_ + "--tone-curve log", "'log' is no curve"},
             {calibrate + corners_ + "--reference short.txt", "short.txt: has 1 patches"},
             {calibrate + corners_ + "--reference wrong.txt", "wrong.txt, line 2: 'x' is no number"},
             {calibrate + corners_ + "--reference none.txt", "none.txt: cannot be read: No such"},
             {calibrate + corners_ + "--report report.jpg", "report.jpg"},
             {calibrate + corners_ + "--report ./new.json", "written over"},
             {calibrate + corners_ + "--report photo.tif", "written over"},
             {"calibrate photo.tif link.json --bits 12 " + corners_, "written over"},
             {"calibrate photo.tif none/new.json --bits 12 " + corners_, "none/new.json: cannot be written"},
             {"compare photo.tif photo.tif new.png --bits 12", "cannot be read as PNG"},
             {"frame new.jpg", "new.jpg"},
         }) {
        const program_result result = run(arguments);
        EXPECT_NE(result.exit_code, 0) << arguments;
        EXPECT_THAT(result.error, HasSubstr(reason)) << arguments;
    }
    EXPECT_TRUE(directory_.content() == before) << "files changed"; // which are too large to be shown
}

} // namespace
