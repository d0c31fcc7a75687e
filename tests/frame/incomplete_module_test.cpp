// Companion modules that are missing or lack an entry point. Each test instance belongs to the scenario of its
// name, which arranges the modules.
#include "frame/frame_test.h"

#include <algorithm>
#include <iterator>
#include <regex>
#include <sstream>

namespace kx_test {

namespace {

lines scenarios(const std::string& pattern)
{
    std::istringstream names(KX_SCENARIOS);
    lines chosen;
    std::copy_if(std::istream_iterator<std::string>(names), {}, std::back_inserter(chosen),
                 [&](const std::string& name) { return std::regex_search(name, std::regex(pattern)); });
    return chosen;
}

std::string name_of(const testing::TestParamInfo<std::string>& info)
{
    return info.param;
}

TEST(scenarios, leave_out_each_module_and_entry_point)
{
    EXPECT_EQ(scenarios("logger").size(), 1U + 3);
    EXPECT_EQ(scenarios("LUT").size(), 1U + 6);
    EXPECT_EQ(scenarios("sse|avx2|vector").size(), 1U + 2 * (1 + 4));
}

class incomplete_logger_module : public frame_test, public testing::WithParamInterface<std::string> {};

TEST_P(incomplete_logger_module, is_done_without)
{
    const std::string& scenario = GetParam();
    const bool found = scenario != "no_logger";
    const bool ready = scenario == "logger_without_kvi_free_log";
    const bool obtained = ready || scenario == "logger_without_kvi_log";
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(),
              when(found, "logger loaded") + when(obtained, log_obtained[0]) + lines{"LUT loaded"} + LUT_initialized);

    EXPECT_EQ(kx.clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), when(ready, error_line("kx_color_clear_matrix", null_processor_text)));
    EXPECT_EQ(kx.create_color_processor(8, 17), nullptr);
    recorder.create_LUT = {2, standins::bad_alloc};
    EXPECT_EQ(kx.create_color_processor(8, 8), nullptr);
    EXPECT_EQ(recorder.LUT_count(), 0);

    kx_color_processor* const processor = kx.create_color_processor(8, 8);
    ASSERT_NE(processor, nullptr);
    events();
    small_image image(3);
    transform_request request = image.request();
    request.red_shift = 16;
    const transform_export& tested = transform_exports[0];
    EXPECT_EQ(tested.call(kx, processor, request), 11);
    EXPECT_TRUE(image.output_is_untouched());
    EXPECT_EQ(events(),
              when(ready, validation_line("Invalid red shift distance specified!")) + when(ready, timing_line(tested)));
    EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
    EXPECT_EQ(image.output(tested, 8), image.input(2, 2));
    EXPECT_EQ(events().back() == timing_line(tested), ready);

    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    events();
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), LUT_terminated + when(found && !ready, log_freed[0]) + when(found, "logger unloaded"));
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_logger_module, testing::ValuesIn(scenarios("logger")), name_of);

class incomplete_LUT_module : public frame_test, public testing::WithParamInterface<std::string> {};

TEST_P(incomplete_LUT_module, is_reported_and_undoes_nothing)
{
    EXPECT_EQ(kx.module_initialize(), 1);
    EXPECT_EQ(events(), logger_opened + when(GetParam() != "no_LUT", "LUT loaded"));
    EXPECT_EQ(kx.module_initialize(), 1);
    EXPECT_EQ(events(), lines{}) << "the logger stayed";

    // The exports consider the module initialized.
    EXPECT_EQ(kx.enable_input_LUTs(nullptr, 1, 1, 1), 2);
    EXPECT_EQ(events(), lines{error_line("kx_color_enable_input_LUTs", null_processor_text)});
    EXPECT_EQ(kx.create_color_processor_test(-1, 0, 0), nullptr);
    EXPECT_EQ(events(), lines{error_line(creation_function_name, "A negative bit depth is invalid!")});

    // The entry points found before the missing one work: all that a processor needs, if it is the last.
    kx_color_processor* const processor = kx.create_color_processor_test(0, 0, 0);
    if (GetParam() == "LUT_without_kx_LUT_module_terminate") {
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(kx.get_blue_input_LUT(processor), recorder.LUT_data(1));
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        EXPECT_EQ(recorder.LUT_count(), 0);
        events();
    } else {
        EXPECT_EQ(processor, nullptr);
        EXPECT_EQ(events(), lines{"log 0 korvex_kvi_color_processing.cpp " + creation_function_name
                                  + ": An unknown error occurred when trying to create a color correction instance!"});
    }

    // Both initializes counted.
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{});
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), logger_closed);
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_LUT_module, testing::ValuesIn(scenarios("LUT")), name_of);

class incomplete_vector_module : public initialized_test, public testing::WithParamInterface<std::string> {};

TEST_P(incomplete_vector_module, is_passed_over)
{
    const std::string& scenario = GetParam();
    const bool neither = scenario == "no_vector_modules";
    const bool sse_found = !neither && scenario != "no_sse";
    const bool avx2_found = !neither && scenario != "no_avx2";
    const bool sse_usable = sse_found && !scenario.starts_with("sse_without_");
    const bool avx2_usable = avx2_found && !scenario.starts_with("avx2_without_");

    for (const std::int32_t level : {0, 1, 2, 3}) {
        SCOPED_TRACE(level);
        standins::reset();
        kx_color_processor* const processor = kx.create_color_processor_test(0, 0, level);
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(events(), LUTs_created(1, 1, 1, level == 2) + when(sse_found, "sse loaded")
                                + when(sse_usable, "sse initialize") + when(avx2_found, "avx2 loaded")
                                + when(avx2_usable, "avx2 initialize"));
        expect_transforms_call(processor, level == 2 && avx2_usable ? "avx2" : level >= 1 && sse_usable ? "sse" : "");
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        EXPECT_EQ(events(), when(avx2_usable, "avx2 terminate") + when(avx2_found, "avx2 unloaded")
                                + when(sse_usable, "sse terminate") + when(sse_found, "sse unloaded")
                                + LUTs_destroyed(6));
    }
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_vector_module, testing::ValuesIn(scenarios("sse|avx2|vector")), name_of);

} // namespace

} // namespace kx_test
