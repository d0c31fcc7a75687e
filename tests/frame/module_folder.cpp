#include "frame/module_folder.h"

#include "companion_interfaces/vector_module.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <system_error>

namespace kx_test {

namespace {

using std::filesystem::path;

struct companion {
    std::string file_name;
    std::vector<std::string> entry_points;
};

companion vector_module(const kx::vector_module_names& names)
{
    return {std::string(names.base_name) + KX_MODULE_SUFFIX,
            {names.initialize, names.transform_8_bit_output, names.transform_16_bit_output, names.terminate}};
}

const std::map<std::string, companion>& companions()
{
    static const std::map<std::string, companion> all = {
        {"logger", {"korvex_kvi_logger" KX_MODULE_SUFFIX, {"kvi_get_log", "kvi_log", "kvi_free_log"}}},
        {"LUT",
         {"korvex_kvi_LUT" KX_MODULE_SUFFIX,
          {"kx_LUT_module_initialize", "kx_create_LUT_test", "kx_LUT_transform_16", "kx_get_LUT_data", "kx_destroy_LUT",
           "kx_LUT_module_terminate"}}},
        {"sse", vector_module(kx::narrow_module_names)},
        {"avx2", vector_module(kx::avx2_module_names)},
    };
    return all;
}

// Has the entry point of the module go by another name.
void rename(const path& module, const std::string& entry_point)
{
    std::fstream file(module, std::ios::binary | std::ios::in | std::ios::out);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    const std::string whole_name = '\0' + entry_point + '\0';
    std::size_t found = bytes.find(whole_name);
    if (found == std::string::npos) {
        throw std::logic_error(module.string() + " has no " + entry_point);
    }
    for (; found != std::string::npos; found = bytes.find(whole_name, found + 1)) {
        file.seekp(static_cast<std::streamoff>(found + entry_point.size()));
        file.put('_');
    }
}

} // namespace

std::vector<gap> every_gap(const std::vector<std::string>& modules)
{
    std::vector<gap> gaps;
    for (const std::string& module : modules) {
        gaps.push_back({module, ""});
        for (const std::string& entry_point : companions().at(module).entry_points) {
            gaps.push_back({module, entry_point});
        }
    }
    return gaps;
}

module_folder::module_folder(const gap& missing)
{
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test.test_suite_name()) + "." + test.name();
    std::replace(name.begin(), name.end(), '/', '.');
    path_ = path(KX_STANDINS_FOLDER) / "running" / name;
    std::error_code in_use; // by the process whose death test this one is: what is there will do
    std::filesystem::remove_all(path_, in_use);
    std::filesystem::create_directories(path_);

    const auto copy_here = [this](const path& file) {
        if (!exists(path_ / file.filename())) { // which the C++ library's own option mistakes on Windows
            copy_file(file, path_ / file.filename());
        }
    };
    copy_here(KX_LIBRARY_FILE);
    for (const auto& module : std::filesystem::directory_iterator(path(KX_STANDINS_FOLDER) / "modules")) {
        copy_here(module.path());
    }
    if (!missing.module.empty()) {
        const path module = path_ / companions().at(missing.module).file_name;
        if (missing.entry_point.empty()) {
            remove(module);
        } else {
            rename(module, missing.entry_point);
        }
    }
    current_path(path_);
}

module_folder::~module_folder()
{
    std::error_code in_use; // a module that is still loaded, on Windows
    std::filesystem::current_path(KX_STANDINS_FOLDER, in_use);
    std::filesystem::remove_all(path_, in_use);
}

std::string module_folder::library() const
{
    return (path_ / path(KX_LIBRARY_FILE).filename()).string();
}

} // namespace kx_test
