#include "system.h"

#include <unistd.h>

namespace kx::convert {

bool standard_error_is_terminal()
{
    return isatty(STDERR_FILENO) != 0;
}

} // namespace kx::convert
