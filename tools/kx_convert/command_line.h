// The command line: the options, their help, and the settings they stand for.
#pragma once

#include "settings.h"

#include <variant>

namespace kx::convert {

// The exit code of runs that the options do not let begin.
inline constexpr int wrong_command_line = 2;

// The settings, or the exit code of a run that ends here: after --help or --version (printed on standard output,
// 0) or an error in the command line (printed on standard error). Throws option_error for values that
// only their content rules out.
std::variant<settings, int> parse_command_line(int count, char** arguments);

} // namespace kx::convert
