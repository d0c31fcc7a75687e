// The way into the pixel kernels, one entry for each family.
#pragma once

#include "companion_interfaces/transform_parameters.h"

#include <cstdint>

namespace kx {

// Converts the pixels from `first_pixel` to the record's pixel count with the one kernel made for the record's
// choices. The record must be valid and complete; a first pixel at or beyond the count is fine. The family is that
// of the output samples' width: std::uint8_t or std::uint16_t.
template <typename output_sample>
void run_kernel(const transform_parameters& parameters, std::uint32_t first_pixel);

} // namespace kx
