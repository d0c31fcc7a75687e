// The LUT module: look-up tables of 32-bit entries, aligned for vector code.
//
// The declarations name the function types by which the library calls the module, so a definition that
// differs from them does not compile.
#pragma once

#include "../module_export.h"
#include "companion_interfaces/LUT_module.h"

#include <cstddef>
#include <cstdint>

namespace kx {

// The storage of every LUT starts on a cache line.
inline constexpr std::size_t LUT_alignment = 64;
inline constexpr std::int32_t max_LUT_entries = 65536;

// What kx_LUT_transform_16 returns.
inline constexpr std::int32_t LUT_transform_done = 0;
inline constexpr std::int32_t LUT_transform_invalid_argument = 1;
inline constexpr std::int32_t LUT_transform_sample_out_of_range = 2;

} // namespace kx

extern "C" {

// Returns 0. The module keeps no state of its own: LUTs may be created before initialization, and those
// that exist when the module is terminated stay valid until they are destroyed.
KX_MODULE_EXPORT kx::LUT_module_initialize_function kx_LUT_module_initialize;

// Creates a LUT whose entries are all 0. The storage is the same for every vector level, so the second
// argument is ignored. Throws std::invalid_argument for an entry count that is not a power of two from 1 to
// 65,536, and std::bad_alloc when memory runs out.
KX_MODULE_EXPORT kx::create_LUT_function kx_create_LUT_test;

// The entries, for reading and writing; null for a null LUT.
KX_MODULE_EXPORT kx::get_LUT_data_function kx_get_LUT_data;

// Writes the low 16 bits of entry number input[i] to output[i], for i from 0 to count - 1. Returns
//   LUT_transform_done
//   LUT_transform_invalid_argument     the LUT is null, the count negative, or a buffer of one sample or more null
//   LUT_transform_sample_out_of_range  an input sample has no entry
// and has written nothing unless it is done. Output and input may be the same buffer, but must not overlap
// otherwise. Nothing outside the table is read, whatever the buffers hold.
KX_MODULE_EXPORT kx::LUT_transform_16_function kx_LUT_transform_16;

// Frees a LUT; does nothing for a null one. Returns 0.
KX_MODULE_EXPORT kx::destroy_LUT_function kx_destroy_LUT;

// Returns 0. See kx_LUT_module_initialize.
KX_MODULE_EXPORT kx::LUT_module_terminate_function kx_LUT_module_terminate;
}
