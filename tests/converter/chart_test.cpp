// The demo's chart: colour arithmetic against published values, that frame and judgement agree on where the
// patches are, and that the judgement can fail.
#include "calibration.h"
#include "camera.h"
#include "judgement.h"
#include "tool_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

namespace {

using namespace kx::chart;
using kx_test::program_result;
using kx_test::run_program;
using kx_test::work_directory;
using testing::DoubleNear;
using testing::HasSubstr;
using testing::Pointwise;

template <typename Sample>
kx::images::image<Sample> blank(std::uint32_t width, std::uint32_t height)
{
    kx::images::image<Sample> image{.width = width, .height = height, .samples = {}};
    image.samples.resize(3 * image.pixel_count());
    return image;
}

// The chart in sRGB, each patch as published.
kx::images::image_8 draw_chart()
{
    const lab_converter converter;
    const srgb_encoder encode;
    auto chart = blank<std::uint8_t>(frame_width, frame_height);
    for (std::size_t index = 0; index < patch_count; ++index) {
        const auto pixel = encode(converter.to_linear_srgb(reference_patches[index].published));
        const rectangle area = patch_area(index);
        for (int place = 0; place < area.width * area.height; ++place) {
            const int target = (area.top + place / area.width) * frame_width + area.left + place % area.width;
            std::ranges::copy(pixel, chart.samples.begin() + std::ptrdiff_t{3} * target);
        }
    }
    return chart;
}

TEST(color_science, agrees_with_published_values)
{
    EXPECT_NEAR(ciede2000({50.0, 2.6772, -79.7751}, {50.0, 0.0, -82.7485}), 2.0425, 1e-4);
    EXPECT_NEAR(ciede2000({50.0, 2.5, 0.0}, {73.0, 25.0, -18.0}), 27.1492, 1e-4);
    const lab_converter converter;
    for (const auto& [linear_srgb, lab] : std::initializer_list<std::pair<color, color>>{
             {{1.0, 1.0, 1.0}, {100.0, 0.0, 0.0}},
             {{1.0, 0.0, 0.0}, {54.29, 80.81, 69.89}},
             {{0.0, 1.0, 0.0}, {87.82, -79.27, 80.99}},
             {{0.0, 0.0, 1.0}, {29.57, 68.30, -112.03}},
         }) {
        const cmsCIELab converted = converter.to_lab(linear_srgb);
        EXPECT_THAT((color{converted.L, converted.a, converted.b}), Pointwise(DoubleNear(0.05), lab));
        EXPECT_THAT(converter.to_linear_srgb(converted), Pointwise(DoubleNear(1e-4), linear_srgb));
    }
    // Cyan's red lies below 0 and stays there: nothing is clipped on the way.
    EXPECT_LT(converter.to_linear_srgb(reference_patches[17].published)[0], -0.01);
    EXPECT_EQ(srgb_encoder()({-0.5, 0.5, 1.5}), (std::array<std::uint8_t, 3>{0, 188, 255}));
}

TEST(chart, frame_has_each_patch_where_it_is_measured)
{
    const lab_converter converter;
    const kx::images::image_16 frame = photograph_chart({});
    EXPECT_LT(*std::ranges::max_element(frame.samples), 65535) << "clipped";
    const camera_picture picture(frame, linear_decoding());
    patch_colors targets{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        targets[index] = converter.to_linear_srgb(reference_patches[index].published);
        EXPECT_THAT(picture.mean(patch_area(index)), Pointwise(DoubleNear(2e-4), camera_response(targets[index])))
            << index;
    }
    // Without the matrix the colors are far off; with the fitted one, and nothing clipped, nearly right.
    const patch_colors camera = measure_patches(picture);
    const color_matrix matrix = fit_matrix(camera, targets);
    patch_colors corrected{};
    std::ranges::transform(camera, corrected.begin(), [&matrix](const color& measured) { return matrix * measured; });
    const judgement uncorrected = judge(camera);
    EXPECT_GT(uncorrected.mean, 10.0);
    EXPECT_GE(uncorrected.patches[uncorrected.largest].difference, uncorrected.mean);
    EXPECT_LT(judge(corrected).mean, 0.1);
}

TEST(chart, judge_tells_right_from_wrong)
{
    const work_directory directory;
    write_picture(directory / "right.png", draw_chart());
    const program_result right = run_program(KX_CHART_PROGRAM, directory, "judge right.png --max-mean 0.5");
    EXPECT_EQ(right.exit_code, 0) << right.error;
    for (const patch& reference : reference_patches) {
        EXPECT_THAT(right.output, HasSubstr(reference.name));
    }
    EXPECT_THAT(right.output, testing::ContainsRegex("cyan [^\n]*outside sRGB: clipped"));
    EXPECT_EQ(right.output.find("outside"), right.output.rfind("outside")) << "only cyan is";

    write_picture(directory / "wrong.png", blank<std::uint8_t>(frame_width, frame_height));
    const program_result wrong = run_program(KX_CHART_PROGRAM, directory, "judge wrong.png --max-mean 1.0");
    EXPECT_EQ(wrong.exit_code, 1);
    EXPECT_THAT(wrong.error, HasSubstr("not below 1"));
    EXPECT_EQ(run_program(KX_CHART_PROGRAM, directory, "judge wrong.png").exit_code, 0)
        << "refused only when a limit is set";
}

TEST(chart, other_pictures_are_refused)
{
    const work_directory directory;
    write_picture(directory / "small.png", blank<std::uint8_t>(64, 48));
    write_picture(directory / "deep.png", blank<std::uint16_t>(frame_width, frame_height));
    write_picture(directory / "small.tif", blank<std::uint16_t>(64, 48));
    write_picture(directory / "shallow.tif", blank<std::uint8_t>(64, 48));
    std::ofstream(directory / "text.png") << "no picture";
    const auto before = directory.content();
    for (const auto& [arguments, reason] : std::initializer_list<std::pair<const char*, const char*>>{
             {"judge small.png", "small.png: is 64 x 48 pixels; a picture of the chart has 4096 x 3000"},
             {"judge deep.png", "deep.png: is not RGB with three 8-bit samples"},
             {"judge text.png", "text.png: cannot be read as PNG"},
             {"calibrate small.tif matrix.txt", "small.tif: is 64 x 48 pixels"},
             {"calibrate shallow.tif matrix.txt", "shallow.tif"},
             {"calibrate deep.png matrix.txt", "do not determine a matrix"},
             {"compare small.tif small.png both.png", "small.tif: is 64 x 48 pixels"},
             {"frame frame.jpg", "frame.jpg"},
         }) {
        const program_result result = run_program(KX_CHART_PROGRAM, directory, arguments);
        EXPECT_EQ(result.exit_code, 1) << arguments;
        EXPECT_THAT(result.error, HasSubstr(reason)) << arguments;
    }
    EXPECT_EQ(directory.content(), before);
}

} // namespace
