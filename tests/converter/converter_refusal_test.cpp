// What kx_convert refuses: each with its reason, and with nothing changed or left behind.

#include "program_run.h"
#include "test_images.h"

#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tiff.h>

namespace kx_test {

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

struct refusal {
    std::vector<std::string> arguments; // after the input file, if they begin with an option: then with out.tif
    std::vector<std::string> texts;
};

class Refusals : public testing::Test {
protected:
    // Everything refused leaves the directory, with an older out.tif and out.png in it, exactly as it was.
    void expect_refusals(const std::vector<refusal>& refusals, const std::string& prologue = "")
    {
        directory_.write("out.tif", "an older file");
        directory_.write("out.png", "an older picture");
        const auto before = directory_.content();
        for (const auto& [given, texts] : refusals) {
            std::vector<std::string> arguments = given;
            if (given.empty() || given.front().starts_with("--")) {
                arguments.insert(arguments.begin(), {"good.tif", "out.tif"});
            }
            SCOPED_TRACE(testing::PrintToString(arguments));
            const program_result result = convert(directory_, arguments, prologue);
            EXPECT_GT(result.exit_code, 0);
            EXPECT_EQ(result.output, "");
            EXPECT_THAT(result.error, testing::StartsWith("kx_convert: "));
            for (const std::string& text : texts) {
                EXPECT_THAT(result.error, HasSubstr(text));
            }
            EXPECT_EQ(directory_.content(), before);
        }
    }

    // Writes a damaged copy: cut to a part of its length, or with bytes replaced.
    void write_cut(const std::string& from, const std::string& to, double part)
    {
        const std::string content = read_file(directory_ / from);
        directory_.write(to, content.substr(0, static_cast<std::size_t>(part * static_cast<double>(content.size()))));
    }

