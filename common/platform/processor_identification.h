// An x86-64 processor's own account of its features.
#pragma once

#include <cstdint>

namespace kx::platform {

struct cpuid_registers {
    std::uint32_t eax;
    std::uint32_t ebx;
    std::uint32_t ecx;
    std::uint32_t edx;
};

// Executes CPUID, without asking first whether the processor knows the leaf.
cpuid_registers cpuid(std::uint32_t leaf, std::uint32_t subleaf);

// Which register state the operating system saves and restores (XCR0). Call only where CPUID reports
// OSXSAVE.
std::uint64_t enabled_register_state();

} // namespace kx::platform
