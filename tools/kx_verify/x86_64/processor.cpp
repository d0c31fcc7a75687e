#include "processor.h"

#include "platform/processor_identification.h"

namespace kx::verify {

std::string processor_name()
{
    constexpr std::uint32_t first_leaf = 0x80000002; // three leaves of sixteen characters
    std::string name;
    for (std::uint32_t leaf = first_leaf; leaf < first_leaf + 3; ++leaf) {
        const platform::cpuid_registers registers = platform::cpuid(leaf, 0);
        name.append(reinterpret_cast<const char*>(&registers), sizeof registers);
    }
    return name.substr(0, name.find('\0'));
}

bool processor_has(std::int32_t vector_level)
{
    return vector_level == 0 || (vector_level == 1 && __builtin_cpu_supports("sse4.1"))
           || (vector_level == 2 && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"));
}

bool processor_has_512_bits()
{
    return __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl")
           && __builtin_cpu_supports("avx512vbmi");
}

} // namespace kx::verify
