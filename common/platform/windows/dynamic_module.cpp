#include "platform/dynamic_module.h"

#include <windows.h>

#include <string>

namespace kx::platform {

void* load_module(const char* base_name)
{
    return LoadLibraryA((std::string(base_name) + ".dll").c_str());
}

void* find_entry_point(void* module, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(module), name));
}

void unload_module(void* module)
{
    FreeLibrary(static_cast<HMODULE>(module));
}

} // namespace kx::platform
