// What kx_convert refuses: each with its reason, and with nothing changed or left behind.
#include "tool_test.h"

#include <gmock/gmock.h>

#include <sys/stat.h>
#include <tiff.h>

namespace kx_test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

const picture good = make_picture(150, 150, 5);

struct refusal {
    std::string arguments; // after good.tif and out.tif, if they begin with an option, whose name the error must tell
    std::vector<std::string> texts;
    std::string file{}; // the content of a file of this name, which the error must tell too
};

// Everything refused leaves the directory, with an older out.tif and out.png in it, exactly as it was.
void expect_refusals(const std::vector<refusal>& refusals, const std::string& prologue = "")
{
    const work_directory directory;
    write_image(directory / "good.tif", {{good}});
    write_image(directory / "stack.tif", {{good, good}});
    write_image(directory / "rotated.tif", {.pages = {good}, .orientation = 3});
    fs::create_directory(directory / "folder.tif");
    fs::create_symlink("good.tif", directory / "link.tif");
    mkfifo((directory / "pipe.tif").c_str(), 0600);
    std::ofstream(directory / "protected.tif") << "not to be changed";
    fs::permissions(directory / "protected.tif", fs::perms(0444));
    std::ofstream(directory / "out.tif") << "an older file";
    std::ofstream(directory / "out.png") << "an older picture";
    std::ofstream(directory / "camera.json")
        << R"({"version": 1, "bits": 12, "tone_curve": "srgb", "output_depth": 8})";
    std::ofstream(directory / "wrong.json") << R"({"version": 1, "bits": 12, "white_balance": [1, 1, 0]})";
    for (const auto& [given, texts, file] : refusals) {
        SCOPED_TRACE(given + " " + testing::PrintToString(texts));
        for (const char* const name : {"file", "file.cube", "file.spi1d"}) {
            std::ofstream(directory / name) << file;
        }
        const auto before = directory.content();
        const bool option = given.starts_with("--");
        const program_result result =
            run_program(KX_CONVERT_PROGRAM, directory, "--overwrite " + (option ? "good.tif out.tif " + given : given), prologue);
        EXPECT_GT(result.exit_code, 0);
        EXPECT_EQ(result.output, "");
        EXPECT_THAT(result.error, testing::StartsWith("kx_convert: "));
        EXPECT_THAT(result.error, HasSubstr(option ? given.substr(0, given.find(' ')) : ""));
        EXPECT_THAT(result.error, HasSubstr(file.empty() ? "" : "file"));
        for (const std::string& text : texts) {
            EXPECT_THAT(result.error, HasSubstr(text));
        }
        EXPECT_TRUE(directory.content() == before); // too long to print
    }
}

TEST(Refusals, OfOptionsNameTheOptionAndTheReason)
{
    expect_refusals({
        {"good.tif", {"output"}},
        {"good.tif out.tif third.tif", {"third.tif"}},
        {"--sharpen", {}},
        {"--matrix 1 2 3", {"9"}},
        {"--matrix 1 2 3 4 5 6 7 8 nan", {"must be a number"}},
        {"--matrix 1 2 3 4 5 6 7 8 9x", {"9x"}},
        {"--matrix-file file", {"nine numbers, not 8"}, "1 2 3 4 5 6 7 8"},
        {"--matrix-file none.txt", {"none.txt", "No such file"}},
        {"--matrix-file .", {"Is a directory"}},
        {"--input-lut file", {"3 entries", "65536"}, "1\n2\n3\n"},
        {"--input-lut file --input-bits 10", {"3 entries", "takes 1024"}, "1\n2\n3\n"},
        {"--red-output-lut file --output-lut-bits 2", {"line 4", "'1'"}, "0,1\n# again\n1,2\n1,3\n3,4\n"},
        {"--red-output-lut file --output-lut-bits 2", {"line 4", "'4'"}, "0,1\n1,2\n2,3\n4,4\n"},
        {"--output-lut file --output-lut-bits 2", {"line 2"}, "0\n1,2\n2\n3\n"},
        {"--output-lut file --output-lut-bits 2", {"line 4", "'65536'"}, "0\n1\n2\n65536\n"},
        {"--output-lut file --output-lut-bits 2 --depth 8", {"256"}, "0\n1\n2\n256\n"},
        {"--output-lut gamma:0", {"gamma:0"}},
        {"--blue-output-lut gamma:0", {"gamma:0"}},
        {"--output-lut-bits 0 --output-lut srgb", {"0"}},
        {"--output-lut-bits 12", {"no output LUT"}},
        {"--green-clamp 7 6", {"7", "6"}},
        {"--clamp 0 65536", {"65536"}},
        {"--clamp -1 5", {"-1"}},
        {"--clamp 0 65535 --depth 8 --red-shift -7", {"65535", "-7", "8-bit"}},
        {"--clamp 0 4096 --output-lut srgb --output-lut-bits 12", {"4096", "4095"}},
        {"--shift 16", {"16"}},
        {"--depth 12", {"12"}},
        {"--channels 2", {"2"}},
        {"--compression zip", {"zip"}},
        {"--vector-level sse9", {"sse9"}},
        {"good.tif out.png --channels 4", {"--channels", "PNG", "alpha"}},
        {"good.tif out.png --planar", {"--planar", "PNG"}},
        {"good.tif out.png --compression none", {"--compression", "PNG"}},
        {"--pages 2", {"no page 2", "has 1"}},
        {"--pages 1,0-1", {"'0-1'"}},
        {"--pages 2-1", {"'2-1'"}},
        {"--input-bits 17", {"8 to 16"}},
        {"--level 5", {"nothing to compress"}},
        {"--threads 0", {"0"}},
        {"stack.tif out.png", {"out.png", "one page", "2"}},
        {"good.tif out.jpeg", {"out.jpeg", "suffix"}},
    });
}

