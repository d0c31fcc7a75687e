#include "platform/processor_identification.h"

#include <immintrin.h>
#include <intrin.h>

namespace kx::platform {

cpuid_registers cpuid(std::uint32_t leaf, std::uint32_t subleaf)
{
    int registers[4] = {};
    __cpuidex(registers, static_cast<int>(leaf), static_cast<int>(subleaf));
    return {static_cast<std::uint32_t>(registers[0]), static_cast<std::uint32_t>(registers[1]),
            static_cast<std::uint32_t>(registers[2]), static_cast<std::uint32_t>(registers[3])};
}

__attribute__((target("xsave"))) std::uint64_t enabled_register_state()
{
    return _xgetbv(0);
}

} // namespace kx::platform
