// The process's environment, for the companion modules: the library itself has no settings there.
#pragma once

#include <string>

namespace kx::platform {

// The variable's value; empty when it is not set.
std::string environment_variable(const char* name);

} // namespace kx::platform
