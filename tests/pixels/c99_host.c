/* A host in plain C that loads the library by path, works with it and unloads it.
 *
 *   c99_host LIBRARY [VECTOR_MODULE_FILE_NAME...]
 *
 * The vector modules named must be loaded while a processor lives, and only then. */
#define KX_COLOR_PROCESSING_API
#include "korvex_kvi_color_processing.h"

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static int failures = 0;

static void expect(int condition, const char* what)
{
    if (!condition) {
        fprintf(stderr, "failed: %s\n", what);
        ++failures;
    }
}

/* Entry points are found by name: a void pointer does not convert to them in C, its bits do. */
static void find(void* library, const char* name, void* entry_point)
{
    void* address = dlsym(library, name);
    expect(address != NULL, name);
    memcpy(entry_point, &address, sizeof address);
}

static int is_loaded(const char* name)
{
    void* module = dlopen(name, RTLD_NOW | RTLD_NOLOAD);
    if (module == NULL) {
        return 0;
    }
    dlclose(module);
    return 1;
}

/* Swaps red and green by the matrix, passes green through an output LUT and shifts blue. */
static void transform_and_check(void* library, kx_color_processor* processor)
{
    static const float red_and_green_swapped[9] = {0, 1, 0, 1, 0, 0, 0, 0, 1};
    static const uint16_t input[6] = {1024, 20, 30, 2047, 50, 60};
    static const uint8_t expected[8] = {20, 130, 4, 0, 50, 160, 7, 0};
    uint8_t output[8];
    uint32_t* green_LUT;
    int i;

    int32_t (*append_matrix)(kx_color_processor*, const float*);
    int32_t (*enable_output_LUTs)(kx_color_processor*, int32_t, int32_t, int32_t);
    uint32_t* (*get_green_output_LUT)(kx_color_processor*);
    int32_t (*transform)(kx_color_processor*, const uint16_t*, int32_t, uint16_t, uint16_t, uint16_t, uint16_t,
                         uint16_t, uint16_t, int32_t, int32_t, int32_t, uint8_t*, int32_t, int32_t);
    find(library, "kx_color_append_matrix", &append_matrix);
    find(library, "kx_color_enable_output_LUTs", &enable_output_LUTs);
    find(library, "kx_color_get_green_output_LUT", &get_green_output_LUT);
    find(library, "kx_color_transform_48_to_32", &transform);
    if (failures != 0) {
        return;
    }

    expect(append_matrix(processor, red_and_green_swapped) == KX_COLOR_SUCCESS, "the matrix is appended");
    green_LUT = get_green_output_LUT(processor);
    for (i = 0; i < 256; ++i) {
        green_LUT[i] = (uint32_t)(i + 100);
    }
    expect(enable_output_LUTs(processor, 0, 1, 0) == KX_COLOR_SUCCESS, "the green LUT is enabled");
    memset(output, 0xFF, sizeof output);
    expect(transform(processor, input, KX_COLOR_INTERLEAVED_BGR, 0, 65535, 0, 255, 0, 65535, -8, 0, 0, output,
                     KX_COLOR_INTERLEAVED_RGB, 2)
               == KX_COLOR_SUCCESS,
           "the transform succeeds");
    expect(memcmp(output, expected, sizeof expected) == 0, "the transform's output is right");
    expect(transform(processor, input, 3, 0, 65535, 0, 255, 0, 65535, -8, 0, 0, output, 2, 2)
               == KX_COLOR_INVALID_INPUT_FORMAT,
           "a wrong format is refused");
}

int main(int argc, char** argv)
{
    void* library;
    kx_color_processor* processor;
    int32_t (*initialize)(void);
    int32_t (*terminate)(void);
    kx_color_processor* (*create)(int32_t, int32_t);
    int32_t (*destroy)(kx_color_processor*);
    int i;

    if (argc < 2) {
        fprintf(stderr, "usage: %s LIBRARY [VECTOR_MODULE_FILE_NAME...]\n", argv[0]);
        return 2;
    }
    library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    find(library, "kx_color_processing_module_initialize", &initialize);
    find(library, "kx_color_processing_module_terminate", &terminate);
    find(library, "kx_color_create_color_processor", &create);
    find(library, "kx_color_destroy_color_processor", &destroy);
    if (failures != 0) {
        return 1;
    }

    expect(create(8, 8) == NULL, "nothing is created before initialize");
    expect(initialize() == KX_COLOR_SUCCESS, "the module is initialized");
    processor = create(8, 8);
    expect(processor != NULL, "a processor is created");
    for (i = 2; i < argc; ++i) {
        expect(is_loaded(argv[i]), argv[i]);
    }
    if (processor != NULL) {
        transform_and_check(library, processor);
        expect(destroy(processor) == KX_COLOR_SUCCESS, "the processor is destroyed");
    }
    for (i = 2; i < argc; ++i) {
        expect(!is_loaded(argv[i]), "no vector module stays loaded");
    }
    expect(terminate() == KX_COLOR_SUCCESS, "the module is terminated");

    expect(is_loaded(argv[1]), "the library is loaded");
    expect(dlclose(library) == 0, "the library is closed");
    expect(!is_loaded(argv[1]), "the library is gone");
    return failures == 0 ? 0 : 1;
}
