// What creating and destroying processors does to the companion modules, also when these throw, and which vector
// module the processors then use.
#include "frame/frame_test.h"
#include "processor.h"
#include "vector_level.h"

#include <algorithm>
#include <new>
#include <stdexcept>
#include <tuple>

namespace kx_test {

namespace {

const std::string notice = "log 2 korvex_kvi_color_processing.cpp kx_color_create_color_processor: "
                           "Creating a color processor instance!";

class creation : public initialized_test {
protected:
    // Three LUTs from this number on.
    void expect_zero_LUTs(std::size_t first, std::size_t entries)
    {
        std::vector<std::uint32_t> expected(entries + 2 * standins::LUT_guard_words, standins::LUT_fill);
        std::fill_n(expected.begin() + standins::LUT_guard_words, entries, 0U);
        EXPECT_TRUE(std::all_of(&recorder.LUTs[first], &recorder.LUTs[first + 3],
                                [&](const auto& LUT) { return LUT == expected; }));
    }
};

// Whatever the level, every processor has its LUTs and binds both vector modules, and terminates also those that
// refused.
TEST_F(creation, level_and_usable_modules_decide)
{
    std::int32_t input_depth = 0;
    for (int usable = 0; usable < 4; ++usable) {
        const bool sse_usable = (usable & 1) != 0;
        const bool avx2_usable = (usable & 2) != 0;
        for (const std::int32_t level : {INT32_MIN, -1, 0, 1, 2, 3, 5, INT32_MAX}) {
            const std::int32_t output_depth = 16 - input_depth;
            SCOPED_TRACE(testing::Message() << "level " << level << ", usable " << usable << ", " << input_depth);
            standins::reset();
            recorder.vector[standins::sse].initialize_result = sse_usable ? 0 : 1;
            recorder.vector[standins::avx2].initialize_result = avx2_usable ? 0 : -1;
            kx_color_processor* const processor =
                kx.kx_color_create_color_processor_test(input_depth, output_depth, level);
            ASSERT_NE(processor, nullptr);
            EXPECT_EQ(events(),
                      LUTs_created(1, 1 << input_depth, 1 << output_depth, level == 2) + vector_modules_bound);
            expect_zero_LUTs(1, std::size_t{1} << input_depth);
            expect_zero_LUTs(4, std::size_t{1} << output_depth);
            expect_transforms_call(processor, level == 2 && avx2_usable  ? "avx2"
                                              : level >= 1 && sse_usable ? "sse"
                                                                         : "");
            EXPECT_EQ(destroy(processor), vector_modules_released + LUTs_destroyed(6));
            input_depth = (input_depth + 1) % 17;
        }
    }
}

TEST_F(creation, takes_the_level_from_the_machine)
{
    const std::int32_t level = kx::verify::processor_has(2) ? 2 : kx::verify::processor_has(1) ? 1 : 0;
    kx_color_processor* const processor = kx.kx_color_create_color_processor(3, 2);
    ASSERT_NE(processor, nullptr);
    EXPECT_EQ(events(), lines{notice} + LUTs_created(1, 8, 4, level == 2) + vector_modules_bound);
    expect_transforms_call(processor, level == 2 ? "avx2" : level == 1 ? "sse" : "");
    destroy(processor);
}

TEST_F(creation, bit_depths_out_of_range_are_refused_before_anything_is_created)
{
    const std::string negative = error_line(creation_function_name, "A negative bit depth is invalid!");
    const std::string too_large = error_line(creation_function_name, "A LUT size greater than 2^16 is invalid!");
    for (const auto& [input_depth, output_depth, line] :
         {std::tuple(-1, 17, negative), {17, -1, negative}, {17, 8, too_large}, {8, INT32_MAX, too_large}}) {
        EXPECT_EQ(kx.kx_color_create_color_processor(input_depth, output_depth), nullptr);
        EXPECT_EQ(events(), (lines{notice, line}));
        EXPECT_EQ(kx.kx_color_create_color_processor_test(input_depth, output_depth, 2), nullptr);
        EXPECT_EQ(events(), lines{line});
    }
}

class creation_failure : public initialized_test, public testing::WithParamInterface<standins::exception> {
protected:
    // Creates a processor with 16 and 32 entries at level 2, which must fail as the modules were asked to.
    void expect_failure(const lines& expected)
    {
        EXPECT_EQ(kx.kx_color_create_color_processor_test(4, 5, 2), nullptr);
        EXPECT_EQ(events(), expected + lines{failed_creation_line(GetParam() == standins::bad_alloc)});
        EXPECT_EQ(recorder.LUT_count(), 0);
        standins::reset();
    }

