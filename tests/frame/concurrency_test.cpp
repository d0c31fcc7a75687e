// Transforms, creations and log lines on several threads at once. Meant for the thread sanitizer as well.
#include "frame/frame_test.h"

#include <algorithm>
#include <thread>

namespace kx_test {

namespace {

constexpr int thread_count = 4;
constexpr int rounds = 50;

// Once with stand-ins that only count, which orders nothing between the threads, and once with all texts.
class concurrency : public initialized_test, public testing::WithParamInterface<bool> {
protected:
    void SetUp() override
    {
        initialized_test::SetUp();
        recorder.counts_only = !GetParam();
        recorder.vector[standins::sse].first_unconverted = 3;
    }

    template <typename function>
    static void on_all_threads(function work)
    {
        std::vector<std::thread> threads;
        for (int i = 0; i < thread_count; ++i) {
            threads.emplace_back([work] {
                for (int round = 0; round < rounds; ++round) {
                    work();
                }
            });
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    // Every transform, a refused one and a NULL handle: ten log lines, 24 calls of the LUT module and four of the
    // vector module.
    void use(kx_color_processor* processor)
    {
        for (const transform_export& tested : transform_exports) {
            small_image image(9);
            EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
            for (std::size_t pixel = 0; pixel < 9; ++pixel) {
                EXPECT_EQ(image.output(tested, pixel * tested.samples_per_pixel),
                          stored(tested, pixel < 3 ? 0x0101 * small_image::untouched : image.input(pixel, 0)));
            }
            EXPECT_EQ(tested.call(kx, nullptr, image.request()), 2);
        }
        small_image image(9);
        transform_request request = image.request();
        request.green_shift = 99;
        EXPECT_EQ(transform_exports[3].call(kx, processor, request), 11);
        EXPECT_TRUE(image.output_is_untouched());
    }

    // What every round did, and what happened besides.
    void expect_counts(int LUT_calls, int vector_calls, int more_LUT_calls = 0, int more_vector_calls = 0)
    {
        constexpr int times = thread_count * rounds;
        EXPECT_EQ(recorder.counts[standins::log_line], times * 10);
        EXPECT_EQ(recorder.counts[standins::LUT_call], times * LUT_calls + more_LUT_calls);
        EXPECT_EQ(recorder.counts[standins::vector_call], times * vector_calls + more_vector_calls);

        // Not one line mangled.
        lines known{error_line(transform_function_name, null_processor_text),
                    validation_line("Invalid green shift distance specified!")};
        for (const transform_export& tested : transform_exports) {
            known.push_back(timing_line(tested));
        }
        const lines happened = events();
        EXPECT_EQ(
            std::count_if(happened.begin(), happened.end(),
                          [&](const auto& line) { return std::find(known.begin(), known.end(), line) != known.end(); }),
            GetParam() ? 10 * times : 0);
    }
};

TEST_P(concurrency, threads_share_one_unchanged_processor)
{
    kx_color_processor* const processor = create(1);
    on_all_threads([&] { use(processor); });
    expect_counts(24, 4, 12, 2);
}

TEST_P(concurrency, threads_have_processors_of_their_own)
{
    const float doubling[9] = {2, 0, 0, 0, 2, 0, 0, 0, 2};
    on_all_threads([&] {
        kx_color_processor* const processor = kx.create_color_processor_test(4, 6, 1);
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(kx.append_matrix(processor, doubling), 0);
        kx.get_red_output_LUT(processor)[63] = 5;
        EXPECT_EQ(kx.enable_output_LUTs(processor, 0, 0, 1), 0);
        EXPECT_EQ(kx.clear_matrix(processor), 0);
        EXPECT_EQ(kx.enable_output_LUTs(processor, 0, 0, 0), 0);
        use(processor);
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    });
    EXPECT_EQ(recorder.LUT_count(), 0);
    expect_counts(12 + 1 + 24 + 6, 2 + 4 + 2);
}

INSTANTIATE_TEST_SUITE_P(recording, concurrency, testing::Bool(),
                         [](const auto& info) { return info.param ? "texts" : "counts"; });

} // namespace

} // namespace kx_test
