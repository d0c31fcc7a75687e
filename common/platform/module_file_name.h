// A module's file name, made without allocating: modules are loaded even when memory has run out.
#pragma once

#include <array>
#include <cstdio>

namespace kx::platform {

// Long enough for the name of every companion module.
inline std::array<char, 128> module_file_name(const char* base_name, const char* suffix)
{
    std::array<char, 128> name{};
    std::snprintf(name.data(), name.size(), "%s%s", base_name, suffix);
    return name;
}

} // namespace kx::platform
