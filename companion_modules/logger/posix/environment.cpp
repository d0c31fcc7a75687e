#include "environment.h"

#include <cstdlib>

namespace kvi {

std::string environment_variable(const char* name)
{
    // Not std::getenv: who runs a set-user-ID program must not choose a file for it to append to.
    const char* value = secure_getenv(name);
    return value != nullptr ? value : "";
}

} // namespace kvi
