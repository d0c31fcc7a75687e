// Transforms that run at the same time.
#include "harness.h"

#include <atomic>
#include <thread>
#include <utility>

namespace kx_test {

namespace {

constexpr int thread_count = 4;
constexpr int repetitions = 100 / KX_EXTENT_STEP;

// Calls `work` so often on all threads, which start as nearly at once as can be.
template <typename function>
void run_concurrently(int times, std::int32_t largest_pixel_count, function work)
{
    std::atomic<int> not_ready = thread_count; // not a std::latch: that of MinGW's g++ 12 now and then never opens
    std::vector<std::jthread> threads;
    for (int i = 0; i < thread_count; ++i) {
        threads.emplace_back([=, &not_ready, &work] {
            random_source random(static_cast<std::uint64_t>(100 + i));
            pixel_harness harness(largest_pixel_count);
            for (--not_ready; not_ready > 0;) {
                std::this_thread::yield();
            }
            for (int time = 0; time < times; ++time) {
                const combination choices = combination_at(pick(random, 0, combination_count - 1));
                ASSERT_TRUE(work(harness, choices, pick(random, 1, largest_pixel_count), random));
            }
        });
    }
}

using concurrent_transforms = pixel_test;

// The samples are so small that the vector modules make tables of them for such images.
TEST_F(concurrent_transforms, on_one_unchanged_processor)
{
    constexpr std::int32_t pixels = 40'000;
    constexpr matrix_values dense = {0.5F, 0.5F, 0, 0, 1, 0, 0, 0.25F, 0.5F};
    random_source processor_random(7);
    const test_processor processor(16, 16, processor_random);
    for (const auto& [number, matrix] :
         {std::pair(combination_count - 1, identity), {combination_count - 1, dense}, {51'111, dense}, {0, dense}}) {
        pixel_case configured;
        configured.choices = combination_at(number);
        configured.matrices = {matrix};
        processor.configure(configured);
        const auto work = [&](pixel_harness& harness, combination choices, std::int32_t, random_source& random) {
            // The processor's settings are shared; layouts, clamps, distances and images are each call's own.
            choices.input_LUT = configured.choices.input_LUT;
            choices.output_LUT = configured.choices.output_LUT;
            pixel_case own = random_case(choices, processor.LUTs(), pixels, random);
            own.matrices = configured.matrices;
            for (std::uint16_t& sample : own.samples) {
                sample %= 9000;
            }
            // So that most of the time goes into transforms, of which the last is looked at.
            std::vector<std::uint16_t> output(std::size_t{4} * pixels);
            for (int i = 0; i < repetitions; ++i) {
                processor.transform(own, own.samples.data(), output.data());
            }
            return harness.transform(processor, own);
        };
        run_concurrently(4, pixels, work);
    }
}

TEST_F(concurrent_transforms, on_processors_of_their_own)
{
    const auto work = [](pixel_harness& harness, combination choices, std::int32_t pixels, random_source& random) {
        // Created and destroyed while the others transform.
        const test_processor processor(pick(random, 0, 12), pick(random, 0, 12), random);
        return harness.run(processor, random_case(choices, processor.LUTs(), pixels, random));
    };
    run_concurrently(repetitions, 3000, work);
}

} // namespace

} // namespace kx_test
