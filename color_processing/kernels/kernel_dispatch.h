// The way into the pixel kernels, one entry for each family.
#pragma once

#include "companion_interfaces/transform_parameters.h"

#include <cstdint>

namespace kx {

// Convert the pixels from `first_pixel` to the record's pixel count with the one kernel made for the
// record's choices. The record must be valid and complete; a first pixel at or beyond the count is fine.
void run_8_bit_output_kernel(const transform_parameters& parameters, std::uint32_t first_pixel);
void run_16_bit_output_kernel(const transform_parameters& parameters, std::uint32_t first_pixel);

} // namespace kx
