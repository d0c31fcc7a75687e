// The LUT module's entry points, as function types; found by name at run time.
#pragma once

#include <cstdint>

namespace kx {

extern "C" {
using LUT_module_initialize_function = std::int32_t();

// Creates a LUT of `entry_count` (1 to 65,536, a power of two) entries of 32 bits. `for_avx2` is 1 when
// the LUT's processor runs at the AVX2 level, else 0. Returns the LUT's handle.
using create_LUT_function = void*(std::int32_t entry_count, std::int32_t for_avx2);

// Maps `count` samples through a LUT. Part of the module's contract, but not used by this library.
using LUT_transform_16_function = std::int32_t(void* LUT, const std::uint16_t* input, std::uint16_t* output,
                                               std::int32_t count);

// The LUT's entries, valid until the LUT is destroyed.
using get_LUT_data_function = std::uint32_t*(void* LUT);

// Destroys a LUT; the handle may be null.
using destroy_LUT_function = std::int32_t(void* LUT);

using LUT_module_terminate_function = std::int32_t();
}

// The loaded LUT module: its handle and the entry points found so far, each null until found.
struct LUT_module {
    static constexpr const char* base_name = "korvex_kvi_LUT";

    void* module = nullptr;
    LUT_module_initialize_function* initialize = nullptr;
    create_LUT_function* create_LUT = nullptr;
    LUT_transform_16_function* LUT_transform_16 = nullptr;
    get_LUT_data_function* get_LUT_data = nullptr;
    destroy_LUT_function* destroy_LUT = nullptr;
    LUT_module_terminate_function* terminate = nullptr;
};

} // namespace kx
