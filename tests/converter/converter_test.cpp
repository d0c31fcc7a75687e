// kx_convert as its users run it: the built program on files that other code wrote and reads back.
#include "tool_test.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include <gmock/gmock.h>

#include <fcntl.h>
#include <pty.h>
#include <termios.h>
#include <tiff.h>
#include <unistd.h>

namespace kx_test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

void convert(const work_directory& directory, const std::string& input, const std::string& arguments,
             const std::string& prologue = "")
{
    const program_result result = run_program(KX_CONVERT_PROGRAM, directory, input + " " + arguments, prologue);
    EXPECT_EQ(result.exit_code, 0) << input << arguments;
    EXPECT_EQ(result.output + result.error, "") << input << arguments;
}

// Every kind of file that is read, and every kind that is written, without changing a sample.
TEST(Containers, KeepEverySample)
{
    const work_directory directory;
    const std::vector<picture> stack{make_picture(37, 21, 1), make_picture(16, 40, 2), make_picture(1, 1, 3)};
    const std::vector<picture> single{stack.front()};
    const std::map<std::string, image_file> sources{
        {"contiguous.tif", {stack}},
        {"planar.TIFF", {.pages = stack, .planar = true}},
        {"tiled.tif", {.pages = stack, .tile = 16}},
        {"planar_tiled.tif", {.pages = stack, .planar = true, .compression = COMPRESSION_LZW, .tile = 32}},
        {"big_endian.tif", {.pages = stack, .planar = true, .kind = 'b'}},
        {"big_tiff.tif", {.pages = stack, .compression = COMPRESSION_PACKBITS, .kind = '8'}},
        {"deflate.tif", {.pages = stack, .compression = COMPRESSION_ADOBE_DEFLATE, .orientation = 6}},
        {"single.tif", {.pages = single, .planar = true}},
        {"plain.png", {single}},
        {"interlaced.png", {.pages = single, .interlaced = true}},
    };
    const std::map<std::string, image_file> targets{
        {"o.tif", {}},
        {"o.tiff --planar --compression none", {.planar = true}},
        {"o.TIF --compression lzw", {.compression = COMPRESSION_LZW}},
        {"p.tif --compression deflate --planar", {.planar = true, .compression = COMPRESSION_ADOBE_DEFLATE}},
        {"z.tif --compression zstd --level 3", {.compression = COMPRESSION_ZSTD}},
        {"o.png", {}},
    };
    for (const auto& [source, content] : sources) {
        write_image(directory / source, content);
        for (const auto& [target, layout] : targets) {
            if (target == "o.png" && content.pages.size() > 1) {
                continue; // refused, as the other tests see
            }
            convert(directory, source, target);
            image_file wanted = layout;
            wanted.pages = content.pages;
            wanted.orientation = content.orientation;
            EXPECT_TRUE(read_image(directory / target.substr(0, target.find(' '))) == wanted) << source << target;
        }
    }
}

// Also with pages of several strips, and whichever page is ready first.
TEST(Threads, ChangeNoByteAndNoMessage)
{
    const work_directory directory;
    std::vector<picture> stack{make_picture(700, 500, 1)};
    for (unsigned seed = 2; seed < 9; ++seed) {
        stack.push_back(make_picture(200 * (seed % 3) + 1, 100, seed));
    }
    write_image(directory / "stack.tif", {.pages = stack, .planar = true});
    write_image(directory / "single.tif", {{stack.front()}});
    write_image(directory / "damaged.tif", {.pages = stack, .compression = COMPRESSION_LZW});
    std::fstream(directory / "damaged.tif", std::ios::in | std::ios::out).seekp(2'500'000) << std::string(50, 'x');
    const auto run = [&](const std::string& files, const std::string& options, const char* threads) {
        const program_result result =
            run_program(KX_CONVERT_PROGRAM, directory, files + options + " --threads " + threads);
        return result.error + (result.exit_code == 0 ? read_file(directory / "out.tif") : "");
    };
    for (const std::string options : {"", " --compression lzw", " --compression deflate --planar --level 9"}) {
        for (const std::string files : {"stack.tif out.tif", "single.tif out.tif", "damaged.tif out.tif"}) {
            const std::string alone = run(files, options, "1");
            EXPECT_EQ(alone.starts_with("kx_convert: damaged.tif: page "), files.starts_with("damaged"));
            for (const char* const threads : {"2", "50"}) {
                EXPECT_TRUE(run(files, options, threads) == alone) << files << options << threads;
            }
        }
    }
}

