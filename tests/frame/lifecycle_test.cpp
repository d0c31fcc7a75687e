// What initialize and terminate do to the companion modules, and when.
#include "frame/frame_test.h"

#include <cstdlib>
#include <thread>

namespace kx_test {

namespace {

using lifecycle = frame_test;

TEST_F(lifecycle, initialize_and_terminate_call_the_modules_in_order)
{
    recorder.LUT_initialize_result = 7; // does not matter
    EXPECT_EQ(terminate() + terminate(), lines{})
        << "neither loading the library nor a terminate too many does anything";
    EXPECT_EQ(initialize(), logger_opened + lines{"LUT loaded"} + LUT_initialized);
    EXPECT_EQ(terminate(), LUT_terminated + logger_closed);

    EXPECT_EQ(initialize(), logger_opened + LUT_initialized) << "the LUT module stayed in memory";
    EXPECT_EQ(initialize(), LUT_initialized) << "one logger for all";
    EXPECT_EQ(terminate(), LUT_terminated);
    recorder.log_result = 1; // does not matter
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), lines{error_line("kx_color_clear_matrix", null_processor_text)}) << "still initialized";
    EXPECT_EQ(terminate(), logger_closed) << "every initialize needs its terminate";
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 1);
    EXPECT_EQ(events(), lines{});
}

TEST_F(lifecycle, unloading_releases_a_logger_that_was_never_terminated)
{
    initialize();
    initialize();
    EXPECT_TRUE(shared_library::is_loaded(folder.library().c_str()));
    library.close();
    EXPECT_EQ(events(), logger_closed) << "and leaves the LUT module in memory";
    EXPECT_FALSE(shared_library::is_loaded(folder.library().c_str()));
}

// Several parts of a program may use the library, and none knows when another ends.
TEST_F(lifecycle, anothers_terminate_leaves_processors_and_creation_whole)
{
    initialize();
    initialize();
    kx_color_processor* const processor = kx.kx_color_create_color_processor_test(8, 8, 2);
    terminate();

    EXPECT_EQ(kx.kx_color_get_red_output_LUT(processor), recorder.LUT_data(6));
    EXPECT_EQ(events(), LUTs_fetched(6, 6));
    expect_transforms_call(processor, "avx2");

    kx_color_processor* const created_afterwards = kx.kx_color_create_color_processor_test(3, 2, 0);
    ASSERT_NE(created_afterwards, nullptr);
    EXPECT_EQ(events(), LUTs_created(7, 8, 4, false) + (lines{"sse initialize", "avx2 initialize"}))
        << "without initializing the LUT module again";
    EXPECT_EQ(destroy(created_afterwards), (lines{"avx2 terminate", "sse terminate"}) + LUTs_destroyed(12, 7));
    EXPECT_EQ(destroy(processor), vector_modules_released + LUTs_destroyed(6));
    EXPECT_EQ(terminate(), logger_closed) << "the LUT module was terminated once for its one initialize since";
}

// Without a LUT module: loading that is the host's to serialize.
class lifecycle_without_LUT_module : public frame_test {
protected:
    lifecycle_without_LUT_module() : frame_test({"LUT", ""}) {}
};

TEST_F(lifecycle_without_LUT_module, hosts_that_initialize_at_once_get_one_logger)
{
    recorder.get_log_awaits = 2; // which only the second of two loggers would bring about
    {
        const std::jthread other([this] { kx.kx_color_processing_module_initialize(); });
        kx.kx_color_processing_module_initialize();
    }
    EXPECT_EQ(events(), logger_opened);
    EXPECT_EQ(terminate(), lines{}) << "both counted";
    EXPECT_EQ(terminate(), logger_closed);
}

// Ends after the libraries that tests load, as a host's static object may.
struct late_caller { // NOLINT(cppcoreguidelines-special-member-functions): there is one, and it stays where it is
    ~late_caller()
    {
        if (processor != nullptr) {
            std::_Exit(10 + kx->kx_color_destroy_color_processor(processor));
        }
    }
    const function_table* kx = nullptr;
    kx_color_processor* processor = nullptr;
};
late_caller calls_late; // NOLINT(cert-err58-cpp): made before a library is loaded, which is the point

using lifecycle_DeathTest = lifecycle;

TEST_F(lifecycle_DeathTest, calls_after_the_librarys_end_find_it_not_initialized)
{
#if defined(_WIN32)
    constexpr int expected = 10; // there, libraries end after all objects of the program
#else
    constexpr int expected = 11;
#endif
    EXPECT_EXIT(
        {
            initialize();
            calls_late.kx = &kx;
            calls_late.processor = kx.kx_color_create_color_processor_test(0, 0, 0);
            std::exit(0);
        },
        testing::ExitedWithCode(expected), "");
}

TEST_F(lifecycle, refused_log_is_freed_all_the_same)
{
    recorder.get_log_returns_null = true;
    EXPECT_EQ(initialize(), logger_opened + lines{"LUT loaded"} + LUT_initialized);
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), lines{}) << "there is no log to write to";
    EXPECT_EQ(terminate(), LUT_terminated + logger_closed);
}

TEST_F(lifecycle, exception_while_the_log_is_freed_is_dropped)
{
    initialize();
    recorder.free_log_throws = standins::runtime_error;
    EXPECT_EQ(terminate(), LUT_terminated + log_freed) << "the module stays loaded";
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 1);

    recorder.free_log_throws = standins::no_exception;
    EXPECT_EQ(initialize(), log_obtained + LUT_initialized);
}

} // namespace

} // namespace kx_test
