#include "vector/supported_features.h"
#include "vector/units.h"

// Tests and benchmarks make modules of one width alone.
#ifndef KX_ONLY_BITS
#define KX_ONLY_BITS 0
#endif

namespace kx::vector {

const transforms* widest_unit()
{
    const auto may_run = [](int bits) { return KX_ONLY_BITS == 0 || KX_ONLY_BITS == bits; };
    if (may_run(512) && supports_avx512(platform::cpuid, platform::enabled_register_state)) {
        return &avx512_transforms;
    }
    if (may_run(256) && supports_avx2(platform::cpuid, platform::enabled_register_state)) {
        return &avx2_transforms;
    }
    return nullptr;
}

} // namespace kx::vector
