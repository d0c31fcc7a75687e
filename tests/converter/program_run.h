// Runs the converter in a directory of its own and looks at everything that it leaves behind.
#pragma once

#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace kx_test {

struct program_result {
    int exit_code; // -1: ended by a signal
    std::string output;
    std::string error;
};

// A fresh directory, removed at the end.
class work_directory {
public:
    work_directory();
    ~work_directory();
    work_directory(const work_directory&) = delete;
    work_directory& operator=(const work_directory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }
    std::filesystem::path operator/(const std::string& name) const { return path_ / name; }

    void write(const std::string& name, const std::string& content) const;

    // The content of every file by its name. A directory counts as an empty file.
    [[nodiscard]] std::map<std::string, std::string> content() const;

private:
    std::filesystem::path path_;
};

std::string read_file(const std::filesystem::path& file);

// Runs `program` with the arguments in `directory`. `prologue` is shell text that comes first; standard error
// goes to the file `error_device` if there is one.
program_result run_program(const std::filesystem::path& program, const work_directory& directory,
                           const std::vector<std::string>& arguments, const std::string& prologue = "",
                           const std::string& error_device = "");

// Runs the kx_convert that was just built.
inline program_result convert(const work_directory& directory, const std::vector<std::string>& arguments,
                              const std::string& prologue = "")
{
    return run_program(KX_CONVERT_PROGRAM, directory, arguments, prologue);
}

} // namespace kx_test
