#include "platform/dynamic_module.h"

#include "platform/module_file_name.h"

#include <windows.h>

namespace kx::platform {

void* load_module(const char* base_name)
{
    return LoadLibraryA(module_file_name(base_name, ".dll").data());
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
