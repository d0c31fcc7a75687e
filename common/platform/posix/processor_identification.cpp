#include "platform/processor_identification.h"

#include <cpuid.h>
#include <immintrin.h>

namespace kx::platform {

cpuid_registers cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    cpuid_registers registers{};
    __cpuid_count(leaf, subleaf, registers.eax, registers.ebx, registers.ecx, registers.edx);
    return registers;
}

__attribute__((target("xsave"))) std::uint64_t enabled_register_state()
{
    return _xgetbv(0);
}

} // namespace kx::platform
