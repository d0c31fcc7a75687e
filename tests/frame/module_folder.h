// A folder with the library and the stand-ins that it shall find, for the length of a test. The library looks for its
// companion modules beside itself or, on Windows, in the current folder.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace kx_test {

// What the library shall not find: a companion module, or an entry point of it.
struct gap {
    std::string module;      // "logger", "LUT", "sse" or "avx2"; empty: nothing is missing
    std::string entry_point; // empty: the whole module
};

// Each module of these and each of its entry points in turn, the latter in the order in which the library looks for
// them.
std::vector<gap> every_gap(const std::vector<std::string>& modules);

class module_folder {
public:
    // Becomes the current folder. Throws std::filesystem::filesystem_error, and std::logic_error when a stand-in never
    // had the entry point that is to be missing.
    explicit module_folder(const gap& missing);
    ~module_folder();
    module_folder(const module_folder&) = delete;
    module_folder& operator=(const module_folder&) = delete;

    [[nodiscard]] std::string library() const;

private:
    std::filesystem::path path_;
};

} // namespace kx_test
