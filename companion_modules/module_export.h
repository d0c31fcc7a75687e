// KX_MODULE_EXPORT marks the functions that a companion module exports. A module is loaded by name, never
// linked, so there is no importing side.
#pragma once

#if defined(_WIN32)
#define KX_MODULE_EXPORT __declspec(dllexport)
#else
#define KX_MODULE_EXPORT __attribute__((visibility("default")))
#endif
