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
        script.counts_only = GetParam() ? 0 : 1;
        script.vector[standins_sse].first_unconverted = 3;
        script.vector[standins_sse].fills_prefix = 1;
    }

    template <typename function>
    static void on_all_threads(function work)
    {
        std::vector<std::thread> threads;
        threads.reserve(thread_count);
        for (int i = 0; i < thread_count; ++i) {
            threads.emplace_back(work);
        }
        for (std::thread& thread : threads) {
            thread.join();
        }
    }

    // Every transform, a refused one and a NULL handle. Writes ten log lines.
    void use(kx_color_processor* processor)
    {
        for (const transform_export& tested : transform_exports) {
            small_image image(9);
            transform_request request = image.request();
            EXPECT_EQ(tested.call(kx, processor, request), 0);
            const std::uint16_t low_bits = tested.sample_bytes == 1 ? 0xFF : 0xFFFF;
            for (std::size_t pixel = 0; pixel < 9; ++pixel) {
                EXPECT_EQ(image.output(tested, pixel * tested.samples_per_pixel),
                          (pixel < 3 ? standins_marker : image.input(pixel, 0)) & low_bits);
            }
            EXPECT_EQ(tested.call(kx, nullptr, request), 2);
        }
        small_image image(9);
        transform_request request = image.request();
        request.green_shift = 99;
        EXPECT_EQ(transform_exports[3].call(kx, processor, request), 11);
        EXPECT_TRUE(image.output_is_untouched());
    }
    static constexpr int log_lines_of_use = 10;

    void expect_log_lines(int number)
    {
        EXPECT_EQ(standins_count(standins_log_line), number);
        if (!GetParam()) {
            return;
        }
        // Not one of them mangled.
        lines known{error_line(transform_function_name, null_processor_text),
                    validation_line("Invalid green shift distance specified!")};
        for (const transform_export& tested : transform_exports) {
            known.push_back(timing_line(tested));
        }
        const lines happened = events();
        EXPECT_EQ(std::count_if(happened.begin(), happened.end(),
                                [&](const std::string& line) {
                                    return std::find(known.begin(), known.end(), line) != known.end();
                                }),
                  number);
    }
};

TEST_P(concurrency, threads_share_one_unchanged_processor)
{
    kx_color_processor* const processor = create(1);
    on_all_threads([&] {
        for (int round = 0; round < rounds; ++round) {
            use(processor);
        }
    });
    expect_log_lines(thread_count * rounds * log_lines_of_use);
    EXPECT_EQ(standins_count(standins_LUT_call), 12 + thread_count * rounds * 4 * 6);
    EXPECT_EQ(standins_count(standins_vector_call), 2 + thread_count * rounds * 4);
}

TEST_P(concurrency, threads_have_processors_of_their_own)
{
    const float doubling[9] = {2, 0, 0, 0, 2, 0, 0, 0, 2};
    on_all_threads([&] {
        for (int round = 0; round < rounds; ++round) {
            kx_color_processor* const processor = kx.create_color_processor_test(4, 6, 1);
            ASSERT_NE(processor, nullptr);
            EXPECT_EQ(kx.append_matrix(processor, doubling), 0);
            kx.get_red_output_LUT(processor)[63] = 5;
            EXPECT_EQ(kx.enable_output_LUTs(processor, 0, 0, 1), 0);
            EXPECT_EQ(kx.clear_matrix(processor), 0);
            EXPECT_EQ(kx.enable_output_LUTs(processor, 0, 0, 0), 0);
            use(processor);
            EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        }
    });
    EXPECT_EQ(standins_LUT_count(), 0);
    expect_log_lines(thread_count * rounds * log_lines_of_use);
    EXPECT_EQ(standins_count(standins_LUT_call), thread_count * rounds * (12 + 1 + 4 * 6 + 6));
    EXPECT_EQ(standins_count(standins_vector_call), thread_count * rounds * (2 + 4 + 2));
}

INSTANTIATE_TEST_SUITE_P(recording, concurrency, testing::Bool(),
                         [](const auto& info) { return info.param ? "texts" : "counts"; });

} // namespace

} // namespace kx_test
