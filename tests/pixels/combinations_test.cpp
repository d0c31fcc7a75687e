// Every combination of the choices, one after the other, on random images.
#include "harness.h"

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

} // namespace

} // namespace kx_test
