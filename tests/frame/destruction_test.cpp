// Companion modules that throw while a processor is destroyed: the teardown goes on, and the first exception passes.
#include "frame/frame_test.h"

#include <new>
#include <stdexcept>

namespace kx_test {

namespace {

using destruction = initialized_test;

TEST_F(destruction, finishes_whoever_throws_and_lets_the_first_exception_pass)
{
    const standins::vector_script throws_bad_alloc{.terminate_throws = standins::bad_alloc};
    const standins::vector_script throws_runtime_error{.terminate_throws = standins::runtime_error};
    const auto expect_teardown = [this](bool throws_first_bad_alloc) {
        kx_color_processor* const processor = kx.create_color_processor_test(4, 4, 2);
        ASSERT_NE(processor, nullptr);
        events();
        if (throws_first_bad_alloc) {
            EXPECT_THROW(kx.destroy_color_processor(processor), std::bad_alloc);
        } else {
            EXPECT_THROW(kx.destroy_color_processor(processor), std::runtime_error);
        }
        EXPECT_EQ(events(), vector_modules_released + LUTs_destroyed(6));
        EXPECT_EQ(recorder.LUT_count(), 0);
        standins::reset();
    };
    {
        SCOPED_TRACE("each vector module");
        recorder.vector[standins::avx2] = throws_bad_alloc;
        expect_teardown(true);
        recorder.vector[standins::sse] = throws_runtime_error;
        expect_teardown(false);
    }
    for (std::int32_t call = 1; call <= 6; ++call) {
        SCOPED_TRACE(testing::Message() << "LUT destroyed as number " << call);
        recorder.destroy_LUT = {call, standins::runtime_error};
        expect_teardown(false);
    }
    {
        SCOPED_TRACE("all of them");
        recorder.vector[standins::avx2] = throws_runtime_error;
        recorder.vector[standins::sse] = throws_bad_alloc;
        recorder.destroy_LUT = {3, standins::bad_alloc};
        expect_teardown(false);
    }
    // Nothing was lost of the modules.
    expect_transforms_call(create(2), "avx2");
}

// A failed creation destroys what it made; the caller learns of the failure alone.
TEST_F(destruction, of_an_unfinished_processor_swallows_what_it_throws)
{
    recorder.vector[standins::avx2].initialize_throws = standins::bad_alloc;
    recorder.vector[standins::sse].terminate_throws = standins::runtime_error;
    recorder.destroy_LUT = {2, standins::runtime_error};
    EXPECT_EQ(kx.create_color_processor_test(4, 4, 2), nullptr);
    EXPECT_EQ(recorder.LUT_count(), 0);
    EXPECT_EQ(events(),
              LUTs_created(1, 16, 16, true) + vector_modules_bound
                  + (lines{"avx2 unloaded", "sse terminate", "sse unloaded"}) + LUTs_destroyed(6)
                  + lines{"log 0 korvex_kvi_color_processing.cpp " + creation_function_name
                          + ": Memory allocation failure when trying to create a color correction instance!"});
}

} // namespace

} // namespace kx_test
