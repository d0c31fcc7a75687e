#include "file_tasks.h"

#include "system.h"

#include <map>
#include <set>

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

bool is_folder(const fs::path& path)
{
    std::error_code not_there;
    return fs::is_directory(path, not_there);
}

// The images in a folder in the order of their names, so that runs are alike. A file that cannot even be looked at,
// such as a link to itself, is among them and fails when it is opened; other systems' hidden files, as ._1.tif, are
// not.
std::vector<file_task> images_in(const fs::path& folder)
{
    std::vector<file_task> files;
    std::error_code failed;
    for (const fs::directory_entry& entry : entries_of(folder, failed)) {
        const fs::path& file = entry.path();
        std::error_code unknown;
        const bool regular = entry.is_regular_file(unknown);
        if ((regular || unknown) && has_image_suffix(file) && !file.filename().string().starts_with('.')) {
            files.push_back({file, {}});
        }
    }
    if (failed) {
        return {{folder, {}, "the folder cannot be read: " + failed.message()}};
    }
    if (files.empty()) {
        return {{folder, {}, "the folder has no .tif, .tiff or .png file"}};
    }
    std::ranges::sort(files, {}, &file_task::input);
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

// A name without a suffix is a folder's. Several inputs need one, whatever its name.
bool output_is_folder(const fs::path& output, bool several)
{
    std::error_code not_there;
    const bool exists = fs::exists(output, not_there);
    if (is_folder(output) || (!exists && !output.has_extension())) {
        return true;
    }
    if (several && (exists || has_image_suffix(output))) {
        throw option_error("--output", "several inputs need a folder, and " + output.string() + " names a file");
    }
    return several;
}

task_list pair_files(const settings& wanted)
{
    std::vector<file_task> tasks;
    bool from_folder = false;
    for (const fs::path& input : wanted.inputs) {
        if (is_folder(input)) {
            from_folder = true;
            std::ranges::move(images_in(input), std::back_inserter(tasks));
        } else {
            tasks.push_back({input, {}});
        }
    }
    if (!output_is_folder(wanted.output, from_folder || wanted.inputs.size() > 1)) {
        if (wanted.output_format && *wanted.output_format != images::type_from_suffix(wanted.output)) {
            throw option_error("--format", "the suffix of " + wanted.output.string() + " says another type");
        }
        tasks.front().output = wanted.output;
        return {std::move(tasks)};
    }
    std::map<fs::path, fs::path> sources;
    for (file_task& task : tasks) {
        if (!task.trouble.empty()) {
            continue;
        }
        task.output = wanted.output / output_name(task.input, wanted);
        const auto [source, is_new] = sources.emplace(task.output, task.input);
        if (!is_new) {
            throw option_error("--output", source->second.string() + " and " + task.input.string()
                                               + " would both become " + task.output.string());
        }
    }
    return {std::move(tasks), is_folder(wanted.output) ? fs::path() : wanted.output};
}

// Where links lead; the name itself if they lead nowhere.
fs::path end_of_links(const fs::path& file)
{
    std::error_code failed;
    const fs::path end = fs::weakly_canonical(file, failed);
    return failed ? file : end;
}

// Links may lead an output to what the same run reads, or to where another output goes.
void check_targets(const std::vector<file_task>& tasks)
{
    std::set<fs::path> inputs;
    for (const file_task& task : tasks) {
        inputs.insert(without_case(end_of_links(task.input)));
    }
    std::set<fs::path> targets;
    for (const auto& [input, output, trouble] : tasks) {
        if (!trouble.empty()) {
            continue;
        }
        const fs::path target = end_of_links(output);
        if (inputs.contains(without_case(target))) {
            throw option_error("--output", output.string() + " is an input of this run too: " + target.string());
        }
        if (!targets.insert(without_case(target)).second) {
            throw option_error("--output", "two files would be written to " + target.string());
        }
    }
}

} // namespace

task_list list_tasks(const settings& wanted)
{
    task_list list = pair_files(wanted);
    check_targets(list.tasks);
    return list;
}

} // namespace kx::convert
