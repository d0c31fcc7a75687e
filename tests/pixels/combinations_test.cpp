// Every combination of the choices, one after the other, on random images, and sums that are hard to round.
#include "harness.h"

#include <cmath>
#include <limits>
#include <memory>

namespace kx_test {

namespace {

constexpr int shard_count = 16; // each a test of its own, so that they can run side by side

class every_combination : public pixel_test, public testing::WithParamInterface<int> {};

TEST_P(every_combination, computes_what_the_reference_does)
{
    random_source random(static_cast<std::uint64_t>(GetParam()) + 1);
    std::vector<std::unique_ptr<test_processor>> processors;
    processors.push_back(std::make_unique<test_processor>(16, 16, random));
    processors.push_back(std::make_unique<test_processor>(0, 0, random));
    for (int i = 0; i < 10; ++i) {
        processors.push_back(std::make_unique<test_processor>(pick(random, 0, 16), pick(random, 0, 16), random));
    }

    // From fewer pixels than a vector takes, and none, to several vectors and a remainder.
    constexpr std::int32_t most = 150;
    pixel_harness harness(most);
    for (int number = GetParam(); number < combination_count; number += shard_count) {
        for (int i = 0; i < KX_CASES_PER_COMBINATION; ++i) {
            // Every combination meets the LUTs of full depth, where the values are most diverse.
            const auto& processor = *processors[i == 0 ? 0 : pick(random, std::size_t{0}, processors.size() - 1)];
            const std::int32_t pixels = pick(random, -5, most);
            ASSERT_TRUE(harness.run(processor, random_case(combination_at(number), processor.LUTs(), pixels, random)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(shard, every_combination, testing::Range(0, shard_count));

// With the matrix element m and the input sample 1 a channel's sum is m itself.
TEST_F(pixel_test, sums_that_are_hard_to_round)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::vector<float> sums = {0.0F,       -0.0F,     99.49997F, 99.5F,  -3.2F,  65534.5F, 65535.5F, 65536.0F,
                               8388607.5F, 0x1p-149F, 0x1p-126F, 1e30F,  -1e30F, 0x1p31F,  -0x1p31F, 0x1p32F,
                               infinity,   -infinity, 3e38F,     -3e38F, -0.5F,  -1.5F,    -65536.5F};
    for (float half = 0.5F; half < 70'000.0F; half = half * 1.7F + 1.0F) {
        sums.push_back(std::floor(half) + 0.5F);
    }
    const std::size_t chosen = sums.size();
    for (std::size_t i = 0; i < chosen; ++i) { // and their neighbours
        sums.push_back(std::nextafter(sums[i], infinity));
        sums.push_back(std::nextafter(sums[i], -infinity));
    }
    sums.push_back(std::numeric_limits<float>::quiet_NaN());

    random_source random(5);
    const test_processor processor(0, 0, random);
    pixel_harness harness(100);
    for (std::size_t i = 0; i < sums.size(); ++i) {
        // An infinity or NaN spreads over its column, so the other rows see it as NaN.
        const matrix_values matrix = {
            sums[i], 0, 0, 0, sums[(i + 1) % sums.size()], 0, 0, 0, sums[(i + 2) % sums.size()]};
        for (const int bits : {8, 16}) {
            pixel_case made;
            made.choices.output_bits = bits;
            made.matrices = {matrix};
            made.pixel_count = 67; // vectors, if any, and a remainder
            made.samples.assign(3 * 67, 1);
            ASSERT_TRUE(harness.run(processor, made));
            made.channels[0].clamp_min = made.channels[1].clamp_min = made.channels[2].clamp_min = 7;
            ASSERT_TRUE(harness.run(processor, made));
        }
    }
}

} // namespace

} // namespace kx_test
