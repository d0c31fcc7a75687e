// Runs a transform through the library's exports between guard pages and compares it with the reference.
#pragma once

#include "combination.h"
#include "korvex_kvi_color_processing.h"
#include "reference.h"
#include "support/guarded_buffer.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <random>
#include <vector>

namespace kx_test {

using random_source = std::mt19937_64;

// Uniform in first..last.
template <typename number>
number pick(random_source& random, number first, number last)
{
    return static_cast<number>(std::uniform_int_distribution<std::int64_t>(first, last)(random));
}

// The vector level under test, 0..2: what the program was called with.
int vector_level();
void set_vector_level(int level);

// A module initialized for the length of a test. A test is skipped when this machine's processor lacks the
// instructions of the level under test; a level whose module is missing or refuses without need fails.
class pixel_test : public testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

// A processor with LUTs full of random 32-bit words.
class test_processor {
public:
    test_processor(int input_depth, int output_depth, int level, random_source& random);
    ~test_processor();
    test_processor(const test_processor&) = delete;
    test_processor& operator=(const test_processor&) = delete;

    [[nodiscard]] kx_color_processor* handle() const { return handle_; }
    [[nodiscard]] int input_depth() const { return input_depth_; }
    [[nodiscard]] int output_depth() const { return output_depth_; }
    [[nodiscard]] int level() const { return level_; }

    // Blue, green, red.
    [[nodiscard]] const std::array<std::uint32_t*, 3>& input_LUTs() const { return input_LUTs_; }
    [[nodiscard]] const std::array<std::uint32_t*, 3>& output_LUTs() const { return output_LUTs_; }

private:
    kx_color_processor* handle_;
    int input_depth_;
    int output_depth_;
    int level_;
    std::array<std::uint32_t*, 3> input_LUTs_;
    std::array<std::uint32_t*, 3> output_LUTs_;
};

// Where a buffer lies between its guard pages: so many samples from the first or the last of them.
struct placement {
    bool at_end = true;
    std::size_t distance = 0;
};

struct channel_settings {
    std::uint16_t clamp_min = 0;
    std::uint16_t clamp_max = 65535;
    std::int32_t shift_distance = 0;
};

// One call of a transform. LUT switches and layouts come from the combination; the shift distances must fit
// its directions.
struct pixel_case {
    combination choices{};
    std::vector<matrix_values> matrices; // appended in this order
    std::array<channel_settings, 3> channels;
    std::int32_t planar_format = 0; // what to pass for planar layouts: 0 or anything negative
    std::int32_t pixel_count = 0;
    std::vector<std::uint16_t> samples; // the input image, 3 x pixel_count
    placement input;
    placement output;
};

// A case with random matrices, clamps, distances, samples and placements that the processor can run.
pixel_case random_case(const combination& choices, const test_processor& processor, std::int32_t pixel_count,
                       random_source& random);

// Sets the processor's matrix and LUT switches as the case needs them.
void configure(const test_processor& processor, const pixel_case& wanted);

// Buffers and bookkeeping for one thread.
class pixel_harness {
public:
    explicit pixel_harness(std::int32_t largest_pixel_count);

    // Runs the case on a configured processor. Succeeds when the library returned success and called the
    // vector module of the processor's level, once, and no other; that module left over no more than a
    // vector's worth of pixels; every output sample is right, and every byte around them is untouched.
    testing::AssertionResult transform(const test_processor& processor, const pixel_case& wanted);

    // The same, configuring the processor first.
    testing::AssertionResult run(const test_processor& processor, const pixel_case& wanted);

    // The same with a stand-in module at the processor's level that claims `converted` pixels: the library
    // must write those that follow, and nothing else.
    testing::AssertionResult run_after_stand_in(const test_processor& processor, const pixel_case& wanted,
                                                std::uint32_t converted);

private:
    testing::AssertionResult transform_and_compare(const test_processor& processor, const pixel_case& wanted,
                                                   std::int64_t first_pixel);

    guarded_buffer input_;
    guarded_buffer output_;
    std::vector<std::uint8_t> expected_; // all of output_
};

// The record of the case for the reference, without its input buffer.
reference_transform reference_of(const test_processor& processor, const pixel_case& wanted);

// Calls the export for the combination's output.
std::int32_t call_transform(const test_processor& processor, const pixel_case& wanted, const std::uint16_t* input,
                            void* output);

// The whole case but its samples.
std::string describe(const test_processor& processor, const pixel_case& wanted);

} // namespace kx_test
