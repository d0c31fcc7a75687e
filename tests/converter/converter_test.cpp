// kx_convert as its users run it: the built program on files that other code wrote and reads back.

#include "program_run.h"
#include "test_images.h"

#include <array>
#include <cmath>
#include <functional>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <stdlib.h>
#include <tiff.h>
#include <unistd.h>

namespace kx_test {

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

void expect_success(const program_result& result, const std::string& output = "")
{
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.output, output);
}

// Every kind of file that is read, and every kind that is written, without changing a sample.
TEST(Containers, KeepEverySample)
{
    const work_directory directory;
    const std::vector<picture> pages{make_picture(37, 21, 1), make_picture(16, 40, 2), make_picture(1, 1, 3)};
    struct source {
        const char* name;
        tiff_layout layout;
        bool stack = true;
    };
    const std::vector<source> sources{
        {"contiguous.tif", {}},
        {"planar.TIFF", {.planar = true}},
        {"tiled.tif", {.tile = 16}},
        {"planar_tiled.tif", {.planar = true, .compression = COMPRESSION_LZW, .tile = 32}},
        {"big_endian.tif", {.planar = true, .mode = "wb"}},
        {"big_tiff.tif", {.compression = COMPRESSION_PACKBITS, .mode = "w8"}},
        {"deflate.tif", {.compression = COMPRESSION_ADOBE_DEFLATE, .orientation = 6}},
        {"single.tif", {.planar = true}, false},
        {"plain.png", {}, false},
        {"interlaced.png", {}, false},
    };
    struct target {
        std::string name;
        std::vector<std::string> options;
        tiff_layout layout;
    };
    const std::vector<target> targets{
        {"o.tif", {}, {}},
        {"o.tiff", {"--planar", "--compression", "none"}, {.planar = true}},
        {"o.TIF", {"--compression", "lzw"}, {.compression = COMPRESSION_LZW}},
        {"p.tif", {"--compression", "deflate", "--planar"}, {.planar = true, .compression = COMPRESSION_ADOBE_DEFLATE}},
        {"o.png", {}, {}},
    };
    for (const source& from : sources) {
        const auto content = from.stack ? pages : std::vector{pages.front()};
        if (const std::string name = from.name; name.ends_with("png")) {
            write_png(directory / name, content.front(), name == "interlaced.png");
        } else {
            write_tiff(directory / name, content, from.layout);
        }
        for (const target& to : targets) {
            SCOPED_TRACE(from.name + (" to " + to.name));
            const bool to_png = to.name.ends_with("png");
            if (to_png && from.stack) {
                continue; // refused, see below
            }
            std::vector<std::string> arguments{from.name, to.name};
            arguments.insert(arguments.end(), to.options.begin(), to.options.end());
            expect_success(convert(directory, arguments));
            if (to_png) {
                EXPECT_EQ(read_png(directory / to.name), content.front());
                continue;
            }
            const tiff_content written = read_tiff(directory / to.name);
            EXPECT_EQ(written.pages, content);
            EXPECT_EQ(written.layout.planar, to.layout.planar);
            EXPECT_EQ(written.layout.compression, to.layout.compression);
            EXPECT_EQ(written.layout.orientation, from.layout.orientation);
            EXPECT_EQ(written.layout.photometric, PHOTOMETRIC_RGB);
            EXPECT_EQ(written.layout.sample_format, SAMPLEFORMAT_UINT);
        }
    }
}

using rgb = std::array<double, 3>;

double srgb(double x)
{
    return x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055;
}

rgb each(const rgb& pixel, const std::function<double(double)>& change)
{
    return {change(pixel[0]), change(pixel[1]), change(pixel[2])};
}

double limit(double value, double minimum, double maximum)
{
    return std::max(minimum, std::min(value, maximum));
}

double rounded(double value)
{
    return std::floor(value + 0.5);
}