struct rgb {
    double r, g, b;
};

rgb color(double r, double g, double b)
{
    return {r, g, b};
}

double srgb(double x)
{
    return 65535 * (x <= 0.0031308 ? 12.92 * x : 1.055 * std::pow(x, 1 / 2.4) - 0.055);
}

double entry(const std::array<double, 4>& table, double index)
{
    return table.at(static_cast<std::size_t>(std::min(index, 3.0)));
}

// What each option does to a pixel, told a second time in the plainest way: what comes out is rounded and limited
// to what the output can hold. The matrices are such that single precision is exact.
TEST(Pixels, AreWhatTheOptionsSay)
{
    const work_directory directory;
    std::ofstream(directory / "indexed.csv") << "# index, value\n3, 10\r\n2 ,20\r\n\r\n0,+300 # last\r\n1,65535\r\n";
    std::ofstream(directory / "plain.txt") << "\n10 # first\n20\n\n+30\n255\n";
    std::ofstream(directory / "halves.txt") << "0.5,0,0\n0 .5 0 # green\n0 0 5e-1\n";
    const std::array<double, 4> indexed{300, 65535, 20, 10};
    const std::array<double, 4> plain{10, 20, 30, 255};
    struct pixel_case {
        std::string options;
        std::function<rgb(rgb)> expected;
        std::uint16_t maximum = 65535; // of the input samples
    };
    const std::vector<pixel_case> cases{
        {"--matrix 0 0 1 0.5 0.25 -.25 1.5 0 0",
         [](rgb p) { return color(p.b, p.r / 2 + p.g / 4 - p.b / 4, p.r * 1.5); }},
        // The matrix given last acts first, whether it comes from a file or not.
        {"--matrix 1 0 0 0 0 0 0 0 0 --matrix-file halves.txt --matrix 0 1 0 1 0 0 0 0 1",
         [](rgb p) { return color(p.g / 2, 0, 0); }},
        {"--matrix-file halves.txt --matrix 1 1 0 0 1 0 0 0 1 --matrix-file halves.txt",
         [](rgb p) { return color((p.r + p.g) / 4, p.g / 4, p.b / 4); }},
        {"--input-lut srgb --green-input-lut gamma:0.5",
         [](rgb p) { return color(srgb(p.r / 65535), p.g * p.g / 65535, srgb(p.b / 65535)); }},
        {"--red-input-lut indexed.csv --blue-input-lut linear --input-lut-bits 2",
         [&](rgb p) { return color(entry(indexed, p.r), p.g, p.b * 21845); }, 3},
        {"--red-output-lut gamma:2.2 --output-lut-bits 12 --blue-clamp 100 3000 --blue-output-lut linear",
         [](rgb p) {
             return color(65535 * std::pow(std::min(p.r / 4095, 1.0), 1 / 2.2), p.g,
                          65535 * std::clamp(p.b, 1e2, 3e3) / 4095);
         }},
        {"--clamp 1000 30000 --red-clamp 500 500 --blue-output-lut linear",
         [](rgb p) { return color(500, std::clamp(p.g, 1e3, 3e4), std::clamp(p.b, 1e3, 3e4)); }},
        // Left shifts saturate by default.
        {"--channels 4 --shift -4 --blue-shift 3",
         [](rgb p) { return color(std::floor(p.r / 16), std::floor(p.g / 16), std::min(p.b, 8191.0) * 8); }},
        {"--depth 8", [](rgb p) { return color(std::floor(p.r / 256), std::floor(p.g / 256), std::floor(p.b / 256)); }},
        {"--depth 8 --shift 0", [](rgb p) { return p; }},
        // A channel with an output LUT is not shifted by default, one without is.
        {"--depth 8 --channels 4 --red-output-lut srgb --green-output-lut plain.txt --output-lut-bits 2",
         [&](rgb p) { return color(srgb(std::min(p.r / 3, 1.0)) / 257, entry(plain, p.g), std::floor(p.b / 256)); }, 5},
    };
    for (const auto& [options, expected, maximum] : cases) {
        const unsigned bits = options.starts_with("--depth 8") ? 8 : 16;
        const unsigned channels = options.find("--channels 4") != std::string::npos ? 4 : 3;
        const picture input = make_picture(61, 33, 7, maximum);
        write_image(directory / "in.tif", {{input}});
        write_image(directory / "planar.tif", {.pages = {input}, .planar = true});
        picture wanted{.width = 61, .height = 33, .channels = channels, .bits = bits};
        for (auto from = input.samples.begin(); from != input.samples.end(); from += 3) {
            const auto [r, g, b] = expected(color(from[0], from[1], from[2]));
            for (const double value : {r, g, b}) {
                const double limited = std::clamp(std::round(value), 0.0, (1 << bits) - 1.0);
                wanted.samples.push_back(static_cast<std::uint16_t>(limited));
            }
            wanted.samples.resize(wanted.samples.size() + channels - 3); // 0
        }
        for (const std::string level : {" --vector-level scalar ", " --vector-level sse ", " --vector-level avx2 "}) {
            for (const std::string files : {"in.tif out.tif", "planar.tif out.tif", "in.tif out.tif --planar",
                                            "planar.tif out.tif --planar", "planar.tif out.png"}) {
                const bool to_png = files.ends_with("png");
                if (to_png && channels == 4) {
                    continue; // refused
                }
                const std::string arguments = level + "--quiet " + options; // of clipped samples
                convert(directory, files, arguments);
                const image_file output = read_image(directory / (to_png ? "out.png" : "out.tif"));
                EXPECT_EQ(output.pages.front().samples, wanted.samples) << files << arguments;
                EXPECT_TRUE((output
                             == image_file{.pages = {wanted},
                                           .planar = files.ends_with("--planar"),
                                           .fourth_sample = channels == 4 ? EXTRASAMPLE_UNSPECIFIED : -1}))
                    << files << arguments;
            }
        }
    }
}

