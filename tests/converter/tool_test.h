// What the tools' tests share: a directory to run a program in, and images that libtiff and libpng alone write and
// read, in the plainest way.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include <sys/wait.h>

namespace kx_test {

inline std::string read_file(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// A fresh directory, removed at the end.
class work_directory {
public:
    work_directory() = default;
    ~work_directory() { std::filesystem::remove_all(path_); }
    work_directory(const work_directory&) = delete;
    work_directory& operator=(const work_directory&) = delete;

    std::string operator/(const std::string& name) const { return path_ + '/' + name; }

    // The content of every file by its name. A directory counts as an empty file.
    [[nodiscard]] std::map<std::string, std::string> content() const
    {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
            files[entry.path().string()] = entry.is_regular_file() ? read_file(entry.path()) : "";
        }
        return files;
    }

private:
    // Throws if there is none: a string cannot be made of a null pointer.
    std::string path_ = mkdtemp((std::filesystem::temp_directory_path() / "kx_test-XXXXXX").string().data());
};

struct program_result {
    int exit_code; // -1: ended by a signal
    std::string output;
    std::string error;
};

// Lets the shell run `program` in `directory`. The arguments may redirect and go on; `prologue` comes first.
inline program_result run_program(const std::string& program, const work_directory& directory,
                                  const std::string& arguments, const std::string& prologue = "")
{
    const work_directory streams; // apart from the directory whose content is examined
    const std::string output = streams / "output";
    const std::string error = streams / "error";
    const int status = std::system(
        ("cd '" + directory / "'; " + prologue + " >'" + output + "' 2>'" + error + "' '" + program + "' " + arguments)
            .c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(output), read_file(error)};
}

// Interleaved samples, for RGB red first, whatever the file's arrangement.
struct picture {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned channels = 3;
    unsigned bits = 16;
    std::vector<std::uint16_t> samples{};

    bool operator==(const picture&) const = default;
};

// Samples without a pattern that a wrong order of channels, rows or planes would leave unchanged; the extremes
// of the range 0..maximum come first.
picture make_picture(std::uint32_t width, std::uint32_t height, unsigned seed, std::uint16_t maximum = 65535);

// A file's images and what else it holds; PNG knows one page and `interlaced` alone.
struct image_file {
    std::vector<picture> pages{};
    bool planar = false; // this and what follows is the last page's
    std::uint16_t compression = 1;
    std::uint32_t tile = 0; // edge of a tile, 0 for strips
    std::uint16_t photometric = 2;
    std::uint16_t sample_format = 1;
    std::uint16_t orientation = 1;
    int fourth_sample = -1; // its meaning, if there is one
    char kind = '4';        // as TIFFOpen's mode names it
    bool interlaced = false;

    bool operator==(const image_file&) const = default;
};

// PNG for names that end in png, where channels 1 to 4 stand for grey, grey with alpha, RGB, RGB with alpha;
// otherwise TIFF. Only 16-bit samples are written as they are, only TIFFs in strips can be read back.
void write_image(const std::string& file, const image_file& content);
image_file read_image(const std::string& file);

} // namespace kx_test
