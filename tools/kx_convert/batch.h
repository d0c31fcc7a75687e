// All files that one command line asks for.
#pragma once

#include "settings.h"

namespace kx::convert {

// Converts them, several at the same time; a file that fails does not stop the others unless that was asked for.
// Returns whether all went well. Throws std::exception's children for what concerns all files.
bool convert_all(const settings& wanted);

} // namespace kx::convert
