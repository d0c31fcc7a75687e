// Whether this machine can run a unit. Unlike the library's choice of a level, which looks at the
// processor alone, the checks from AVX2 on ask the operating system too, so that initialization refuses in time.
#pragma once

#include "platform/processor_identification.h"

#include <cstdint>

namespace kx::vector {

inline bool has_all(std::uint32_t value, std::uint32_t bits)
{
    return (value & bits) == bits;
}

// The arguments are those of the platform layer, or a test's stand-ins.

template <typename cpuid_function, typename register_state_function>
bool supports_sse(cpuid_function cpuid, register_state_function /*enabled_register_state*/)
{
    constexpr std::uint32_t leaf_1_ecx_ssse3 = 1U << 9;
    constexpr std::uint32_t leaf_1_ecx_sse4_1 = 1U << 19;
    return has_all(cpuid(1, 0).ecx, leaf_1_ecx_ssse3 | leaf_1_ecx_sse4_1);
}

template <typename cpuid_function, typename register_state_function>
bool supports_avx2(cpuid_function cpuid, register_state_function enabled_register_state)
{
    constexpr std::uint32_t leaf_1_ecx_osxsave = 1U << 27;
    constexpr std::uint32_t leaf_1_ecx_avx = 1U << 28;
    constexpr std::uint32_t leaf_7_ebx_avx2 = 1U << 5;
    constexpr std::uint64_t xmm_and_ymm_state = 0x6;
    return cpuid(0, 0).eax >= 7 && has_all(cpuid(1, 0).ecx, leaf_1_ecx_osxsave | leaf_1_ecx_avx)
           && (enabled_register_state() & xmm_and_ymm_state) == xmm_and_ymm_state
           && has_all(cpuid(7, 0).ebx, leaf_7_ebx_avx2);
}

// AVX-512 with the byte permutations of VBMI. Processors without these are old ones, which slow down for 512 bits.
template <typename cpuid_function, typename register_state_function>
bool supports_avx512(cpuid_function cpuid, register_state_function enabled_register_state)
{
    constexpr std::uint32_t leaf_7_ebx_avx512_f = 1U << 16;
    constexpr std::uint32_t leaf_7_ebx_avx512_bw = 1U << 30;
    constexpr std::uint32_t leaf_7_ebx_avx512_vl = 1U << 31;
    constexpr std::uint32_t leaf_7_ecx_avx512_vbmi = 1U << 1;
    constexpr std::uint64_t mask_and_zmm_state = 0xE0;
    return supports_avx2(cpuid, enabled_register_state)
           && (enabled_register_state() & mask_and_zmm_state) == mask_and_zmm_state
           && has_all(cpuid(7, 0).ebx, leaf_7_ebx_avx512_f | leaf_7_ebx_avx512_bw | leaf_7_ebx_avx512_vl)
           && has_all(cpuid(7, 0).ecx, leaf_7_ecx_avx512_vbmi);
}

} // namespace kx::vector
