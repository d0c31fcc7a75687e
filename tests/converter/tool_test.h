// A directory for a test's files.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <string>

namespace kx_test {

inline std::string read_file(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

// A fresh directory, removed at the end.
class work_directory {
public:
    work_directory() { std::filesystem::create_directory(path_); }
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
    std::string path_ =
        (std::filesystem::temp_directory_path() / ("kx_test-" + std::to_string(std::random_device()()))).string();
};

} // namespace kx_test
