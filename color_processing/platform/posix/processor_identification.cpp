#include "platform/processor_identification.h"

#include <cpuid.h>

namespace kx::platform {

cpuid_registers cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    cpuid_registers registers{};
    __cpuid_count(leaf, subleaf, registers.eax, registers.ebx, registers.ecx, registers.edx);
    return registers;
}

} // namespace kx::platform
