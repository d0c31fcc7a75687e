#include "platform/dynamic_module.h"

#include <dlfcn.h>

#include <string>

namespace kx::platform {

void* load_module(const char* base_name)
{
    return dlopen((std::string(base_name) + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
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