TEST(Refusals, OfInputFilesNameTheFileAndWhatWasFound)
{
    const auto encoded = [](const char* type, const image_file& content) {
        const work_directory directory;
        write_image(directory / type, content);
        return read_file(directory / type);
    };
    const auto of = [](unsigned channels, unsigned bits) {
        return picture{.width = 4, .height = 3, .channels = channels, .bits = bits, .samples = good.samples};
    };
    // One row, but a claim to more than any pixel count, or to more than there is.
    const auto claim = [](std::uint32_t edge) {
        return picture{.width = edge, .height = edge, .samples = std::vector<std::uint16_t>(std::size_t{edge} * 3)};
    };
    picture opaque = of(4, 16);
    picture empty = opaque;
    for (std::size_t fourth = 3; fourth < opaque.samples.size(); fourth += 4) {
        opaque.samples[fourth] = 65535;
        empty.samples[fourth] = 0;
    }
    const std::string tif = encoded("tif", {{good, good}});
    const std::string png = encoded("png", {{good}});
    std::string tiles = encoded("tif", {.pages = {good}, .compression = COMPRESSION_ADOBE_DEFLATE, .tile = 16});
    expect_refusals({
        {"none.tif out.tif", {"none.tif", "No such file"}},
        {"folder.tif out.tif", {"several inputs need a folder", "out.tif"}},
        {"file out.tif", {"page 3", "2 unsigned"}, encoded("tif", {{good, good, of(2, 8)}})},
        {"file out.tif",
         {"1 unsigned", "grey"},
         encoded("tif", {.pages = {of(1, 16)}, .photometric = PHOTOMETRIC_MINISBLACK})},
        {"file out.tif", {"fourth sample"}, encoded("tif", {{of(4, 16)}})},
        {"file out.tif", {"page 2", "fourth sample"}, encoded("tif", {.pages = {opaque, of(4, 16)}, .planar = true})},
        {"file out.tif", {"alpha"}, encoded("tif", {.pages = {opaque, of(4, 16)}, .fourth_sample = 2})},
        {"file out.tif", {"alpha"}, encoded("tif", {.pages = {empty}, .fourth_sample = 1})},
        {"file out.tif", {"other than RGB"}, encoded("tif", {.pages = {good}, .photometric = PHOTOMETRIC_CIELAB})},
        {"file out.tif", {"3 signed"}, encoded("tif", {.pages = {good}, .sample_format = SAMPLEFORMAT_INT})},
        {"file out.tif", {"alpha"}, encoded("png", {{of(4, 16)}})},
        {"file out.tif", {"grey"}, encoded("png", {{of(1, 16)}})},
        {"file out.tif --input-bits 10",
         {"page 2", "last entry is 1023"},
         encoded("tif", {{make_picture(9, 9, 1, 1023), make_picture(9, 9, 1, 1024)}})},
        {"file out.tif", {"50000 x 50000", "too large"}, encoded("tif", {{claim(50000)}})},
        {"file out.tif", {"cut short"}, encoded("tif", {{claim(20000)}})},
        {"file out.tif", {"page 2"}, tif.substr(0, tif.size() * 9 / 10)},
        {"file out.tif", {"damaged"}, tiles.replace(200, 200, 200, '\x55')},
        {"file out.tif", {"cut short"}, png.substr(0, png.size() / 2)},
        {"file out.tif", {"cannot be read"}, png.substr(0, 20)},
        {"file out.tif", {"cut short"}, png.substr(0, png.size() - 9)},
        {"file out.tif", {"neither"}, "no image at all"},
        {"file out.tif", {}, std::string("II*\0\x08\0\0\0", 8)},
    });
}

