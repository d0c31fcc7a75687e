// Which files are read, and where each result goes.
#pragma once

#include "settings.h"

namespace kx::convert {

struct file_task {
    std::filesystem::path input;
    std::filesystem::path output;
};

// The inputs, folders replaced by the images in them, with their outputs. Creates the output folder if it is not
// there. Throws option_error.
std::vector<file_task> list_tasks(const settings& wanted);

} // namespace kx::convert