TEST(Outputs, ReplaceWhatWasThereAndKeepItsPermissionsAndLinks)
{
    const work_directory directory;
    const image_file image{{make_picture(8, 8, 4)}};
    write_image(directory / "in.tif", image);
    std::ofstream(directory / "old.tif") << "an older file";
    fs::permissions(directory / "old.tif", fs::perms(0640));
    fs::create_symlink("old.tif", directory / "link.tif");
    convert(directory, "in.tif", "link.tif");
    EXPECT_TRUE(fs::is_symlink(directory / "link.tif"));
    EXPECT_TRUE(read_image(directory / "old.tif") == image);
    EXPECT_EQ(fs::status(directory / "old.tif").permissions(), fs::perms(0640));
    EXPECT_EQ(directory.content().size(), 3U);
}

// The program in a tree like the installed one, where companion modules can be missing.
TEST(Companions, AreReportedAsTheyAre)
{
    const work_directory tree;
    const work_directory directory;
    write_image(directory / "in.tif", {{make_picture(50, 2, 4), make_picture(50, 2, 4)}});
    fs::create_directory(tree / "bin");
    fs::create_directory(tree / "lib");
    fs::copy(KX_CONVERT_PROGRAM, tree / "bin");
    fs::copy(KX_LIBRARY, tree / "lib");
    const std::string program = tree / "bin/kx_convert";

    const program_result without = run_program(program, directory, "in.tif out.tif");
    EXPECT_EQ(without.exit_code, 1);
    EXPECT_THAT(without.error, testing::ContainsRegex("^kx_convert: .*korvex_kvi_LUT.so"));
    EXPECT_EQ(directory.content().size(), 1U);

    fs::copy(KX_LUT_MODULE, tree / "lib");
    EXPECT_THAT(run_program(program, directory, "in.tif out.tif --info").output,
                HasSubstr("\nvector level: auto requested: avx2 module missing, sse module missing, scalar kernels\n"
                          "transformed: 2 pages, 0.000 megapixels in "));
    const program_result asked = run_program(program, directory, "in.tif out.tif --vector-level avx2");
    EXPECT_EQ(asked.exit_code, 2);
    EXPECT_THAT(asked.error, HasSubstr("--vector-level: the module asked for is missing (avx2 requested"));

    const std::string avx2 =
        __builtin_cpu_supports("avx2") ? "loaded and accepts this machine\n" : "refuses this machine, sse";
    EXPECT_THAT(run_program(KX_CONVERT_PROGRAM, directory, "in.tif out.tif --info").output,
                testing::ContainsRegex("^file: out.tif\nvector level: auto requested: avx2 module " + avx2
                                       + ".* Mpixel/s\nwith reading .* Mpixel/s\nclipped samples: .*\n$"));
}

