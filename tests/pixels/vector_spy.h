// Stands between the library and a vector module and keeps account of what passes.
//
// A spy carries the vector module's file name and entry points. The test program is linked with both spies,
// so that they are the libraries of these names when the library loads its vector modules; each spy then
// loads the module proper from the library's own directory and passes every call on to it.
#pragma once

#include <cstdint>
#include <optional>

namespace kx_test {

// One thread's account: a transform calls a vector module on its own thread.
struct vector_spy {
    bool module_found = false;           // set by initialize, as is the next
    std::int32_t initialize_result = -1; // the module's own answer
    unsigned transforms_8_bit = 0;
    unsigned transforms_16_bit = 0;
    std::uint32_t converted = 0; // what the last transform returned

    // When set, the spy plays a module itself: it is always usable, converts nothing and says that it
    // converted so many pixels. To be set and reset only while the thread has no processors.
    std::optional<std::uint32_t> stand_in;
};

} // namespace kx_test

extern "C" {
kx_test::vector_spy& kx_vector_spy_sse();
kx_test::vector_spy& kx_vector_spy_avx2();
}
