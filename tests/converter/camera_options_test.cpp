// The converter with profiles and the options that override them: the same bytes as the library set up by the profile
// that they amount to.
#include "profile/processor_setup.h"
#include "profile/white_balance.h"
#include "tool_test.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <functional>

namespace kx_test {

namespace {

using kx::profile::camera_profile;
using kx::profile::color_matrix;
using kx::profile::profile_values;
using kx::profile::tone_curve;

// A 12-bit camera's picture and profile in a directory.
class CameraOptions : public testing::Test {
protected:
    CameraOptions()
    {
        write_image(directory_ / "photo.tif", {{photo_}});
        kx::profile::save_profile(camera_profile(camera_), directory_ / "camera.json");
    }

    void write(const char* name, const std::string& text) { std::ofstream(directory_ / name) << text; }

    template <typename Sample>
    [[nodiscard]] picture converted(const kx::profile::library_settings& settings) const
    {
        using korvex::color::image_view;
        constexpr auto layout = korvex::color::pixel_layout::interleaved_rgb;
        std::vector<Sample> result(photo_.samples.size());
        make_processor(korvex::color::library(), settings)
            .transform(image_view<const std::uint16_t>(photo_.samples.data(), layout, photo_.width, photo_.height),
                       image_view<Sample>(result.data(), layout, photo_.width, photo_.height),
                       transform_options_of(settings));
        return {photo_.width, photo_.height, 3, 8 * sizeof(Sample), {result.begin(), result.end()}};
    }

    void expect_like(const std::string& arguments, const profile_values& values, std::optional<int> LUT_bits = {})
    {
        const auto settings = make_settings(camera_profile(values), LUT_bits);
        const picture expected =
            values.output_depth == 8 ? converted<std::uint8_t>(settings) : converted<std::uint16_t>(settings);
        const program_result result = run_program(KX_CONVERT_PROGRAM, directory_, "photo.tif out.tif " + arguments);
        ASSERT_EQ(result.exit_code, 0) << arguments << '\n' << result.error;
        EXPECT_TRUE(read_image(directory_ / "out.tif").pages.front() == expected) << arguments;
    }

