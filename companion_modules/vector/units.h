// What the units with the arithmetic have to offer. Each is compiled with instructions of its own, which nothing else
// may use, and shares no code: the build makes all else that is in it local.
#pragma once

#include "companion_interfaces/transform_parameters.h"

#include <cstdint>

namespace kx::vector {

// Both return how many pixels they converted, from 0 on.
struct transforms {
    std::uint32_t (*to_8_bits)(const transform_parameters& parameters);
    std::uint32_t (*to_16_bits)(const transform_parameters& parameters);
};

extern const transforms neon_transforms;
extern const transforms sse_transforms;
extern const transforms avx2_transforms;
extern const transforms avx512_transforms;

// The widest of a module's units that this machine can run, or null. Each module has its own.
const transforms* widest_unit();

} // namespace kx::vector
