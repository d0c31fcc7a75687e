// Every combination of the choices, one after the other, on random images.
#include "harness.h"

#include <iterator>
#include <memory>
#include <set>

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

    // From fewer pixels than a vector takes to several vectors and a remainder.
    static constexpr struct {
        std::int32_t first, last;
    } pixel_counts[] = {{17, 40}, {1, 16}, {41, 100}, {0, 70}};

    pixel_harness harness(100);
    for (int number = GetParam(); number < combination_count; number += shard_count) {
        for (int i = 0; i < KX_CASES_PER_COMBINATION; ++i) {
            const auto& range = pixel_counts[i % std::ssize(pixel_counts)];
            // Every combination meets the LUTs of full depth, where the values are most diverse.
            const auto& processor = *processors[i == 0 ? 0 : pick(random, std::size_t{0}, processors.size() - 1)];
            const std::int32_t pixels = pick(random, range.first, range.last);
            ASSERT_TRUE(harness.run(processor, random_case(combination_at(number), processor.LUTs(), pixels, random)));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(shard, every_combination, testing::Range(0, shard_count));

TEST(combination, numbers_stand_for_distinct_choices)
{
    std::set<combination> seen;
    for (int number = 0; number < combination_count; ++number) {
        seen.insert(combination_at(number));
    }
    EXPECT_EQ(seen.size(), std::size_t{62'208});
}

} // namespace

} // namespace kx_test
