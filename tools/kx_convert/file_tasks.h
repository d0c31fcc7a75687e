// Which files are read, and where each result goes.
#pragma once

#include "settings.h"

namespace kx::convert {

struct file_task {
    std::filesystem::path input;
    std::filesystem::path output;
    std::string trouble{}; // why there is nothing to convert: of a folder that cannot be read
};

struct task_list {
    std::vector<file_task> tasks;
    std::filesystem::path new_folder{}; // to be made for them, if it is not there
};

// The inputs, folders replaced by the images in them, with their outputs. Throws option_error.
task_list list_tasks(const settings& wanted);

} // namespace kx::convert
