#include "program_run.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <sys/wait.h>

namespace kx_test {

namespace fs = std::filesystem;

work_directory::work_directory()
{
    std::string name = (fs::temp_directory_path() / "kx_convert_test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) {
        throw std::runtime_error("no directory for the test");
    }
    path_ = name;
}

work_directory::~work_directory()
{
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

void work_directory::write(const std::string& name, const std::string& content) const
{
    std::ofstream(path_ / name, std::ios::binary) << content;
}

std::map<std::string, std::string> work_directory::content() const
{
    std::map<std::string, std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(path_)) {
        files[entry.path().lexically_relative(path_).string()] = entry.is_regular_file() ? read_file(entry.path()) : "";
    }
    return files;
}

std::string read_file(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

program_result run_program(const fs::path& program, const work_directory& directory,
                           const std::vector<std::string>& arguments, const std::string& prologue,
                           const std::string& error_device)
{
    const work_directory streams; // apart from the directory whose content is examined
    std::string command = "cd '" + directory.path().string() + "' && " + prologue + " '" + program.string() + "'";
    for (const std::string& argument : arguments) {
        command += " '" + argument + "'";
    }
    const std::string error = error_device.empty() ? (streams / "error").string() : error_device;
    command += " >'" + (streams / "output").string() + "' 2>'" + error + "'";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(streams / "output"), read_file(streams / "error")};
}

} // namespace kx_test
