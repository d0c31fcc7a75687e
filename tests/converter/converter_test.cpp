// kx_convert as its users run it: the built program on files that other code wrote and reads back.
#include "tool_test.h"

#include <algorithm>
#include <array>

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
    const program_result result = run_program(KX_CONVERT_PROGRAM, directory, input + " --overwrite " + arguments, prologue);
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
            run_program(KX_CONVERT_PROGRAM, directory, files + options + " --overwrite --threads " + threads);
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
TEST(Companions, VectorModulesMayBeMissing)
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
    EXPECT_THAT(run_program(program, directory, "in.tif out.tif --overwrite --info").output,
                testing::ContainsRegex("^file: out.tif\ntransformed: 2 pages, 0.000 megapixels in .* Mpixel/s\n"
                                       "with reading .* Mpixel/s\nclipped samples: .*\n$"));
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
        EXPECT_EQ(shown.find("2 of 2") != std::string::npos, progress) << shown;
    }
    // An error begins on a line of its own.
    write_image(directory / "bad.tif", {{make_picture(5, 5, 1, 255), page}});
    EXPECT_EQ(run_program(KX_CONVERT_PROGRAM, directory, "bad.tif --overwrite --input-bits 8 --threads 1 " + to_terminal).exit_code,
              1);
    const auto length = static_cast<std::size_t>(std::max<ssize_t>(0, read(master, text.data(), text.size())));
    EXPECT_THAT(std::string(text.data(), length), HasSubstr("1 of 2\r\nkx_convert: bad.tif: page 2: "));
    close(terminal);
    close(master);
}

TEST(CommandLine, HelpAndVersionGoToStandardOutput)
{
    const work_directory directory;
    const program_result help = run_program(KX_CONVERT_PROGRAM, directory, "--help");
    EXPECT_EQ(help.exit_code, 0);
    EXPECT_THAT(help.output, testing::AllOf(HasSubstr("--red-clamp"), HasSubstr("Exit codes")));
    EXPECT_THAT(run_program(KX_CONVERT_PROGRAM, directory, "--version").output,
                testing::MatchesRegex("kx_convert [0-9]+.[0-9]+.[0-9]+\n"));
}

} // namespace

} // namespace kx_test
