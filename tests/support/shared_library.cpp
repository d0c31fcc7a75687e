#include "support/shared_library.h"

#include <stdexcept>
#include <string>
#include <utility>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

namespace kx_test {

namespace {

#if defined(_WIN32)
std::string reason()
{
    return "error " + std::to_string(GetLastError());
}
void* load(const char* path)
{
    return LoadLibraryA(path);
}
void* find_address(void* library, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(library), name));
}
void unload(void* library)
{
    FreeLibrary(static_cast<HMODULE>(library));
}
#else
std::string reason()
{
    const char* text = dlerror();
    return text != nullptr ? text : "no reason given";
}
void* load(const char* path)
{
    return dlopen(path, RTLD_NOW | RTLD_LOCAL);
}
void* find_address(void* library, const char* name)
{
    return dlsym(library, name);
}
void unload(void* library)
{
    dlclose(library);
}
#endif

} // namespace

shared_library::shared_library(const char* path) : handle_(load(path))
{
    if (handle_ == nullptr) {
        throw std::runtime_error(std::string("cannot load ") + path + ": " + reason());
    }
}

void shared_library::close()
{
    if (void* const library = std::exchange(handle_, nullptr)) {
        unload(library);
    }
}

void* shared_library::address_of(const char* name) const
{
    void* const address = find_address(handle_, name);
    if (address == nullptr) {
        throw std::runtime_error(std::string("no entry point ") + name + ": " + reason());
    }
    return address;
}

bool shared_library::is_loaded(const char* path)
{
#if defined(_WIN32)
    return GetModuleHandleA(path) != nullptr;
#else
    void* const library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
#endif
}

} // namespace kx_test
