#include "platform/processor_identification.h"

#include <intrin.h>

namespace kx::platform {

cpuid_registers cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    int registers[4] = {};
    __cpuidex(registers, static_cast<int>(leaf), static_cast<int>(subleaf));
    return {static_cast<std::uint32_t>(registers[0]), static_cast<std::uint32_t>(registers[1]),
            static_cast<std::uint32_t>(registers[2]), static_cast<std::uint32_t>(registers[3])};
}

} // namespace kx::platform
