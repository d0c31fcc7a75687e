// Runs a transform through the library's exports between guard pages and compares it with the reference.
#pragma once

#include "support/guarded_buffer.h"
#include "test_processor.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace kx_test {

// A module initialized for the length of a test. A test is skipped when this machine's processor lacks the
// instructions of the level under test.
class pixel_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
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
