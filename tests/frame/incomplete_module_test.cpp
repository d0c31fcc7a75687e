// Companion modules that are missing or lack an entry point. Each test instance belongs to the scenario of its
// name, which arranges the modules.
#include "frame/frame_test.h"

#include <algorithm>
#include <iterator>
#include <ostream>
#include <set>
#include <sstream>
#include <string_view>

namespace kx_test {

namespace {

const lines log_freed{"kvi_free_log(KORVEX_KVI_COLOR_PROCESSING, '')"};
const lines log_obtained{"kvi_get_log(KORVEX_KVI_COLOR_PROCESSING, '')"};

std::string name_of(const testing::TestParamInfo<const char*>& info)
{
    return info.param;
}

// --- the logger module ---

struct incomplete_logger {
    const char* scenario;
    lines opened;
    bool ready;
    lines closed;
};

std::ostream& operator<<(std::ostream& stream, const incomplete_logger& logger)
{
    return stream << logger.scenario;
}

class incomplete_logger_module : public frame_test, public testing::WithParamInterface<incomplete_logger> {};

TEST_P(incomplete_logger_module, is_done_without)
{
    const incomplete_logger& logger = GetParam();
    EXPECT_EQ(kx.module_initialize(), 0);
    EXPECT_EQ(events(), logger.opened + (lines{"LUT loaded", "kx_LUT_module_initialize()"}));

    EXPECT_EQ(kx.clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), logger.ready ? lines{error_line("kx_color_clear_matrix", null_processor_text)} : lines{});
    EXPECT_EQ(kx.create_color_processor(8, 17), nullptr);
    script.create_LUT = {2, standins_bad_alloc};
    EXPECT_EQ(kx.create_color_processor(8, 8), nullptr);
    EXPECT_EQ(standins_LUT_count(), 0);

    kx_color_processor* const processor = kx.create_color_processor(8, 8);
    ASSERT_NE(processor, nullptr);
    small_image image(3);
    for (const transform_export& tested : transform_exports) {
        transform_request request = image.request();
        request.red_shift = 16;
        EXPECT_EQ(tested.call(kx, processor, request), 11);
        EXPECT_TRUE(image.output_is_untouched());
    }
    events();
    const transform_export& tested = transform_exports[0];
    EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
    EXPECT_EQ(image.output(tested, 8), image.input(2, 2));
    EXPECT_EQ(events().back() == timing_line(tested), logger.ready);

    EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    events();
    EXPECT_EQ(kx.module_terminate(), 0);
    EXPECT_EQ(events(), lines{"kx_LUT_module_terminate()"} + logger.closed);
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);
}

const incomplete_logger incomplete_loggers[] = {
    {"no_logger", {}, false, {}},
    {"logger_without_kvi_get_log", {"logger loaded"}, false, log_freed + lines{"logger unloaded"}},
    {"logger_without_kvi_log", lines{"logger loaded"} + log_obtained, false, log_freed + lines{"logger unloaded"}},
    {"logger_without_kvi_free_log", lines{"logger loaded"} + log_obtained, true, {"logger unloaded"}},
};
INSTANTIATE_TEST_SUITE_P(without, incomplete_logger_module, testing::ValuesIn(incomplete_loggers),
                         [](const auto& info) { return info.param.scenario; });

// --- the LUT module ---

class incomplete_LUT_module : public frame_test, public testing::WithParamInterface<const char*> {};

