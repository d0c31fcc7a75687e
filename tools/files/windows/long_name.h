// Windows' names of files.
#pragma once

#include <filesystem>
#include <string>

#include <windows.h>

namespace kx::files {

namespace fs = std::filesystem;

// As the system takes it, whatever its length.
inline std::wstring long_name(const fs::path& file)
{
    if (file.native().starts_with(L"\\\\?\\")) {
        return file.native();
    }
    std::error_code ignored;
    const std::wstring name = fs::absolute(file, ignored).lexically_normal().make_preferred().wstring();
    if (name.size() < MAX_PATH - 12) {
        return name;
    }
    return name.starts_with(L"\\\\") ? L"\\\\?\\UNC" + name.substr(1) : L"\\\\?\\" + name;
}

} // namespace kx::files
