// The processor that this program runs on.
#pragma once

#include <cstdint>
#include <string>

namespace kx::verify {

// What it calls itself, for people to read.
std::string processor_name();

// Whether it has the instructions of a vector level, 0..2.
bool processor_has(std::int32_t vector_level);

// Whether it has the instructions by which the AVX2 module uses 512-bit registers.
bool processor_has_512_bits();

} // namespace kx::verify