TEST_P(incomplete_LUT_module, is_reported_and_undoes_nothing)
{
    const std::string scenario = GetParam();
    const lines loaded = scenario == "no_LUT" ? lines{} : lines{"LUT loaded"};
    EXPECT_EQ(kx.module_initialize(), 1);
    EXPECT_EQ(events(), lines{"logger loaded"} + log_obtained + loaded);
    EXPECT_EQ(kx.module_initialize(), 1);
    EXPECT_EQ(events(), lines{}) << "the logger stayed";

    // The exports consider the module initialized.
    EXPECT_EQ(kx.enable_input_LUTs(nullptr, 1, 1, 1), 2);
    EXPECT_EQ(events(), lines{error_line("kx_color_enable_input_LUTs", null_processor_text)});
    EXPECT_EQ(kx.create_color_processor_test(-1, 0, 0), nullptr);
    EXPECT_EQ(events(), lines{error_line(creation_function_name, "A negative bit depth is invalid!")});

    // The entry points found before the missing one work: all that a processor needs, if it is the last.
    kx_color_processor* const processor = kx.create_color_processor_test(0, 0, 0);
    if (scenario == "LUT_without_kx_LUT_module_terminate") {
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(kx.get_blue_input_LUT(processor), standins_LUT_data(1));
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        EXPECT_EQ(standins_LUT_count(), 0);
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
    EXPECT_EQ(events(), log_freed + lines{"logger unloaded"});
    EXPECT_EQ(kx.clear_matrix(nullptr), 1);
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_LUT_module,
                         testing::Values("no_LUT", "LUT_without_kx_LUT_module_initialize",
                                         "LUT_without_kx_create_LUT_test", "LUT_without_kx_LUT_transform_16",
                                         "LUT_without_kx_get_LUT_data", "LUT_without_kx_destroy_LUT",
                                         "LUT_without_kx_LUT_module_terminate"),
                         name_of);

// --- the vector modules ---

class incomplete_vector_module : public initialized_test, public testing::WithParamInterface<const char*> {};

TEST_P(incomplete_vector_module, is_passed_over)
{
    const std::string scenario = GetParam();
    const auto starts_with = [&](const char* text) { return scenario.rfind(text, 0) == 0; };
    const bool neither = scenario == "no_vector_modules";
    const bool sse_found = !neither && scenario != "no_sse";
    const bool avx2_found = !neither && scenario != "no_avx2";
    const bool sse_usable = sse_found && !starts_with("sse_without_");
    const bool avx2_usable = avx2_found && !starts_with("avx2_without_");
    const auto when = [](bool condition, const char* line) { return condition ? lines{line} : lines{}; };

    for (const std::int32_t level : {0, 1, 2, 3}) {
        SCOPED_TRACE(level);
        standins_reset();
        kx_color_processor* const processor = kx.create_color_processor_test(0, 0, level);
        ASSERT_NE(processor, nullptr);
        EXPECT_EQ(events(), LUTs_created(1, 1, 1, level == 2) + when(sse_found, "sse loaded")
                                + when(sse_usable, "sse initialize") + when(avx2_found, "avx2 loaded")
                                + when(avx2_usable, "avx2 initialize"));

        small_image image(3);
        for (const transform_export& tested : transform_exports) {
            const std::string module = level == 2 && avx2_usable ? "avx2" : level >= 1 && sse_usable ? "sse" : "";
            EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
            EXPECT_EQ(events(), LUTs_fetched(1, 6) + vector_call(module, tested) + lines{timing_line(tested)});
            EXPECT_EQ(image.output(tested, 0) & 0xFF, image.input(0, 0) & 0xFF);
        }

        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
        EXPECT_EQ(events(), when(avx2_usable, "avx2 terminate") + when(avx2_found, "avx2 unloaded")
                                + when(sse_usable, "sse terminate") + when(sse_found, "sse unloaded")
                                + LUTs_destroyed(6));
    }
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_vector_module,
                         testing::Values("no_vector_modules", "no_sse", "sse_without_initialize",
                                         "sse_without_transform_8_bit_output", "sse_without_transform_16_bit_output",
                                         "sse_without_terminate", "no_avx2", "avx2_without_initialize",
                                         "avx2_without_transform_8_bit_output", "avx2_without_transform_16_bit_output",
                                         "avx2_without_terminate"),
                         name_of);

// --- the scenarios ---

// A scenario without a test, or the other way round, would go unnoticed.
TEST(scenarios, and_their_tests_match)
{
    std::istringstream arranged_names(KX_SCENARIOS);
    std::multiset<std::string> arranged;
    std::copy(std::istream_iterator<std::string>(arranged_names), {}, std::inserter(arranged, arranged.end()));
    EXPECT_EQ(arranged.size(), 22U);

    std::multiset<std::string> tested;
    const testing::UnitTest& program = *testing::UnitTest::GetInstance();
    for (int i = 0; i < program.total_test_suite_count(); ++i) {
        const testing::TestSuite& suite = *program.GetTestSuite(i);
        if (std::string_view(suite.name()).starts_with("without/")) {
            for (int test = 0; test < suite.total_test_count(); ++test) {
                const std::string name = suite.GetTestInfo(test)->name();
                tested.insert(name.substr(name.find('/') + 1));
            }
        }
    }
    EXPECT_EQ(tested, arranged);
}

} // namespace

} // namespace kx_test
