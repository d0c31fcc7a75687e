// The vector modules' entry points, as function types and names; found by name at run time.
//
// A vector module converts a prefix of the image and returns the index of the first pixel that it did
// not convert; the scalar kernels finish the rest. It is initialized and terminated once for every
// processor and must count.
#pragma once

#include "platform/architecture.h"
#include "transform_parameters.h"

#include <cstdint>

namespace kx {

extern "C" {
// Returns 0 when the module is ready, anything else when it cannot run on this machine.
using vector_module_initialize_function = std::int32_t();

// Converts pixels from 0 on; returns how many.
using vector_transform_function = std::uint32_t(const transform_parameters* parameters);

using vector_module_terminate_function = std::int32_t();
}

// The names by which one vector module is found.
struct vector_module_names {
    const char* base_name;
    const char* initialize;
    const char* transform_8_bit_output;
    const char* transform_16_bit_output;
    const char* terminate;
};

inline constexpr vector_module_names sse_module_names{
    "korvex_kvi_color_processing_vector_sse",
    "kx_color_processing_vector_sse_module_initialize",
    "kx_color_processing_transform_8_bit_output_vector_sse",
    "kx_color_processing_transform_16_bit_output_vector_sse",
    "kx_color_processing_vector_sse_module_terminate",
};

inline constexpr vector_module_names avx2_module_names{
    "korvex_kvi_color_processing_vector_avx2",
    "kx_color_processing_vector_avx2_module_initialize",
    "kx_color_processing_transform_8_bit_output_vector_avx2",
    "kx_color_processing_transform_16_bit_output_vector_avx2",
    "kx_color_processing_vector_avx2_module_terminate",
};

inline constexpr vector_module_names neon_module_names{
    "korvex_kvi_color_processing_vector_neon",
    "kx_color_processing_vector_neon_module_initialize",
    "kx_color_processing_transform_8_bit_output_vector_neon",
    "kx_color_processing_transform_16_bit_output_vector_neon",
    "kx_color_processing_vector_neon_module_terminate",
};

// The module of 128-bit registers: what a vector level of 1 or more may use.
inline constexpr const vector_module_names& narrow_module_names =
    platform::on_arm64 ? neon_module_names : sse_module_names;

} // namespace kx