TEST(Terminal, SeesProgressOfStacksOnly)
{
    const work_directory directory;
    const picture page = make_picture(5, 5, 1);
    write_image(directory / "single.tif", {{page}});
    write_image(directory / "stack.tif", {{page, page}});
    fs::create_directory(directory / "folder");
    int master = -1;
    int terminal = -1;
    std::array<char, 1000> text{};
    if (openpty(&master, &terminal, text.data(), nullptr, nullptr) != 0) {
        GTEST_SKIP() << "this machine has no pseudo-terminals";
    }
    fcntl(master, F_SETFL, O_NONBLOCK);
    const std::string to_terminal = std::string("folder/out.tif 2>") + text.data();
    for (const auto& [source, progress] : {std::pair{"stack.tif", true}, std::pair{"single.tif", false}}) {
        convert(directory, source, to_terminal);
        const std::string shown(text.data(),
                                static_cast<std::size_t>(std::max<ssize_t>(0, read(master, text.data(), text.size()))));
        EXPECT_EQ(shown.find("***") != std::string::npos, progress) << shown;
    }
    // An error begins on a line of its own.
    write_image(directory / "bad.tif", {{make_picture(5, 5, 1, 3), page}});
    EXPECT_EQ(run_program(KX_CONVERT_PROGRAM, directory,
                          "bad.tif --input-lut srgb --input-lut-bits 2 --threads 1 " + to_terminal)
                  .exit_code,
              1);
    const auto length = static_cast<std::size_t>(std::max<ssize_t>(0, read(master, text.data(), text.size())));
    EXPECT_THAT(std::string(text.data(), length), HasSubstr("*\r\nkx_convert: bad.tif: page 2: "));
    close(terminal);
    close(master);
}

TEST(CommandLine, HelpAndVersionGoToStandardOutput)
{
    const work_directory directory;
    const program_result help = run_program(KX_CONVERT_PROGRAM, directory, "--help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_THAT(help.output, testing::AllOf(HasSubstr("--red-clamp"), HasSubstr("Exit codes")));
    EXPECT_LE(std::ranges::count(help.output, '\n'), 50) << "two screens";
    EXPECT_THAT(run_program(KX_CONVERT_PROGRAM, directory, "--version").output,
                testing::MatchesRegex("kx_convert [0-9]+.[0-9]+.[0-9]+\n"));
}

} // namespace

} // namespace kx_test