    work_directory directory_;
    picture good_ = make_picture(40, 30, 5);
};

TEST_F(Refusals, OfOptionsNameTheOptionAndTheReason)
{
    write_tiff(directory_ / "good.tif", {good_});
    write_tiff(directory_ / "stack.tif", {good_, good_});
    directory_.write("eight.txt", "1 2 3 4 5 6 7 8");
    directory_.write("word.txt", "1 2 3 4 five 6 7 8 9");
    directory_.write("short.csv", "1\n2\n3\n");
    directory_.write("twice.csv", "0,1\n1,2\n1,3\n3,4\n");
    directory_.write("mixed.csv", "0\n1,2\n2\n3\n");
    directory_.write("large.csv", "0\n1\n2\n65536\n");
    directory_.write("wide.csv", "0\n1\n2\n256\n");
    const auto bits_2 = [](const std::string& option, const std::string& file) -> std::vector<std::string> {
        return {"--" + option, file, option.ends_with("input-lut") ? "--input-lut-bits" : "--output-lut-bits", "2"};
    };
    expect_refusals({
        {{"good.tif"}, {"output"}},
        {{"good.tif", "out.tif", "third.tif"}, {"third.tif"}},
        {{"--sharpen"}, {"--sharpen"}},
        {{"--matrix", "1", "2", "3"}, {"--matrix", "9"}},
        {{"--matrix", "1", "2", "3", "4", "5", "6", "7", "8", "nan"}, {"--matrix", "'nan'"}},
        {{"--matrix", "1", "2", "3", "4", "5", "6", "7", "8", "1e39"}, {"--matrix", "'1e39'"}},
        {{"--matrix-file", "eight.txt"}, {"--matrix-file", "eight.txt", "nine numbers, not 8"}},
        {{"--matrix-file", "word.txt"}, {"--matrix-file", "word.txt", "'five'"}},
        {{"--matrix-file", "none.txt"}, {"--matrix-file", "none.txt", "No such file"}},
        {{"--matrix-file", "."}, {"--matrix-file", ".", "Is a directory"}},
        {{"--input-lut", "none.csv"}, {"--input-lut", "none.csv", "No such file"}},
        {{"--blue-output-lut", "gamma:"}, {"--blue-output-lut", "gamma:"}},
        {{"--output-lut", "gamma:0"}, {"--output-lut", "gamma:0"}},
        {{"--input-lut", "short.csv"}, {"--input-lut", "short.csv", "3 entries", "65536"}},
        {bits_2("red-input-lut", "twice.csv"), {"--red-input-lut", "twice.csv", "line 3", "'1'"}},
        {bits_2("input-lut", "mixed.csv"), {"--input-lut", "mixed.csv", "line 2"}},
        {bits_2("output-lut", "large.csv"), {"--output-lut", "large.csv", "line 4", "'65536'"}},
        {{"--output-lut", "wide.csv", "--output-lut-bits", "2", "--depth", "8"}, {"--output-lut", "wide.csv", "256"}},
        {{"--input-lut-bits", "12"}, {"--input-lut-bits", "no input LUT"}},
        {{"--output-lut-bits", "12"}, {"--output-lut-bits", "no output LUT"}},
        {{"--input-lut", "srgb", "--input-lut-bits", "17"}, {"--input-lut-bits", "17"}},
        {{"--input-lut", "srgb", "--input-lut-bits", "15"}, {"good.tif", "page 1", "32767", "--input-lut-bits"}},
        {{"--green-clamp", "7", "6"}, {"--green-clamp", "7", "6"}},
        {{"--clamp", "0", "65536"}, {"--clamp", "65536"}},
        {{"--clamp", "-1", "5"}, {"--clamp", "-1"}},
        {{"--clamp", "0", "65535", "--depth", "8", "--red-shift", "-7"}, {"--clamp", "65535", "-7", "8-bit"}},
        {{"--clamp", "0", "4096", "--output-lut", "srgb", "--output-lut-bits", "12"}, {"--clamp", "4096", "4095"}},
        {{"--shift", "16"}, {"--shift", "16"}},
        {{"--depth", "12"}, {"--depth", "12"}},
        {{"--channels", "2"}, {"--channels", "2"}},
        {{"--compression", "zip"}, {"--compression", "zip"}},
        {{"--vector-level", "sse9"}, {"--vector-level", "sse9"}},
        {{"good.tif", "out.png", "--channels", "4"}, {"--channels", "PNG", "alpha"}},
        {{"good.tif", "out.png", "--planar"}, {"--planar", "PNG"}},
        {{"good.tif", "out.png", "--compression", "none"}, {"--compression", "PNG"}},
        {{"good.tif", "out.jpeg"}, {"out.jpeg", "suffix"}},
        {{"stack.tif", "out.png"}, {"out.png", "one page", "2"}},
    });
}

TEST_F(Refusals, OfInputFilesNameTheFileAndWhatWasFound)
{
    const auto with = [this](unsigned channels, unsigned bits) {
        picture other{.width = 4, .height = 3, .channels = channels, .bits = bits, .samples = good_.samples};
        return other;
    };
    const tiff_layout grey{.photometric = PHOTOMETRIC_MINISBLACK};
    write_tiff(directory_ / "8.tif", {with(3, 8)});
    write_tiff(directory_ / "late.tif", {good_, good_, with(3, 8)});
    write_tiff(directory_ / "grey.tif", {with(1, 16)}, grey);
    write_tiff(directory_ / "rgba.tif", {with(4, 16)});
    write_tiff(directory_ / "signed.tif", {good_}, {.sample_format = SAMPLEFORMAT_INT});
    write_tiff(directory_ / "rotated.tif", {good_}, {.orientation = 3});
    write_png(directory_ / "8.png", with(3, 8));
    write_png(directory_ / "rgba.png", with(4, 16));
    write_png(directory_ / "grey.png", with(1, 16));

    write_tiff(directory_ / "whole.tif", {good_, good_});
    write_tiff(directory_ / "tiled.tif", {good_}, {.compression = COMPRESSION_ADOBE_DEFLATE, .tile = 16});
    write_png(directory_ / "whole.png", good_);
    write_cut("whole.tif", "cut.tif", 0.9);
    write_cut("whole.png", "cut.png", 0.5);
    write_cut("whole.png", "header.png", 0.003);
    std::string damaged = read_file(directory_ / "tiled.tif");
    damaged.replace(200, 200, 200, '\x55');
    directory_.write("damaged.tif", damaged);
    damaged = read_file(directory_ / "whole.png");
    damaged[damaged.size() - 20] ^= 1; // the checksum's business
    directory_.write("damaged.png", damaged);
    directory_.write("text.tif", "no image at all");
    directory_.write("stub.tif", std::string("II*\0\x08\0\0\0", 8));
    // One row, but a claim to more than any pixel count, and to more than there is.
    const auto claim = [](std::uint32_t edge) {
        return picture{.width = edge, .height = edge, .samples = std::vector<std::uint16_t>(edge * 3)};
    };
    write_tiff(directory_ / "huge.tif", {claim(50000)});
    write_tiff(directory_ / "claims.tif", {claim(20000)});
    write_tiff(directory_ / "claims_deflate.tif", {claim(20000)}, {.compression = COMPRESSION_ADOBE_DEFLATE});
    fs::create_directory(directory_ / "folder.tif");

    std::vector<refusal> refusals{
        {{"none.tif", "out.tif"}, {"none.tif", "No such file"}},
        {{"folder.tif", "out.tif"}, {"folder.tif", "directory"}},
        {{"8.tif", "out.tif"}, {"8.tif", "8-bit", "16-bit"}},
        {{"late.tif", "out.tif"}, {"late.tif", "page 3", "8-bit"}},
        {{"grey.tif", "out.tif"}, {"grey.tif", "1 unsigned", "grey"}},
        {{"rgba.tif", "out.tif"}, {"rgba.tif", "4 unsigned"}},
        {{"signed.tif", "out.tif"}, {"signed.tif", "3 signed"}},
        {{"8.png", "out.tif"}, {"8.png", "8-bit", "16-bit"}},
        {{"rgba.png", "out.tif"}, {"rgba.png", "alpha"}},
        {{"grey.png", "out.tif"}, {"grey.png", "grey"}},
        {{"rotated.tif", "out.png"}, {"out.png", "orientation"}},
        {{"huge.tif", "out.tif"}, {"huge.tif", "50000 x 50000", "too large"}},
    };
    for (const char* name : {"cut.tif", "cut.png", "header.png", "damaged.tif", "damaged.png", "text.tif", "stub.tif",
                             "claims.tif", "claims_deflate.tif"}) {
        refusals.push_back({{name, "out.tif"}, {name}});
    }
    expect_refusals(refusals);
}

TEST_F(Refusals, OfOutputFilesLeaveNothingBehind)
{
    write_tiff(directory_ / "good.tif", {make_picture(300, 300, 1)});
    fs::create_directory(directory_ / "folder.tif");
    fs::create_symlink("good.tif", directory_ / "link.tif");
    expect_refusals({
        {{"good.tif", "missing/out.tif"}, {"missing/out.tif", "No such file"}},
        {{"good.tif", "folder.tif"}, {"folder.tif", "regular file"}},
        {{"good.tif", "good.tif"}, {"good.tif", "input"}},
        {{"good.tif", "./link.tif"}, {"link.tif", "input"}},
    });
    // A full disk, as far as a program can tell: files may not grow beyond 64 blocks.
    expect_refusals({{{}, {"out.tif", "cannot be written"}},
                     {{"--compression", "lzw", "--planar"}, {"out.tif", "cannot be written"}},
                     {{"good.tif", "out.png"}, {"out.png", "cannot be written"}}},
                    "ulimit -f 64;");
}

} // namespace

} // namespace kx_test
