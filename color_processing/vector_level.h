// Which vector module a processor may use.
#pragma once

#include "korvex_kvi_color_processing.h"
#include "platform/architecture.h"
#include "platform/processor_identification.h"

#include <cstdint>

namespace kx {

// The best vector level of x86-64, by the processor's features; `cpuid` is platform::cpuid or a test's stand-in.
// Asks neither for the highest leaf nor for the operating system's register state: a vector module that
// cannot run refuses its initialization, and the binding falls back.
template <typename cpuid_function>
std::int32_t supported_vector_level(cpuid_function cpuid)
{
    constexpr std::uint32_t leaf_7_ebx_avx2 = 1U << 5;
    constexpr std::uint32_t leaf_1_ecx_fma = 1U << 12;
    constexpr std::uint32_t leaf_1_ecx_sse4_1 = 1U << 19;
    constexpr std::uint32_t leaf_1_edx_sse = 1U << 25;
    constexpr std::uint32_t leaf_1_edx_sse2 = 1U << 26;

    if ((cpuid(7, 0).ebx & leaf_7_ebx_avx2) != 0 && (cpuid(1, 0).ecx & leaf_1_ecx_fma) != 0) {
        return KX_COLOR_VECTOR_LEVEL_AVX2;
    }
    const platform::cpuid_registers features = cpuid(1, 0);
    if ((features.edx & leaf_1_edx_sse) != 0 && (features.edx & leaf_1_edx_sse2) != 0
        && (features.ecx & leaf_1_ecx_sse4_1) != 0) {
        return KX_COLOR_VECTOR_LEVEL_SSE;
    }
    return KX_COLOR_VECTOR_LEVEL_SCALAR;
}

// The best vector level of this machine's processor. NEON is part of ARM64.
inline std::int32_t machine_vector_level()
{
    if constexpr (platform::on_arm64) {
        return KX_COLOR_VECTOR_LEVEL_SSE;
    } else {
        return supported_vector_level(platform::cpuid);
    }
}

} // namespace kx