// What each option does to a pixel, told a second time in the plainest way. The matrices are such that single
// precision is exact.
TEST(Pixels, AreWhatTheOptionsSay)
{
    const work_directory directory;
    std::string reversed = "# index, value\n";
    for (int index = 65535; index >= 0; --index) {
        reversed += std::to_string(index) + ", " + std::to_string(65535 - index) + "\r\n";
    }
    directory.write("reversed.csv", reversed);
    directory.write("two_bits.txt", "\n10 # first\n20\n\n+30\n255\n");
    directory.write("halves.txt", "0.5,0,0\n0 .5 0 # green\n0 0 5e-1\n");

    struct pixel_case {
        std::vector<std::string> options;
        std::function<rgb(const rgb&)> expected;
        std::uint16_t maximum = 65535; // of the input samples
        unsigned bits = 16;
        unsigned channels = 3;
    };
    const std::vector<pixel_case> cases{
        {{"--matrix", "0", "0", "1", "0.5", "0.25", "-.25", "1.5", "0", "0"},
         [](const rgb& p) {
             return each({p[2], p[0] / 2 + p[1] / 4 - p[2] / 4, p[0] * 1.5},
                         [](double x) { return limit(rounded(x), 0, 65535); });
         }},
        // The matrix given last acts first, whether it comes from a file or not.
        {{"--matrix",   "1",        "0", "0", "0", "0", "0", "0", "0", "0", "--matrix-file",
          "halves.txt", "--matrix", "0", "1", "0", "1", "0", "0", "0", "0", "1"},
         [](const rgb& p) {
             return rgb{rounded(p[1] / 2), 0, 0};
         }},
        {{"--matrix-file", "halves.txt", "--matrix", "1", "1", "0", "0", "1", "0", "0", "0", "1", "--matrix-file",
          "halves.txt"},
         [](const rgb& p) {
             return rgb{rounded((p[0] + p[1]) / 4), rounded(p[1] / 4), rounded(p[2] / 4)};
         }},
        {{"--input-lut", "srgb", "--red-input-lut", "reversed.csv"},
         [](const rgb& p) {
             return rgb{65535 - p[0], std::round(65535 * srgb(p[1] / 65535)), std::round(65535 * srgb(p[2] / 65535))};
         }},
        {{"--green-input-lut", "linear", "--input-lut-bits", "12"},
         [](const rgb& p) {
             return rgb{p[0], std::round(p[1] / 4095 * 65535), p[2]};
         },
         4095},
        {{"--output-lut", "gamma:2.2", "--output-lut-bits", "12", "--blue-clamp", "100", "3000"},
         [](const rgb& p) {
             const auto table = [](double x) { return std::round(65535 * std::pow(x / 4095, 1 / 2.2)); };
             return rgb{table(std::min(p[0], 4095.0)), table(std::min(p[1], 4095.0)), table(limit(p[2], 100, 3000))};
         }},
        {{"--clamp", "1000", "30000", "--red-clamp", "500", "500"},
         [](const rgb& p) {
             return rgb{500, limit(p[1], 1000, 30000), limit(p[2], 1000, 30000)};
         }},
        // Left shifts saturate by default.
        {{"--shift", "-4", "--blue-shift", "3"},
         [](const rgb& p) {
             return rgb{std::floor(p[0] / 16), std::floor(p[1] / 16), std::min(p[2], 8191.0) * 8};
         },
         65535,
         16,
         4},
        {{}, [](const rgb& p) { return each(p, [](double x) { return std::floor(x / 256); }); }, 65535, 8},
        {{"--shift", "0"}, [](const rgb& p) { return each(p, [](double x) { return std::min(x, 255.0); }); }, 65535, 8},
        // A channel with an output LUT is not shifted by default, one without is.
        {{"--red-output-lut", "srgb", "--green-output-lut", "two_bits.txt", "--output-lut-bits", "2"},
         [](const rgb& p) {
             return rgb{std::round(255 * srgb(std::min(p[0], 3.0) / 3)),
                        std::array{10.0, 20.0, 30.0, 255.0}.at(static_cast<std::size_t>(std::min(p[1], 3.0))),
                        std::floor(p[2] / 256)};
         },
         5,
         8,
         4},
    };
    for (std::size_t number = 0; number < cases.size(); ++number) {
        const auto& [options, expected, maximum, bits, channels] = cases[number];
        const picture input = make_picture(61, 33, static_cast<unsigned>(number), maximum);
        write_tiff(directory / "in.tif", {input}, {.planar = number % 2 == 1});
        for (const std::string level : {"scalar", "sse", "avx2", "auto"}) {
            for (const bool planar : {false, true}) {
                SCOPED_TRACE("case " + std::to_string(number) + ", " + level + (planar ? ", planar" : ""));
                std::vector<std::string> arguments{"in.tif", "out.tif", "--vector-level", level};
                arguments.insert(arguments.end(), options.begin(), options.end());
                arguments.insert(arguments.end(),
                                 {"--depth", std::to_string(bits), "--channels", std::to_string(channels)});
                if (planar) {
                    arguments.emplace_back("--planar");
                }
                expect_success(convert(directory, arguments));
                const tiff_content output = read_tiff(directory / "out.tif");
                ASSERT_EQ(output.pages.size(), 1U);
                const picture& page = output.pages.front();
                ASSERT_EQ(page.bits, bits);
                ASSERT_EQ(page.channels, channels);
                EXPECT_EQ(output.extra_samples,
                          std::vector<std::uint16_t>(channels - 3, std::uint16_t{EXTRASAMPLE_UNSPECIFIED}));
                for (std::size_t pixel = 0; pixel < input.samples.size() / 3; ++pixel) {
                    const std::uint16_t* const from = &input.samples[pixel * 3];
                    const rgb wanted = expected({double(from[0]), double(from[1]), double(from[2])});
                    const std::uint16_t* const got = &page.samples[pixel * channels];
                    ASSERT_EQ((rgb{double(got[0]), double(got[1]), double(got[2])}), wanted) << "pixel " << pixel;
                    ASSERT_TRUE(channels == 3 || got[3] == 0);
                }
            }
        }
    }
}

