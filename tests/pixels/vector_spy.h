// Stands between the library and a vector module and keeps account of what passes.
//
// A spy carries the vector module's file name and entry points. The test program is linked with the spies,
// so that they are the libraries of these names when the library loads its vector modules; each spy then
// loads the module proper and passes every call on to it.
#pragma once

#include <cstdint>
#include <vector>

namespace kx_test {

// One thread's account: a transform calls a vector module on its own thread.
struct vector_spy {
    std::vector<int> calls;      // of transforms, by the bits of their output samples
    std::uint32_t converted = 0; // what the last transform returned
};

} // namespace kx_test

// The calling thread's account.
kx_test::vector_spy& kx_vector_spy_sse();
kx_test::vector_spy& kx_vector_spy_avx2();
kx_test::vector_spy& kx_vector_spy_neon();
