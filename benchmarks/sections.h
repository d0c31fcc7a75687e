// The parts of the benchmark program. Each returns its figures as the report takes them: seconds a call, round by
// round.
#pragma once

#include "measure.h"
#include "workload.h"

#include <nlohmann/json.hpp>

namespace kx::benchmarks {

using json = nlohmann::ordered_json;

struct images {
    image noise;         // of 16 bits, far beyond the caches
    image small_noise;   // within them
    image photograph;    // by a 12-bit camera
    image frame;         // parts of it: 640 x 480 pixels,
    image large_frame;   // and 1920 x 1200
    image photograph_16; // the same in the high bits of 16
    image frame_16;
};

// Seconds a call by contestant's name.
json measured(const std::vector<contestant>& contestants, const effort& how);

// Every kind of transform by every path, beside memcpy of the same bytes and other libraries.
json measure_conversions(const images& all, const effort& how);

// A call without pixels, with the logger module and without.
json measure_empty_calls(const effort& how);

// One thread against two that share a processor.
json measure_threads(const images& all, const effort& how);

// A camera's frames at 100 a second: the seconds that each frame took, and a memcpy of its bytes.
json measure_live_frames(const images& all, const effort& how);

} // namespace kx::benchmarks
