#include "vector/units.h"

namespace kx::vector {

// NEON is part of ARM64.
const transforms* widest_unit()
{
    return &neon_transforms;
}

} // namespace kx::vector
