// The demo's chart: colour arithmetic against published values, that frame and judgement agree on where the
// patches are, and that the judgement can fail.
#include "calibration.h"
#include "camera.h"
#include "judgement.h"
#include "picture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using namespace kx::chart;
using kx::images::image_16;
using kx::images::image_8;
using kx::images::image_error;
using testing::HasSubstr;

// A directory of its own for each test, removed with it.
class chart_files : public testing::Test {
protected:
    chart_files()
    {
        std::string name = (std::filesystem::temp_directory_path() / "kx_chart_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr) {
            throw std::runtime_error("No temporary directory.");
        }
        directory_ = name;
    }

    ~chart_files() override { std::filesystem::remove_all(directory_); }

    std::filesystem::path file(const std::string& name) const { return directory_ / name; }

    std::string content(const std::string& name) const
    {
        std::ifstream in(file(name));
        return {std::istreambuf_iterator<char>(in), {}};
    }

    // The exit status of kx_chart; what it writes goes to the files out and err.
    int run(const std::string& arguments) const
    {
        const std::string command =
            "cd '" + directory_.string() + "' && '" KX_CHART_PROGRAM "' " + arguments + " >out 2>err";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

private:
    std::filesystem::path directory_;
};

template <typename Sample>
kx::images::image<Sample> blank(std::uint32_t width, std::uint32_t height)
{
    kx::images::image<Sample> samples;
    samples.width = width;
    samples.height = height;
    samples.samples.resize(3 * samples.pixel_count());
    return samples;
}

// The chart in sRGB, each published color with `error` added.
image_8 draw_chart(const cmsCIELab& error)
{
    const lab_converter converter;
    const srgb_encoder encode;
    image_8 chart = blank<std::uint8_t>(frame_width, frame_height);
    for (std::size_t index = 0; index < patch_count; ++index) {
        cmsCIELab lab = reference_patches[index].published;
        lab.L += error.L;
        lab.a += error.a;
        lab.b += error.b;
        const auto pixel = encode(converter.to_linear_srgb(lab));
        const rectangle area = patch_area(index);
        for (int y = area.top; y < area.top + area.height; ++y) {
            for (int x = area.left; x < area.left + area.width; ++x) {
                const auto position = std::ptrdiff_t{3} * (std::ptrdiff_t{y} * frame_width + x);
                std::copy(pixel.begin(), pixel.end(), chart.samples.begin() + position);
            }
        }
    }
    return chart;
}

TEST(color_science, agrees_with_published_values)
{
    const struct {
        cmsCIELab one, other;
        double difference;
    } pairs[] = {
        {{50.0, 2.6772, -79.7751}, {50.0, 0.0, -82.7485}, 2.0425},
        {{50.0, 2.5, 0.0}, {73.0, 25.0, -18.0}, 27.1492},
        {{2.0776, 0.0795, -1.1350}, {0.9033, -0.0636, -0.5514}, 0.9082},
    };
    for (const auto& pair : pairs) {
        EXPECT_NEAR(ciede2000(pair.one, pair.other), pair.difference, 1e-4);
    }

    const struct {
        color linear_srgb;
        cmsCIELab lab;
    } colors[] = {
        {{1.0, 1.0, 1.0}, {100.0, 0.0, 0.0}},
        {{1.0, 0.0, 0.0}, {54.29, 80.81, 69.89}},
        {{0.0, 1.0, 0.0}, {87.82, -79.27, 80.99}},
        {{0.0, 0.0, 1.0}, {29.57, 68.30, -112.03}},
    };
    const lab_converter converter;
    for (const auto& [linear_srgb, lab] : colors) {
        const cmsCIELab converted = converter.to_lab(linear_srgb);
        EXPECT_NEAR(converted.L, lab.L, 0.02);
        EXPECT_NEAR(converted.a, lab.a, 0.05);
        EXPECT_NEAR(converted.b, lab.b, 0.05);
        const color back = converter.to_linear_srgb(converted);
        EXPECT_THAT(back, testing::Pointwise(testing::DoubleNear(1e-4), linear_srgb));
    }

    // Cyan's red lies below 0 and stays there: nothing is clipped on the way.
    EXPECT_LT(converter.to_linear_srgb(reference_patches[17].published)[0], -0.01);
    EXPECT_EQ(srgb_encoder()({-0.5, 0.214041, 1.5}), (std::array<std::uint8_t, 3>{0, 127, 255}));
}

TEST(chart, frame_has_each_patch_where_it_is_measured)
{
    const lab_converter converter;
    const image_16 frame = photograph_chart({});
    EXPECT_LT(*std::max_element(frame.samples.begin(), frame.samples.end()), 65535) << "clipped";
    const camera_picture picture(frame, linear_decoding());
    patch_colors targets{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        targets[index] = converter.to_linear_srgb(reference_patches[index].published);
        const color expected = camera_response(targets[index]);
        EXPECT_THAT(picture.mean(measured_area(index)), testing::Pointwise(testing::DoubleNear(2e-4), expected))
            << index;
        EXPECT_THAT(picture.mean(patch_area(index)), testing::Pointwise(testing::DoubleNear(2e-4), expected)) << index;
    }

    // Without the matrix the colors are far off; with the fitted one, and nothing clipped, nearly right.
    const patch_colors camera = measure_patches(picture);
    const color_matrix matrix = fit_matrix(camera, targets);
    patch_colors corrected{};
    std::transform(camera.begin(), camera.end(), corrected.begin(),
                   [&matrix](const color& measured) { return matrix * measured; });
    EXPECT_GT(judge(camera).mean, 10.0);
    EXPECT_LT(judge(corrected).mean, 0.1);
    EXPECT_THROW(fit_matrix(patch_colors{}, targets), std::runtime_error);
}

TEST_F(chart_files, judge_tells_right_from_wrong)
{
    write_picture(file("right.png"), draw_chart({0.0, 0.0, 0.0}));
    EXPECT_EQ(run("judge right.png --max-mean 0.5"), 0) << content("err");
    const std::string table = content("out");
    for (const patch& reference : reference_patches) {
        EXPECT_THAT(table, HasSubstr(reference.name));
    }
    EXPECT_THAT(table, testing::ContainsRegex("cyan [^\n]*outside sRGB: clipped"));
    EXPECT_EQ(table.find("outside"), table.rfind("outside")) << "only cyan is";

    write_picture(file("wrong.png"), draw_chart({3.0, 0.0, 4.0}));
    EXPECT_EQ(run("judge wrong.png --max-mean 1.0"), 1);
    EXPECT_THAT(content("err"), HasSubstr("not below 1"));
    const judgement verdict = judge(measure_patches(read_srgb_picture(file("wrong.png"))));
    EXPECT_GT(verdict.mean, 2.0);
    EXPECT_GE(verdict.patches[verdict.largest].difference, verdict.mean);

    // The wrong picture is refused only when a limit is set.
    EXPECT_EQ(run("judge wrong.png"), 0);
}

TEST_F(chart_files, other_pictures_are_refused)
{
    write_picture(file("small.png"), blank<std::uint8_t>(64, 48));
    write_picture(file("deep.png"), blank<std::uint16_t>(frame_width, frame_height));
    write_picture(file("small.tif"), blank<std::uint16_t>(64, 48));
    write_picture(file("shallow.tif"), blank<std::uint8_t>(frame_width, frame_height));
    std::ofstream(file("text.png")) << "no picture";

    const struct {
        const char* arguments;
        const char* reason;
    } refusals[] = {
        {"judge small.png", "small.png: is 64 x 48 pixels; a picture of the chart has 4096 x 3000"},
        {"judge deep.png", "deep.png: is not RGB with three 8-bit samples"},
        {"judge text.png", "text.png: cannot be read as PNG"},
        {"judge missing.png", "missing.png: cannot be read"},
        {"calibrate small.tif matrix.txt", "small.tif: is 64 x 48 pixels"},
        {"calibrate shallow.tif matrix.txt", "shallow.tif"},
        {"calibrate deep.png matrix.txt", "do not determine a matrix"},
        {"compare small.tif small.png both.png", "small.tif: is 64 x 48 pixels"},
        {"frame frame.jpg", "frame.jpg"},
    };
    for (const auto& [arguments, reason] : refusals) {
        EXPECT_EQ(run(arguments), 1) << arguments;
        EXPECT_THAT(content("err"), HasSubstr(reason)) << arguments;
    }
    for (const char* product : {"matrix.txt", "both.png", "frame.jpg"}) {
        EXPECT_FALSE(std::filesystem::exists(file(product))) << product;
    }
}

} // namespace