TEST(Refusals, OfCameraOptionsAndCurvesNameTheReason)
{
    expect_refusals({
        {"--profile wrong.json", {"--profile: wrong.json: /white_balance/2: must be"}},
        {"good.tif out.tif --profile camera.json --input-bits 10", {"beyond the input LUT, whose last entry is 1023"}},
        {"good.tif out.tif --profile camera.json --black-level 1 2", {"--black-level"}},
        {"good.tif out.tif --input-bits 8 --black-level 1 2 255", {"--black-level: /black_level/2: must be"}},
        {"--white-balance 1 0 1", {"--white-balance: /white_balance/1: must be"}},
        {"--white-balance 1 1", {"3 required"}},
        {"--white-balance auto:1,2,3", {"4 required"}},
        {"--white-balance auto:1,2,-3,4", {"1,2,-3,4"}},
        {"good.tif out.tif --white-balance auto:140,2,30,4",
         {"good.tif: the area for it lies beyond the picture's 150 x 150"}},
        {"good.tif out.tif --profile camera.json --input-bits 7", {"--input-bits: /bits: must be"}},
        {"good.tif out.tif --profile camera.json --matrix 2000 0 0 0 1 0 0 0 1", {"--matrix: /matrix/0/0"}},
        {"good.tif out.tif --profile camera.json --shift 1", {"--shift: the curve's entry 128 shifted by 1"}},
        {"--output-lut file.cube", {"a 3D table mixes"}, "LUT_3D_SIZE 2\n"},
        {"--output-lut file.cube", {"no LUT_1D_SIZE"}, "0 0 0\n1 1 1\n"},
        {"--output-lut file.cube", {"line 1: LUT_1D_SIZE needs"}, "LUT_1D_SIZE 1\n"},
        {"--output-lut file.cube", {"has 1 rows; there should be 2"}, "LUT_1D_SIZE 2\n0 0 0\n"},
        {"--output-lut file.cube", {"line 2: DOMAIN_MAX needs more"}, "LUT_1D_SIZE 2\nDOMAIN_MAX\n"},
        {"--output-lut file.cube", {"line 3: every row needs"}, "LUT_1D_SIZE 2\n0 0 0\n1 1\n"},
        {"--output-lut file.cube", {"line 2: values go from 0 to 1"}, "LUT_1D_SIZE 2\n1.5 0 0\n"},
        {"--output-lut file.cube", {"input range is empty"}, "LUT_1D_SIZE 2\nDOMAIN_MIN 1 1 1\n0 0 0\n1 1 1\n"},
        {"--output-lut file.spi1d", {"no Length"}, "Version 1\n{\n0\n1\n}\n"},
        {"--output-lut file.spi1d", {"line 1: '0' has no place"}, "0\n1\n"},
        {"--output-lut file.spi1d", {"line 1: 'From' has no place"}, "From 0\n"},
        {"--output-lut file.spi1d", {"line 4: every row needs"}, "Length 2\nComponents 3\n{\n0\n1\n}\n"},
        {"--output-lut file", {"line 2: 'half' is not a number"}, "0.5\nhalf\n"},
        {"--output-lut file", {"has 1 rows"}, "0.5\n"},
    });
}

TEST(Refusals, OfOutputFilesLeaveNothingBehind)
{
    expect_refusals({
        {"good.tif missing/out.tif", {"missing/out.tif", "No such file"}},
        {"good.tif /dev/full", {"/dev/full", "suffix"}},
        {"good.tif pipe.tif", {"pipe.tif", "regular file"}},
        {"pipe.tif out.tif", {"pipe.tif", "is a pipe"}},
        {"good.tif protected.tif", {"protected.tif", "write-protected"}},
        {"good.tif rotated.tif out.tif", {"several inputs need a folder", "out.tif"}},
        {"good.tif rotated.tif -o new.tif", {"new.tif", "names a file"}},
        {"good.tif folder.tif/../good.tif -o folder.tif", {"both become", "folder.tif/good.tif"}},
        {"good.tif good.tif", {"good.tif", "input"}},
        {"good.tif ./link.tif", {"link.tif", "input"}},
    });
    // A full disk, as far as a program can tell: files may not grow beyond 64 blocks.
    expect_refusals({{"good.tif out.tif", {"out.tif: cannot be written: File too large"}},
                     {"good.tif out.tif --compression lzw --planar", {"out.tif: cannot be written: File too large"}},
                     {"good.tif out.png", {"out.png: cannot be written: File too large"}}},
                    "ulimit -f 64;");
}

} // namespace

} // namespace kx_test
