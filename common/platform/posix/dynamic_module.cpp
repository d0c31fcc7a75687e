#include "platform/dynamic_module.h"

#include "platform/module_file_name.h"

#include <dlfcn.h>

namespace kx::platform {

void* load_module(const char* base_name)
{
    return dlopen(module_file_name(base_name, ".so").data(), RTLD_NOW | RTLD_LOCAL);
}

void* find_entry_point(void* module, const char* name)
{
    return dlsym(module, name);
}

void unload_module(void* module)
{
    dlclose(module);
}

} // namespace kx::platform
