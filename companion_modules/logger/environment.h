// The process's environment: the module's only settings. Set-user-ID programs have none there.
#pragma once

#include <string>

namespace kvi {

// The variable's value; empty when it is not set.
std::string environment_variable(const char* name);

} // namespace kvi
