// What creating and destroying processors does to the companion modules.
#include "frame/frame_test.h"
#include "platform/processor_identification.h"
#include "vector_level.h"

#include <algorithm>

namespace kx_test {

namespace {

const lines vector_modules_bound{"sse loaded", "sse initialize", "avx2 loaded", "avx2 initialize"};
const lines vector_modules_released{"avx2 terminate", "avx2 unloaded", "sse terminate", "sse unloaded"};
const std::string notice = "log 2 korvex_kvi_color_processing.cpp kx_color_create_color_processor: "
                           "Creating a color processor instance!";

using creation = initialized_test;

TEST_F(creation, creates_and_destroys_in_order)
{
    // Whatever the level, every processor has its LUTs and binds both vector modules.
    for (const std::int32_t level : {0, 1, 2, 3, -1}) {
        SCOPED_TRACE(level);
        kx_color_processor* const processor = kx.create_color_processor_test(8, 10, level);
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(events(), LUTs_created(1, 256, 1024, level == 2) + vector_modules_bound);
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        EXPECT_EQ(events(), vector_modules_released + LUTs_destroyed(6));
        standins_reset();
    }
}

TEST_F(creation, tells_the_LUT_module_of_level_2_alone)
{
    for (const std::int32_t level : {INT32_MIN, -1, 0, 1, 2, 3, 5, INT32_MAX}) {
        kx_color_processor* const processor = kx.create_color_processor_test(0, 0, level);
        EXPECT_EQ(events().front(),
                  level == 2 ? "kx_create_LUT_test(1, 1) = LUT 1" : "kx_create_LUT_test(1, 0) = LUT 1");
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        standins_reset();
    }
}

TEST_F(creation, each_processor_initializes_and_terminates_the_vector_modules_for_itself)
{
    kx_color_processor* const first = kx.create_color_processor_test(4, 4, 0);
    events();
    kx_color_processor* const second = kx.create_color_processor_test(5, 5, 2);
    EXPECT_EQ(events(), LUTs_created(7, 32, 32, true) + (lines{"sse initialize", "avx2 initialize"}));
    EXPECT_EQ(kx.destroy_color_processor(first), 0);
    EXPECT_EQ(events(), (lines{"avx2 terminate", "sse terminate"}) + LUTs_destroyed(6));
    EXPECT_EQ(kx.destroy_color_processor(second), 0);
    EXPECT_EQ(events(), vector_modules_released + LUTs_destroyed(12, 7));
}

TEST_F(creation, refusing_vector_modules_are_terminated_all_the_same)
{
    script.vector[standins_sse].initialize_result = 1;
    script.vector[standins_avx2].initialize_result = -1;
    kx_color_processor* const processor = kx.create_color_processor_test(0, 0, 2);
    ASSERT_NE(processor, nullptr);
    EXPECT_EQ(events(), LUTs_created(1, 1, 1, true) + vector_modules_bound);
    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    EXPECT_EQ(events(), vector_modules_released + LUTs_destroyed(6));
}

TEST_F(creation, LUTs_have_the_entries_of_their_depth_and_are_zero)
{
    for (std::int32_t depth = 0; depth <= 16; ++depth) {
        SCOPED_TRACE(depth);
        const std::int32_t other_depth = 16 - depth;
        kx_color_processor* const processor = kx.create_color_processor_test(depth, other_depth, 0);
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(events(), LUTs_created(1, 1 << depth, 1 << other_depth, false) + vector_modules_bound);
        for (std::int32_t number = 1; number <= 6; ++number) {
            const std::uint32_t* const data = standins_LUT_data(number);
            const std::uint32_t* const end = data + (1 << (number <= 3 ? depth : other_depth));
            EXPECT_EQ(std::count(data, end, 0U), end - data);
            EXPECT_EQ(std::count(data - standins_LUT_guard_words, data, standins_LUT_fill), standins_LUT_guard_words);
            EXPECT_EQ(std::count(end, end + standins_LUT_guard_words, standins_LUT_fill), standins_LUT_guard_words);
        }
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        standins_reset();
    }
}

TEST_F(creation, takes_the_level_from_the_machine)
{
    const std::int32_t level = kx::supported_vector_level(kx::platform::cpuid);
    kx_color_processor* const processor = kx.create_color_processor(3, 2);
    ASSERT_NE(processor, nullptr);
    EXPECT_EQ(events(), lines{notice} + LUTs_created(1, 8, 4, level == 2) + vector_modules_bound);

    small_image image(2);
    EXPECT_EQ(transform_exports[0].call(kx, processor, image.request()), 0);
    const lines called = level == 2   ? lines{"avx2 transforms to 16 bits"}
                         : level == 1 ? lines{"sse transforms to 16 bits"}
                                      : lines{};
    EXPECT_EQ(events(), LUTs_fetched(1, 6) + called + lines{timing_line(transform_exports[0])});
    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
}

TEST_F(creation, bit_depths_out_of_range_are_refused_before_anything_is_created)
{
    const std::string negative = error_line(creation_function_name, "A negative bit depth is invalid!");
    const std::string too_large = error_line(creation_function_name, "A LUT size greater than 2^16 is invalid!");
    const struct {
        std::int32_t input_depth;
        std::int32_t output_depth;
        const std::string& line;
    } refused[] = {
        {-1, 8, negative},         {8, -1, negative},         {-1, -1, negative},  {17, -1, negative},
        {-1, 17, negative},        {INT32_MIN, 0, negative},  {17, 8, too_large},  {8, 17, too_large},
        {INT32_MAX, 0, too_large}, {0, INT32_MAX, too_large}, {32, 32, too_large},
    };
    for (const auto& depths : refused) {
        SCOPED_TRACE(testing::Message() << depths.input_depth << ", " << depths.output_depth);
        EXPECT_EQ(kx.create_color_processor(depths.input_depth, depths.output_depth), nullptr);
        EXPECT_EQ(events(), (lines{notice, depths.line}));
        EXPECT_EQ(kx.create_color_processor_test(depths.input_depth, depths.output_depth, 2), nullptr);
        EXPECT_EQ(events(), lines{depths.line});
    }
}

using creation_uninitialized = frame_test;

TEST_F(creation_uninitialized, returns_null_in_silence)
{
    EXPECT_EQ(kx.create_color_processor(8, 8), nullptr);
    EXPECT_EQ(kx.create_color_processor_test(8, 8, 0), nullptr);
    EXPECT_EQ(kx.create_color_processor(-1, 17), nullptr);
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(kx.module_terminate(), 0);
    events();
    EXPECT_EQ(kx.create_color_processor(8, 8), nullptr);
    EXPECT_EQ(events(), lines{});
}

} // namespace

} // namespace kx_test
