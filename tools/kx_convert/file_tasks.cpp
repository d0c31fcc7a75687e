#include "file_tasks.h"

#include <algorithm>
#include <map>

namespace kx::convert {

namespace {

namespace fs = std::filesystem;

bool has_image_suffix(const fs::path& file)
{
    try {
        images::type_from_suffix(file);
        return true;
    } catch (const images::image_error&) {
        return false;
    }
}

// In the order of their names, so that runs are alike.
std::vector<fs::path> images_in(const fs::path& folder)
{
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.is_regular_file() && has_image_suffix(entry.path())) {
            files.push_back(entry.path());
        }
    }
    if (files.empty()) {
        throw option_error(folder.string(), "the folder has no .tif, .tiff or .png file");
    }
    std::ranges::sort(files);
    return files;
}

fs::path output_name(const fs::path& input, const settings& wanted)
{
    fs::path name = input.filename();
    if (wanted.output_format && (!has_image_suffix(name) || images::type_from_suffix(name) != *wanted.output_format)) {
        name.replace_extension(*wanted.output_format == images::file_type::png ? ".png" : ".tif");
    }
    return name;
}

} // namespace

std::vector<file_task> list_tasks(const settings& wanted)
{
    std::vector<fs::path> inputs;
    std::error_code ignored;
    bool from_folder = false;
    for (const fs::path& input : wanted.inputs) {
        if (fs::is_directory(input, ignored)) {
            from_folder = true;
            std::ranges::copy(images_in(input), std::back_inserter(inputs));
        } else {
            inputs.push_back(input);
        }
    }
    const bool is_folder = fs::is_directory(wanted.output, ignored);
    if (!is_folder && wanted.output.has_filename() && !from_folder && inputs.size() == 1) {
        return {{inputs.front(), wanted.output}};
    }

    if (!is_folder && fs::exists(wanted.output, ignored)) {
        throw option_error("--output", wanted.output.string() + " is a file: several inputs need a folder");
    }
    std::error_code failed;
    fs::create_directories(wanted.output, failed);
    if (failed) {
        throw option_error("--output", wanted.output.string() + " cannot be created: " + failed.message());
    }
    std::vector<file_task> tasks;
    std::map<fs::path, fs::path> sources;
    for (const fs::path& input : inputs) {
        const fs::path name = output_name(input, wanted);
        const auto [source, is_new] = sources.emplace(name, input);
        if (!is_new) {
            throw option_error("--output", source->second.string() + " and " + input.string() + " would both become "
                                               + (wanted.output / name).string());
        }
        tasks.push_back({input, wanted.output / name});
    }
    return tasks;
}

} // namespace kx::convert
