// The process's environment: the module's only settings.
#pragma once

#include <string>

namespace kvi {

// The variable's value; empty when it is not set.
std::string environment_variable(const char* name);

} // namespace kvi
