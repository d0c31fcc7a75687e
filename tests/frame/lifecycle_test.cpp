// What initialize and terminate do to the companion modules, and when.
#include "frame/frame_test.h"

#include <cstdlib>

namespace kx_test {

namespace {

const lines logger_opened{"logger loaded", "kvi_get_log(KORVEX_KVI_COLOR_PROCESSING, '')"};
const lines logger_closed{"kvi_free_log(KORVEX_KVI_COLOR_PROCESSING, '')", "logger unloaded"};

using lifecycle = frame_test;

TEST_F(lifecycle, initialize_and_terminate_call_the_modules_in_order)
{
    EXPECT_EQ(events(), lines{}) << "loading the library alone touches no module";
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(), logger_opened + (lines{"LUT loaded", "kx_LUT_module_initialize()"}));
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_terminate()"} + logger_closed);

    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{}) << "a terminate too many does nothing";

    // The LUT module stayed in memory.
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(), logger_opened + lines{"kx_LUT_module_initialize()"});
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_terminate()"} + logger_closed);
}

TEST_F(lifecycle, terminate_before_initialize_counts_nothing)
{
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{});
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(kx.clear_matrix(nullptr), 2);
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);
}

TEST_F(lifecycle, every_initialize_needs_its_terminate)
{
    EXPECT_EQ(kx.module_initialize(), 0);
    events();
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_initialize()"}) << "one logger for all";

    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_terminate()"});
    EXPECT_EQ(kx.clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), lines{error_line("kx_color_clear_matrix", null_processor_text)}) << "still initialized";

    // The LUT entry points went with the first terminate.
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), logger_closed);
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);
    EXPECT_EQ(events(), lines{});
}

TEST_F(lifecycle, initialize_between_two_terminates_finds_the_LUT_module_again)
{
    kx.module_initialize();
    kx.module_initialize();
    kx.module_terminate();
    kx.module_initialize();
    events();
    kx_color_processor* const processor = kx.create_color_processor_test(0, 0, 0);
    EXPECT_NE(processor, nullptr);
    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    events();
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_terminate()"});
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), logger_closed);
}

TEST_F(lifecycle, result_of_LUT_module_initialization_does_not_matter)
{
    script.LUT_initialize_result = 7;
    EXPECT_EQ(kx.module_initialize(), 0);
    kx_color_processor* const processor = kx.create_color_processor_test(0, 0, 0);
    EXPECT_NE(processor, nullptr);
    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
}

TEST_F(lifecycle, unloading_releases_a_logger_that_was_never_terminated)
{
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(kx.module_initialize(), 0);
    events();
    library.close();
    EXPECT_EQ(events(), logger_closed) << "and leaves the LUT module in memory";
    EXPECT_FALSE(shared_library::is_loaded(KX_LIBRARY_UNDER_TEST));
}

TEST_F(lifecycle, library_unloads_after_use)
{
    EXPECT_EQ(kx.module_initialize(), 0);
    kx_color_processor* const processor = kx.create_color_processor(8, 8);
    small_image image(3);
    EXPECT_EQ(transform_exports[0].call(kx, processor, image.request()), 0);
    EXPECT_EQ(kx.create_color_processor(-1, 8), nullptr);
    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_TRUE(shared_library::is_loaded(KX_LIBRARY_UNDER_TEST));
    library.close();
    EXPECT_FALSE(shared_library::is_loaded(KX_LIBRARY_UNDER_TEST));
}

using lifecycle_DeathTest = lifecycle;

TEST_F(lifecycle_DeathTest, process_may_end_without_terminate)
{
    EXPECT_EXIT(
        {
            script.announces_free_log = 1;
            kx.module_initialize();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "log closed");
}

TEST_F(lifecycle, refused_log_is_freed_all_the_same)
{
    script.get_log_returns_null = 1;
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(), logger_opened + (lines{"LUT loaded", "kx_LUT_module_initialize()"}));
    EXPECT_EQ(kx.clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), lines{}) << "there is no log to write to";
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_terminate()"} + logger_closed);
}

TEST_F(lifecycle, refused_lines_do_not_matter)
{
    script.log_result = 1;
    EXPECT_EQ(kx.module_initialize(), 0);
    kx_color_processor* const processor = kx.create_color_processor(8, 8);
    EXPECT_NE(processor, nullptr);
    events();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(kx.append_matrix(nullptr, nullptr), 2);
        EXPECT_EQ(events(), lines{error_line("kx_color_append_matrix", null_processor_text)});
    }
    small_image image(2);
    EXPECT_EQ(transform_exports[0].call(kx, processor, image.request()), 0);
    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
}

TEST_F(lifecycle, exception_while_the_log_is_freed_is_dropped)
{
    EXPECT_EQ(kx.module_initialize(), 0);
    events();
    script.free_log_throws = standins_runtime_error;
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), (lines{"kx_LUT_module_terminate()", logger_closed.front()})) << "the module stays loaded";
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);

    script.free_log_throws = standins_no_exception;
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(), (lines{logger_opened.back(), "kx_LUT_module_initialize()"}));
}

} // namespace

} // namespace kx_test
