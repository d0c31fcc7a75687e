#include "system.h"

#include "files/windows/long_name.h"

#include <limits>

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

// The standard library's iterator ends at paths of 260 characters.
std::vector<std::filesystem::directory_entry> entries_of(const std::filesystem::path& folder, std::error_code& failed)
{
    std::vector<std::filesystem::directory_entry> entries;
    WIN32_FIND_DATAW found{};
    const HANDLE search = FindFirstFileW(files::long_name(folder / "*").c_str(), &found);
    if (search == INVALID_HANDLE_VALUE) {
        failed.assign(static_cast<int>(GetLastError()), std::system_category());
        return entries;
    }
    do {
        const std::wstring name = static_cast<const wchar_t*>(found.cFileName);
        std::error_code unknown;
        if (name != L"." && name != L"..") {
            entries.emplace_back(folder / name, unknown);
        }
    } while (FindNextFileW(search, &found) != FALSE);
    FindClose(search);
    return entries;
}

std::uint64_t physical_memory()
{
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    return GlobalMemoryStatusEx(&status) != FALSE ? status.ullTotalPhys : std::numeric_limits<std::uint64_t>::max();
}

} // namespace kx::convert
