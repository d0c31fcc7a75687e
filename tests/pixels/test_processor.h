// A processor, and how it runs a case.
#pragma once

#include "korvex_kvi_color_processing.h"
#include "pixel_case.h"

#include <cstdint>

namespace kx_test {

// The vector level under test, 0..2: what the environment variable KX_TEST_VECTOR_LEVEL says, 512 for level 2 with
// 512-bit registers alone.
int vector_level();

// A processor with LUTs full of random 32-bit words.
class test_processor {
public:
    test_processor(int input_depth, int output_depth, random_source& random, int level = vector_level());
    ~test_processor();
    test_processor(const test_processor&) = delete;
    test_processor& operator=(const test_processor&) = delete;

    [[nodiscard]] const LUT_set& LUTs() const { return LUTs_; }

    // Gives the LUTs other random words.
    void fill_LUTs(random_source& random) const;

    // Sets the matrix and the LUT switches as the case needs them.
    void configure(const pixel_case& wanted) const;

    // Calls the export for the case's output.
    std::int32_t transform(const pixel_case& wanted, const std::uint16_t* input, void* output) const;

private:
    kx_color_processor* handle_;
    LUT_set LUTs_;
};

} // namespace kx_test
