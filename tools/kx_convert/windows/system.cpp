#include "system.h"

#include <limits>

#include <windows.h>

namespace kx::convert {

bool standard_error_is_terminal()
{
    DWORD mode = 0;
    return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != FALSE;
}

std::filesystem::path without_case(const std::filesystem::path& path)
{
    const std::wstring& name = path.native();
    const auto length = static_cast<int>(name.size());
    std::wstring upper(name.size(), L'\0');
    LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, name.data(), length, upper.data(), length, nullptr, nullptr,
                  0);
    return upper;
}

std::uint64_t physical_memory()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    return GlobalMemoryStatusEx(&status) != FALSE ? status.ullTotalPhys : std::numeric_limits<std::uint64_t>::max();
}

} // namespace kx::convert
