// The high-resolution clock behind the timings.
#pragma once

#include <cstdint>

namespace kx::platform {

// Ticks a second. Returns whether the counter exists.
bool query_performance_frequency(std::int64_t& frequency);

// The counter's present value in ticks. Returns whether it could be read.
bool query_performance_counter(std::int64_t& count);

} // namespace kx::platform
