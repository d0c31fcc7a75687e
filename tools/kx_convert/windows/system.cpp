#include "system.h"

#include <limits>

#include <windows.h>

namespace kx::convert {

bool standard_error_is_terminal()
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

std::uint64_t physical_memory()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    return GlobalMemoryStatusEx(&status) != FALSE ? status.ullTotalPhys : std::numeric_limits<std::uint64_t>::max();
}

} // namespace kx::convert
