#include "environment.h"

#include <cstdlib>

namespace kvi {

std::string environment_variable(const char* name)
{
    const char* value = std::getenv(name); // NOLINT(concurrency-mt-unsafe): nobody here changes the environment
    return value != nullptr ? value : "";
}

} // namespace kvi
