// Loading shared libraries at run time.
#pragma once

namespace kx::platform {

// Loads the shared library with this base name (the platform's file-name suffix is added here), found in
// the platform's default search order. Returns its handle, or null. Every successful load counts and must
// be matched by one unload.
void* load_module(const char* base_name);

// The address of an exported function, or null.
void* find_entry_point(void* module, const char* name);

// The same, as the function's type; returns whether it was found.
template <typename function>
bool find_entry_point(void* module, const char* name, function*& entry_point)
{
    entry_point = reinterpret_cast<function*>(find_entry_point(module, name));
    return entry_point != nullptr;
}

void unload_module(void* module);

} // namespace kx::platform
