/* A host in plain C that loads the library by name, works with it and unloads it.
 *
 *   c99_host LIBRARY [VECTOR_MODULE_FILE_NAME...]
 *
 * The vector modules named must be loaded while a processor lives, and only then. */
#define KX_COLOR_PROCESSING_API
#include "korvex_kvi_color_processing.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

static void expect(int condition, const char* what)
{
    if (!condition) {
        fprintf(stderr, "failed: %s\n", what);
        exit(1);
    }
}

#if defined(_WIN32)

static void* load(const char* name)
{
    return (void*)LoadLibraryA(name);
}

static int unload(void* library)
{
    return FreeLibrary((HMODULE)library) != 0;
}

static int is_loaded(const char* name)
{
    return GetModuleHandleA(name) != NULL;
}

#else

static void* load(const char* name)
{
    return dlopen(name, RTLD_NOW | RTLD_LOCAL);
}

static int unload(void* library)
{
    return dlclose(library) == 0;
}

static int is_loaded(const char* name)
{
    void* module = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
    return module != NULL && dlclose(module) == 0;
}

#endif

/* Entry points are found by name: a void pointer does not convert to them in C, its bits do. */
static void find(void* library, const char* name, void* entry_point)
{
#if defined(_WIN32)
    FARPROC address = GetProcAddress((HMODULE)library, name);
#else
    void* address = dlsym(library, name);
#endif
    expect(address != NULL, name);
    memcpy(entry_point, &address, sizeof address);
}

int main(int argc, char** argv)
{
    static const float red_and_green_swapped[9] = {0, 1, 0, 1, 0, 0, 0, 0, 1};
    static const uint16_t input[6] = {1024, 20, 30, 2047, 50, 60};
    static const uint8_t expected[8] = {20, 30, 4, 0, 50, 60, 7, 0};
    uint8_t output[8];
    kx_color_processor* processor;
    int i;

    int32_t (*initialize)(void);
    int32_t (*terminate)(void);
    kx_color_processor* (*create)(int32_t, int32_t);
    int32_t (*destroy)(kx_color_processor*);
    int32_t (*append_matrix)(kx_color_processor*, const float*);
    int32_t (*transform)(kx_color_processor*, const uint16_t*, int32_t, uint16_t, uint16_t, uint16_t, uint16_t,
                         uint16_t, uint16_t, int32_t, int32_t, int32_t, uint8_t*, int32_t, int32_t);
    void* library = argc < 2 ? NULL : load(argv[1]);
    expect(library != NULL, "the library is loaded");
    find(library, "kx_color_processing_module_initialize", &initialize);
    find(library, "kx_color_processing_module_terminate", &terminate);
    find(library, "kx_color_create_color_processor", &create);
    find(library, "kx_color_destroy_color_processor", &destroy);
    find(library, "kx_color_append_matrix", &append_matrix);
    find(library, "kx_color_transform_48_to_32", &transform);

    expect(initialize() == KX_COLOR_SUCCESS, "the module is initialized");
    processor = create(8, 8);
    expect(processor != NULL, "a processor is created");
    for (i = 2; i < argc; ++i) {
        expect(is_loaded(argv[i]), argv[i]);
    }
    expect(append_matrix(processor, red_and_green_swapped) == KX_COLOR_SUCCESS, "the matrix is appended");
    expect(transform(processor, input, KX_COLOR_INTERLEAVED_BGR, 0, 65535, 0, 255, 0, 65535, -8, 0, 0, output,
                     KX_COLOR_INTERLEAVED_RGB, 2)
               == KX_COLOR_SUCCESS,
           "the transform succeeds");
    expect(memcmp(output, expected, sizeof expected) == 0, "the transform's output is right");
    expect(destroy(processor) == KX_COLOR_SUCCESS, "the processor is destroyed");
    for (i = 2; i < argc; ++i) {
        expect(!is_loaded(argv[i]), "no vector module stays loaded");
    }
    expect(terminate() == KX_COLOR_SUCCESS, "the module is terminated");
    expect(is_loaded(argv[1]), "the library stays loaded");
    expect(unload(library), "the library is closed");
    expect(!is_loaded(argv[1]), "the library is gone");
    return 0;
}
