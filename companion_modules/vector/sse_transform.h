// The module's arithmetic, in a compilation unit of its own that alone may use SSE instructions.
#pragma once

#include "companion_interfaces/transform_parameters.h"

#include <cstdint>

namespace kx::vector {

std::uint32_t transform_8_bit_output_sse(const transform_parameters& parameters);
std::uint32_t transform_16_bit_output_sse(const transform_parameters& parameters);

} // namespace kx::vector
