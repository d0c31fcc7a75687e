// Runs a transform through the library's exports between guard pages and compares it with the reference.
#pragma once

#include "korvex_kvi_color_processing.h"
#include "pixel_case.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace kx_test {

// The vector level under test, 0..2: what the environment variable KX_TEST_VECTOR_LEVEL says.
int vector_level();

// A module initialized for the length of a test. A test is skipped when this machine's processor lacks the
// instructions of the level under test.
class pixel_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

// A processor of the level under test, with LUTs full of random 32-bit words.
class test_processor {
public:
    test_processor(int input_depth, int output_depth, random_source& random);
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

// Buffers and bookkeeping for one thread.
class pixel_harness {
public:
    explicit pixel_harness(std::int32_t largest_pixel_count);

    // Runs the case on a configured processor. Succeeds when the library returned success and called the
    // vector module of the level under test, once, and no other; that module left over no more than a
    // vector's worth of pixels; every output sample is right, and every byte around them is untouched.
    testing::AssertionResult transform(const test_processor& processor, const pixel_case& wanted);

    // The same, configuring the processor first.
    testing::AssertionResult run(const test_processor& processor, const pixel_case& wanted);

private:
    guarded_buffer input_;
    guarded_buffer output_;
    std::vector<std::uint8_t> expected_; // all of output_
};

} // namespace kx_test