TEST(Pixels, EightBitPngShowsTheHighBytes)
{
    const work_directory directory;
    picture image = make_picture(9, 5, 8);
    write_png(directory / "in.png", image);
    expect_success(convert(directory, {"in.png", "out.png", "--depth", "8"}));
    image.bits = 8;
    for (std::uint16_t& sample : image.samples) {
        sample = static_cast<std::uint16_t>(sample >> 8);
    }
    EXPECT_EQ(read_png(directory / "out.png"), image);
}

TEST(Outputs, ReplaceWhatWasThereAndKeepItsPermissionsAndLinks)
{
    const work_directory directory;
    const picture image = make_picture(8, 8, 4);
    write_tiff(directory / "in.tif", {image});
    directory.write("old.tif", "an older file");
    fs::permissions(directory / "old.tif", fs::perms(0640));
    fs::create_symlink("old.tif", directory / "link.tif");
    expect_success(convert(directory, {"in.tif", "link.tif"}));
    EXPECT_TRUE(fs::is_symlink(directory / "link.tif"));
    EXPECT_EQ(read_tiff(directory / "old.tif").pages, std::vector{image});
    EXPECT_EQ(fs::status(directory / "old.tif").permissions(), fs::perms(0640));
    expect_success(convert(directory, {"in.tif", "new.tif"}, "umask 027;"));
    EXPECT_EQ(fs::status(directory / "new.tif").permissions(), fs::perms(0640));
    EXPECT_EQ(directory.content().size(), 4U);
}

// The program in a tree like the installed one, where companion modules can be missing.
TEST(Companions, AreReportedAsTheyAre)
{
    const work_directory tree;
    const work_directory directory;
    write_tiff(directory / "in.tif", {make_picture(50, 2, 4), make_picture(50, 2, 4)});
    fs::create_directory(tree / "bin");
    fs::create_directory(tree / "lib");
    const fs::path program = tree / "bin/kx_convert";
    fs::copy(KX_CONVERT_PROGRAM, program);
    fs::copy(KX_LIBRARY, tree / "lib");

    const program_result without = run_program(program, directory, {"in.tif", "out.tif"});
    EXPECT_EQ(without.exit_code, 1);
    EXPECT_THAT(without.error, AllOf(HasSubstr("kx_convert: "), HasSubstr("korvex_kvi_LUT.so")));
    EXPECT_EQ(directory.content().size(), 1U);

    fs::copy(KX_LUT_MODULE, tree / "lib");
    const program_result scalar =
        run_program(program, directory, {"in.tif", "out.tif", "--info", "--vector-level", "avx2"});
    EXPECT_EQ(scalar.exit_code, 0);
    EXPECT_THAT(scalar.output, HasSubstr("vector level: avx2 requested: avx2 module missing, sse module missing, "
                                         "scalar kernels\ntransformed: 2 pages, 0.000 megapixels in "));

    const program_result full = convert(directory, {"in.tif", "out.tif", "--info"});
    EXPECT_THAT(full.output, HasSubstr("vector level: auto requested: "));
    EXPECT_THAT(full.output, Not(HasSubstr("missing")));
    EXPECT_THAT(full.output, testing::ContainsRegex("[0-9] Mpixel/s\n$"));
}

TEST(Terminal, SeesProgressOfStacksOnly)
{
    const work_directory directory;
    write_tiff(directory / "stack.tif", {make_picture(5, 5, 1), make_picture(5, 5, 2)});
    write_tiff(directory / "single.tif", {make_picture(5, 5, 1)});
    for (const auto& [name, progress] : {std::pair{"stack.tif", true}, std::pair{"single.tif", false}}) {
        const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
        if (terminal < 0) {
            GTEST_SKIP() << "this machine has no pseudo-terminals";
        }
        ASSERT_EQ(grantpt(terminal), 0);
        ASSERT_EQ(unlockpt(terminal), 0);
        const std::string device = ptsname(terminal);
        const int keep_open = open(device.c_str(), O_RDWR | O_NOCTTY); // or reading could end in an error
        const program_result result = run_program(KX_CONVERT_PROGRAM, directory, {name, "out.tif"}, "", device);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_EQ(result.output, "");
        fcntl(terminal, F_SETFL, O_NONBLOCK);
        std::string shown(4096, '\0');
        shown.resize(static_cast<std::size_t>(std::max<ssize_t>(0, read(terminal, shown.data(), shown.size()))));
        EXPECT_EQ(shown.find("***") != std::string::npos, progress) << shown;
        close(keep_open);
        close(terminal);
    }
}

TEST(CommandLine, HelpAndVersionGoToStandardOutput)
{
    const work_directory directory;
    const program_result help = convert(directory, {"--help"});
    EXPECT_EQ(help.exit_code, 0);
    for (const char* text : {"--matrix-file", "--blue-input-lut", "--output-lut-bits", "--red-clamp", "--green-shift",
                             "--vector-level", "Example"}) {
        EXPECT_THAT(help.output, HasSubstr(text));
    }
    EXPECT_THAT(convert(directory, {"--version"}).output, testing::MatchesRegex("kx_convert [0-9]+.[0-9]+.[0-9]+\n"));
}

} // namespace

} // namespace kx_test
