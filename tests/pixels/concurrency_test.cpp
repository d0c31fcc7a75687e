// Transforms that run at the same time, and what is logged of them.
#include "harness.h"

#include "support/environment.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <regex>
#include <string>
#include <thread>

namespace kx_test {

namespace {

constexpr std::int32_t largest_pixel_count = 3000;

constexpr int thread_count = 4;
constexpr int repetitions = 100 / KX_EXTENT_STEP;

// Calls `work` again and again on all threads, which start as nearly at once as can be.
template <typename function>
void run_concurrently(function work)
{
    std::atomic<int> not_ready = thread_count; // not a std::latch: that of MinGW's g++ 12 now and then never opens
    std::vector<std::jthread> threads;
    for (int i = 0; i < thread_count; ++i) {
        threads.emplace_back([i, &not_ready, &work] {
            random_source random(static_cast<std::uint64_t>(100 + i));
            pixel_harness harness(largest_pixel_count);
            for (--not_ready; not_ready > 0;) {
                std::this_thread::yield();
            }
            for (int repetition = 0; repetition < repetitions; ++repetition) {
                const combination choices = combination_at(pick(random, 0, combination_count - 1));
                ASSERT_TRUE(work(harness, choices, pick(random, 1, largest_pixel_count), random));
            }
        });
    }
}

// All lines go to a file of the test's own, each whole.
class concurrent_transforms : public pixel_test {
protected:
    void SetUp() override
    {
        set_environment("KVI_LOG_FILE", log_.string().c_str());
        set_environment("KVI_LOG_LEVEL", "info");
        pixel_test::SetUp();
    }
    void TearDown() override
    {
        pixel_test::TearDown();
        set_environment("KVI_LOG_FILE", nullptr);
        set_environment("KVI_LOG_LEVEL", nullptr);
        static const std::regex timing(
            R"(.* info KORVEX_KVI_COLOR_PROCESSING: color processing transform 48 to (48|64|24|32) takes )"
            R"(\d+\.\d{6} microseconds\. \(korvex_kvi_color_processing\.cpp:\d+ .*::kx_color_processor_transform_impl\))");
        std::ifstream log(log_);
        int lines = 0;
        for (std::string line; std::getline(log, line); ++lines) {
            EXPECT_TRUE(std::regex_match(line, timing)) << line;
        }
        EXPECT_EQ(lines, transforms_);
        log.close();
        std::filesystem::remove(log_);
    }

    int transforms_ = 0;

private:
    std::filesystem::path log_ = std::filesystem::path(testing::TempDir())
                                 / ("kx_concurrent_transforms_" + std::to_string(std::random_device()()));
};

TEST_F(concurrent_transforms, on_one_unchanged_processor)
{
    random_source processor_random(7);
    const test_processor processor(16, 16, processor_random);
    for (const int number : {0, 40'000, 51'111, combination_count - 1}) {
        const pixel_case configured = random_case(combination_at(number), processor.LUTs(), 1, processor_random);
        processor.configure(configured);
        transforms_ += thread_count * repetitions;
        run_concurrently([&](pixel_harness& harness, combination choices, std::int32_t pixels, random_source& random) {
            // The processor's settings are shared; layouts, clamps, distances and images are each call's own.
            choices.input_LUT = configured.choices.input_LUT;
            choices.output_LUT = configured.choices.output_LUT;
            pixel_case own = random_case(choices, processor.LUTs(), pixels, random);
            own.matrices = configured.matrices;
            return harness.transform(processor, own);
        });
    }
}

TEST_F(concurrent_transforms, on_processors_of_their_own)
{
    transforms_ += thread_count * repetitions;
    run_concurrently([](pixel_harness& harness, combination choices, std::int32_t pixels, random_source& random) {
        // Created and destroyed while the others transform.
        const test_processor processor(pick(random, 0, 12), pick(random, 0, 12), random);
        return harness.run(processor, random_case(choices, processor.LUTs(), pixels, random));
    });
}

} // namespace

} // namespace kx_test
