#include "loaded_file.h"

#include <algorithm>
#include <array>

#include <windows.h>

namespace kx::verify {

namespace {

// From the image in memory, where every address is relative to its beginning.
std::vector<std::string> exports_of(HMODULE module)
{
    const auto* const image = reinterpret_cast<const unsigned char*>(module);
    const auto at = [image]<typename Record>(const Record*, DWORD address) {
        return reinterpret_cast<const Record*>(image + address);
    };
    const auto* const dos = at(static_cast<IMAGE_DOS_HEADER*>(nullptr), 0);
    const auto* const headers = at(static_cast<IMAGE_NT_HEADERS*>(nullptr), static_cast<DWORD>(dos->e_lfanew));
    const IMAGE_DATA_DIRECTORY& place = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    std::vector<std::string> names;
    if (place.Size > 0) {
        const auto* const table = at(static_cast<IMAGE_EXPORT_DIRECTORY*>(nullptr), place.VirtualAddress);
        const auto* const addresses = at(static_cast<DWORD*>(nullptr), table->AddressOfNames);
        for (DWORD i = 0; i < table->NumberOfNames; ++i) {
            names.emplace_back(at(static_cast<char*>(nullptr), addresses[i]));
        }
    }
    std::sort(names.begin(), names.end());
    return names;
}

} // namespace

std::optional<loaded_file> loaded_file::find(const std::string& name)
{
    const HMODULE module = GetModuleHandleA((name + ".dll").c_str());
    std::array<wchar_t, 32768> path{};
    if (module == nullptr || GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size())) == 0) {
        return std::nullopt;
    }
    return loaded_file{path.data(), exports_of(module)};
}

} // namespace kx::verify
