// All combinations on an image of their own each, made the same way everywhere: what comes out is the same bytes on
// every system and at every vector level.
#pragma once

#include <korvex_kvi_color_processing.hpp>

#include <cstdint>
#include <string>

namespace kx::verify {

// Of all outputs, one after the other: FNV-1a, 64 bits.
inline constexpr std::uint64_t published_hash = 7125886236390998724U;

struct outcome {
    std::uint64_t hash = 0;
    int differing = 0;            // conversions that did not give what the reference does
    std::string first_difference; // empty if there is none
    double seconds = 0;           // of which the library took: neither making images nor the reference
};

// The processor must have LUTs of 16 bits.
outcome run_fixed_conversions(korvex::color::processor& processor);

} // namespace kx::verify
