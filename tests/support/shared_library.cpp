#include "support/shared_library.h"

#include <algorithm>
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

void* checked(void* found, const char* name)
{
    if (found == nullptr) {
#if defined(_WIN32)
        const std::string reason = "error " + std::to_string(GetLastError());
#else
        const std::string reason = dlerror();
#endif
        throw std::runtime_error(std::string("cannot find ") + name + ": " + reason);
    }
    return found;
}

} // namespace

#if defined(_WIN32)

namespace {

// Windows knows no library by a path with forward slashes, though it may load it.
std::string with_backslashes(std::string path)
{
    std::replace(path.begin(), path.end(), '/', '\\');
    return path;
}

} // namespace

shared_library::shared_library(const char* path) : handle_(checked(LoadLibraryA(with_backslashes(path).c_str()), path))
{
}

void* shared_library::address_of(const char* name) const
{
    return checked(reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name)), name);
}

void shared_library::close()
{
    if (void* const library = std::exchange(handle_, nullptr)) {
        FreeLibrary(static_cast<HMODULE>(library));
    }
}

bool shared_library::is_loaded(const char* path)
{
    return GetModuleHandleA(with_backslashes(path).c_str()) != nullptr;
}

#else

shared_library::shared_library(const char* path) : handle_(checked(dlopen(path, RTLD_NOW | RTLD_LOCAL), path)) {}

void* shared_library::address_of(const char* name) const
{
    return checked(dlsym(handle_, name), name);
}

void shared_library::close()
{
    if (void* const library = std::exchange(handle_, nullptr)) {
        dlclose(library);
    }
}

bool shared_library::is_loaded(const char* path)
{
    void* const library = dlopen(path, RTLD_NOW | RTLD_NOLOAD);
    if (library != nullptr) {
        dlclose(library);
    }
    return library != nullptr;
}

#endif

} // namespace kx_test
