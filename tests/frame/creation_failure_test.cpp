// Companion modules that raise exceptions while a processor is created, or later.
#include "frame/frame_test.h"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace kx_test {

namespace {

class creation_failure : public initialized_test {
protected:
    // Creates a processor with 16 and 32 entries at level 2, which must fail as the modules were asked to, then
    // one that must not.
    void expect_failure(standins_exception exception, const lines& expected)
    {
        EXPECT_EQ(kx.create_color_processor_test(4, 5, 2), nullptr);
        const std::string reason = exception == standins_bad_alloc ? "Memory allocation failure" : "An unknown error";
        const std::string verb = exception == standins_bad_alloc ? " when" : " occurred when";
        EXPECT_EQ(events(), expected
                                + lines{"log 0 korvex_kvi_color_processing.cpp " + creation_function_name + ": "
                                        + reason + verb + " trying to create a color correction instance!"});
        EXPECT_EQ(standins_LUT_count(), 0);

        standins_reset();
        kx_color_processor* const processor = kx.create_color_processor_test(4, 5, 2);
        EXPECT_NE(processor, nullptr);
        EXPECT_EQ(events(), LUTs_created(1, 16, 32, true)
                                + (lines{"sse loaded", "sse initialize", "avx2 loaded", "avx2 initialize"}));
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        standins_reset();
    }
};

TEST_F(creation_failure, any_call_of_the_LUT_module_may_throw)
{
    const lines undisturbed = LUTs_created(1, 16, 32, true);
    for (const standins_exception exception : {standins_bad_alloc, standins_runtime_error}) {
        std::int32_t created = 0;
        std::int32_t fetched = 0;
        for (auto failing = undisturbed.begin(); failing != undisturbed.end(); ++failing) {
            const std::string& call = *failing;
            SCOPED_TRACE(call);
            lines expected(undisturbed.begin(), failing);
            const std::int32_t LUTs_so_far = created;
            if (const auto end = call.find(" = LUT"); end != std::string::npos) {
                script.create_LUT = {++created, exception};
                expected.push_back(call.substr(0, end) + " throws");
            } else {
                script.get_LUT_data = {++fetched, exception};
                expected.push_back(call + " throws");
            }
            expect_failure(exception, expected + LUTs_destroyed(LUTs_so_far));
        }
        EXPECT_EQ(created, 6);
        EXPECT_EQ(fetched, 6);
    }
}

TEST_F(creation_failure, initialization_of_a_vector_module_may_throw)
{
    const lines LUTs = LUTs_created(1, 16, 32, true);
    for (const standins_exception exception : {standins_bad_alloc, standins_runtime_error}) {
        script.vector[standins_sse].initialize_throws = exception;
        expect_failure(exception, LUTs + (lines{"sse loaded", "sse initialize", "sse unloaded"}) + LUTs_destroyed(6));

        script.vector[standins_avx2].initialize_throws = exception;
        expect_failure(exception, LUTs
                                      + (lines{"sse loaded", "sse initialize", "avx2 loaded", "avx2 initialize",
                                               "avx2 unloaded", "sse terminate", "sse unloaded"})
                                      + LUTs_destroyed(6));
    }
}

// Creation alone turns exceptions into a result; everywhere else they pass to the caller, and the processor
// stays as it was.
TEST_F(creation_failure, exceptions_after_creation_pass_through)
{
    kx_color_processor* const processor = create(1);
    script.get_LUT_data = {1, standins_runtime_error};
    EXPECT_THROW(kx.get_red_output_LUT(processor), std::runtime_error);

    small_image image(4);
    script.vector[standins_sse].transform_throws = standins_bad_alloc;
    events();
    for (const transform_export& tested : transform_exports) {
        EXPECT_THROW(tested.call(kx, processor, image.request()), std::bad_alloc);
        const lines happened = events();
        EXPECT_EQ(std::count(happened.begin(), happened.end(), timing_line(tested)), 0) << "it never returned";
        EXPECT_TRUE(image.output_is_untouched());
    }
    script.vector[standins_sse].transform_throws = standins_no_exception;
    EXPECT_EQ(transform_exports[0].call(kx, processor, image.request()), 0);
    EXPECT_EQ(image.output(transform_exports[0], 0), image.input(0, 0));
}

} // namespace

} // namespace kx_test