    work_directory directory_;
    const picture photo_ = make_picture(60, 40, 5, 4095);
    const profile_values camera_{.bits = 12,
                                 .black_level = {60, 64.5, 70},
                                 .white_balance = {1.9, 1, 1.5},
                                 .matrix = {{{1.5, -0.4, -0.1}, {-0.2, 1.4, -0.2}, {0, -0.5, 1.5}}},
                                 .tone_curve = tone_curve::named("srgb"),
                                 .output_depth = 8};
};

TEST_F(CameraOptions, OverrideTheProfile)
{
    const auto with = [this](const std::function<void(profile_values&)>& change) {
        profile_values values = camera_;
        change(values);
        return values;
    };
    const std::string profile = "--profile camera.json ";
    expect_like(profile, camera_);
    expect_like(profile + "--depth 16", with([](auto& values) { values.output_depth = 16; }));
    expect_like(profile + "--input-bits 14", with([](auto& values) { values.bits = 14; }));
    expect_like(profile + "--black-level 1 2.5 3", with([](auto& values) { values.black_level = {1, 2.5, 3}; }));
    expect_like(profile + "--white-balance 1 1.25 2", with([](auto& values) { values.white_balance = {1, 1.25, 2}; }));
    const color_matrix swapping{{{2, 1, 0}, {0, 0, 1}, {0, 1, 0}}}; // the product, the last one acting first
    expect_like(profile + "--matrix 2 0 1  0 1 0  0 0 1 --matrix 1 0 0  0 0 1  0 1 0",
                with([&](auto& values) { values.matrix = swapping; }));
    const auto gamma = [](auto& values) { values.tone_curve = tone_curve::named("gamma:2"); };
    expect_like(profile + "--output-lut gamma:2", with(gamma));
    expect_like(profile + "--output-lut gamma:2 --output-lut-bits 10", with(gamma), 10);
    expect_like(profile + "--output-lut-bits 9", camera_, 9);
    expect_like(profile + "--output-lut linear", with([](auto& values) { values.tone_curve = {}; }), 12);
    // Without a profile: all that is not given changes nothing.
    expect_like("--input-bits 12 --black-level 9 9 9 --depth 8",
                {.bits = 12, .black_level = {9, 9, 9}, .output_depth = 8});
    expect_like(
        "--input-bits 12 --white-balance 1 1 2 --depth 8 --output-lut inverse:rec709",
        {.bits = 12, .white_balance = {1, 1, 2}, .tone_curve = tone_curve::named("inverse:rec709"), .output_depth = 8});
    expect_like("--black-level 9 9 9", {.black_level = {9, 9, 9}});

    kx::images::image_16 photo{.width = photo_.width, .height = photo_.height, .samples = photo_.samples, .about = {}};
    const auto gains = kx::profile::balance_from_area(photo, {10, 20, 30, 5}, camera_profile(camera_));
    expect_like(profile + "--white-balance auto:10,20,30,5", with([&](auto& values) { values.white_balance = gains; }));

    // Single channels: clamps count before the output LUT, and a table takes the place of one channel's balance.
    auto settings = make_settings(camera_profile(camera_));
    for (std::size_t sample = 0; sample < 4096; ++sample) {
        settings.input_LUTs[1][sample] =
            static_cast<std::uint32_t>(std::lround(static_cast<double>(sample) * 65535 / 4095));
    }
    std::ranges::fill(settings.output_LUTs[2].begin(), settings.output_LUTs[2].begin() + 1000,
                      settings.output_LUTs[2][1000]);
    ASSERT_EQ(run_program(KX_CONVERT_PROGRAM, directory_,
                          "photo.tif out.tif --green-input-lut linear --red-clamp 1000 4095 " + profile)
                  .exit_code,
              0);
    EXPECT_TRUE(read_image(directory_ / "out.tif").pages.front() == converted<std::uint8_t>(settings));
}

TEST_F(CameraOptions, CurvesFromFiles)
{
    write("one.spi1d", "Version 1\nFrom -1.0 1.0\nLength 5\nComponents 1\n{\n 0\n 0.9\n 0.25\n 0.5\n 1\n}\n");
    write("three.spi1d", "Version 1\nFrom 0 1\nLength 2\nComponents 3\n{\n0 0.1 0.2\n1 0.9 0.8\n}\n");
    write("table.cube", "TITLE \"Film\"\n# comment\nLUT_1D_SIZE 3\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 2\n"
                        "0 0 0.3\n0.25 0.5 0.5\n1 1 0.9\n");
    write("range.cube", "LUT_1D_SIZE 2\nLUT_1D_INPUT_RANGE 0.0 1.0\n1 1 1\n0 0 0\n");
    write("floats.txt", "0.25\n0.5 # middle\n1\n");
    const auto expect_curve = [this](const std::string& file, const std::vector<double>& blue,
                                     const std::vector<double>& green, const std::vector<double>& red) {
        auto settings = make_settings(camera_profile(camera_));
        for (std::size_t channel = 0; channel < 3; ++channel) {
            profile_values values = camera_;
            values.tone_curve = tone_curve::from_table(std::array{blue, green, red}[channel]);
            settings.output_LUTs[channel] = make_settings(camera_profile(values)).output_LUTs[channel];
        }
        const program_result result =
            run_program(KX_CONVERT_PROGRAM, directory_, "photo.tif out.tif --profile camera.json --output-lut " + file);
        ASSERT_EQ(result.exit_code, 0) << result.error;
        EXPECT_TRUE(read_image(directory_ / "out.tif").pages.front() == converted<std::uint8_t>(settings)) << file;
    };
    expect_curve("one.spi1d", {0.25, 0.5, 1}, {0.25, 0.5, 1}, {0.25, 0.5, 1});
    expect_curve("three.spi1d", {0.2, 0.8}, {0.1, 0.9}, {0, 1});
    expect_curve("table.cube", {0.3, 0.5}, {0, 0.5, 1}, {0, 0.25, 1}); // blue reaches the table's first half
    expect_curve("range.cube", {1, 0}, {1, 0}, {1, 0});
    expect_curve("floats.txt", {0.25, 0.5, 1}, {0.25, 0.5, 1}, {0.25, 0.5, 1});
}

} // namespace

} // namespace kx_test
