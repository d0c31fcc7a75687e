// Transforms that run at the same time.
#include "harness.h"

#include <atomic>
#include <latch>
#include <memory>
#include <thread>

namespace kx_test {

namespace {

constexpr int thread_count = 4;
constexpr std::int32_t largest_pixel_count = 3000;
constexpr int repetitions = 100 / KX_EXTENT_STEP;

class concurrent_transforms : public pixel_test {
protected:
    // Runs `work(thread number)` on all threads, as nearly at once as can be.
    template <typename function>
    static void on_all_threads(function work)
    {
        std::latch start(thread_count);
        std::vector<std::jthread> threads;
        for (int i = 0; i < thread_count; ++i) {
            threads.emplace_back([i, &start, &work] {
                start.arrive_and_wait();
                work(i);
            });
        }
    }
};

TEST_F(concurrent_transforms, on_one_unchanged_processor)
{
    random_source random(7);
    const test_processor processor(16, 16, vector_level(), random);
    for (const int number : {0, 40'000, 51'111, combination_count - 1}) {
        const pixel_case configured = random_case(combination_at(number), processor, 1, random);
        configure(processor, configured);
        std::atomic<int> done = 0;
        on_all_threads([&](int thread) {
            random_source own_random(static_cast<std::uint64_t>(100 + thread));
            pixel_harness harness(largest_pixel_count);
            for (int i = 0; i < repetitions; ++i) {
                // The processor's settings are shared; layouts, clamps, distances and images are each call's own.
                combination choices = combination_at(pick(own_random, 0, combination_count - 1));
                choices.input_LUT = configured.choices.input_LUT;
                choices.output_LUT = configured.choices.output_LUT;
                pixel_case own = random_case(choices, processor, pick(own_random, 1, largest_pixel_count), own_random);
                own.matrices = configured.matrices;
                ASSERT_TRUE(harness.transform(processor, own));
                ++done;
            }
        });
        EXPECT_EQ(done, thread_count * repetitions);
    }
}

TEST_F(concurrent_transforms, on_processors_of_their_own)
{
    std::atomic<int> done = 0;
    on_all_threads([&](int thread) {
        random_source random(static_cast<std::uint64_t>(200 + thread));
        pixel_harness harness(largest_pixel_count);
        for (int i = 0; i < repetitions; ++i) {
            // Created and destroyed while the others transform.
            const test_processor processor(pick(random, 0, 12), pick(random, 0, 12), vector_level(), random);
            const combination choices = combination_at(pick(random, 0, combination_count - 1));
            const std::int32_t count = pick(random, 1, largest_pixel_count);
            ASSERT_TRUE(harness.run(processor, random_case(choices, processor, count, random)));
            ++done;
        }
    });
    EXPECT_EQ(done, thread_count * repetitions);
}

} // namespace

} // namespace kx_test
