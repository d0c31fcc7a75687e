#include "vector/supported_features.h"
#include "vector/units.h"

namespace kx::vector {

const transforms* widest_unit()
{
    return supports_sse(platform::cpuid, platform::enabled_register_state) ? &sse_transforms : nullptr;
}

} // namespace kx::vector