    const lines LUTs = LUTs_created(1, 16, 32, true);
};

TEST_P(creation_failure, any_call_of_a_module_may_throw)
{
    std::int32_t created = 0;
    std::int32_t fetched = 0;
    for (auto failing = LUTs.begin(); failing != LUTs.end(); ++failing) {
        SCOPED_TRACE(*failing);
        const std::size_t result = failing->find(" = LUT");
        const bool creates = result != std::string::npos;
        const lines released = LUTs_destroyed(created);
        (creates ? recorder.create_LUT : recorder.get_LUT_data) = {creates ? ++created : ++fetched, GetParam()};
        expect_failure(lines(LUTs.begin(), failing) + lines{failing->substr(0, result) + " throws"} + released);
    }
    recorder.vector[standins::sse].initialize_throws = GetParam();
    expect_failure(LUTs + lines{"sse loaded", "sse initialize", "sse unloaded"} + LUTs_destroyed(6));
    // What was made is destroyed, whatever that throws: the caller learns of the failure alone.
    recorder.vector[standins::avx2].initialize_throws = GetParam();
    recorder.vector[standins::sse].terminate_throws = standins::runtime_error;
    recorder.destroy_LUT = {2, standins::runtime_error};
    expect_failure(LUTs + vector_modules_bound + lines{"avx2 unloaded", "sse terminate", "sse unloaded"}
                   + LUTs_destroyed(6));
}

INSTANTIATE_TEST_SUITE_P(exceptions, creation_failure, testing::Values(standins::bad_alloc, standins::runtime_error));

// Creation alone turns exceptions into a result; everywhere else they pass to the caller, and the processor
// stays as it was.
using later_failure = initialized_test;

TEST_F(later_failure, passes_through)
{
    kx_color_processor* const processor = create(1);
    recorder.get_LUT_data = {1, standins::runtime_error};
    EXPECT_THROW(kx.kx_color_get_red_output_LUT(processor), std::runtime_error);

    small_image image(4);
    recorder.vector[standins::sse].transform_throws = standins::bad_alloc;
    events();
    for (const transform_export& tested : transform_exports) {
        EXPECT_THROW(tested.call(kx, processor, image.request()), std::bad_alloc);
        const lines happened = events();
        EXPECT_EQ(std::count(happened.begin(), happened.end(), timing_line(tested)), 0) << "it never returned";
        EXPECT_TRUE(image.output_is_untouched());
    }
    recorder.vector[standins::sse].transform_throws = standins::no_exception;
    expect_transforms_call(processor, "sse");
}

TEST_F(later_failure, of_the_logger_for_want_of_memory_costs_lines_alone)
{
    recorder.log_throws = standins::bad_alloc;
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 2);
    EXPECT_EQ(kx.kx_color_create_color_processor(17, 0), nullptr);
    recorder.create_LUT = {1, standins::bad_alloc};
    EXPECT_EQ(kx.kx_color_create_color_processor(0, 0), nullptr);
    standins::reset();
    recorder.log_throws = standins::bad_alloc;
    expect_transforms_call(create(0), "");
}

using destruction = initialized_test;

TEST_F(destruction, finishes_whoever_throws_and_lets_the_first_exception_pass)
{
    const auto expect_teardown = [this](auto first_exception) {
        kx_color_processor* const processor = kx.kx_color_create_color_processor_test(4, 4, 2);
        events();
        EXPECT_THROW(kx.kx_color_destroy_color_processor(processor), decltype(first_exception));
        EXPECT_EQ(events(), vector_modules_released + LUTs_destroyed(6));
        standins::reset();
    };
    recorder.vector[standins::avx2].terminate_throws = standins::bad_alloc;
    recorder.vector[standins::sse].terminate_throws = standins::runtime_error;
    expect_teardown(std::bad_alloc());
    recorder.vector[standins::sse].terminate_throws = standins::bad_alloc;
    expect_teardown(std::bad_alloc());
    for (std::int32_t call = 1; call <= 6; ++call) {
        recorder.destroy_LUT = {call, standins::runtime_error};
        expect_teardown(std::runtime_error(""));
    }
    // Nothing was lost of the modules.
    expect_transforms_call(create(2), "avx2");
}

TEST(vector_level, needs_every_one_of_its_features)
{
    const auto level_without = [](std::uint32_t leaf_7_ebx, std::uint32_t leaf_1_ecx, std::uint32_t leaf_1_edx) {
        return kx::supported_vector_level([&](std::uint32_t leaf, std::uint32_t) -> kx::platform::cpuid_registers {
            return {0, leaf == 7 ? ~leaf_7_ebx : 0, leaf == 1 ? ~leaf_1_ecx : 0, leaf == 1 ? ~leaf_1_edx : 0};
        });
    };
    constexpr std::uint32_t avx2 = 1U << 5, fma = 1U << 12, sse4_1 = 1U << 19, sse = 1U << 25, sse2 = 1U << 26;
    EXPECT_EQ(level_without(0, 0, 0), 2);
    EXPECT_EQ(level_without(avx2, 0, 0), 1);
    EXPECT_EQ(level_without(0, fma, 0), 1);
    EXPECT_EQ(level_without(avx2, sse4_1, 0), 0);
    EXPECT_EQ(level_without(avx2, 0, sse), 0);
    EXPECT_EQ(level_without(avx2, 0, sse2), 0);
}

} // namespace

} // namespace kx_test
