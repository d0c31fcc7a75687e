#include "platform/dynamic_module.h"

#include "platform/module_file_name.h"

#include <dlfcn.h>

namespace kx::platform {

void* load_module(const char* base_name)
{
    const module_file_name file(base_name, ".so");
    return file.fits() ? dlopen(file.get(), RTLD_NOW | RTLD_LOCAL) : nullptr;
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
