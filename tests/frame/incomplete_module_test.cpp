// Companion modules that are missing or lack an entry point.
#include "frame/frame_test.h"

namespace kx_test {

namespace {

class incomplete_module : public frame_test, public testing::WithParamInterface<gap> {
protected:
    incomplete_module() : frame_test(GetParam()) {}

    // Whether the library finds so much of the module that it comes to look for this entry point.
    [[nodiscard]] bool lacks(const std::string& entry_point) const { return GetParam().entry_point == entry_point; }
    const bool found = !GetParam().entry_point.empty();
};

std::string name_of(const testing::TestParamInfo<gap>& info)
{
    const auto& [module, entry_point] = info.param;
    return entry_point.empty() ? "no_" + module : module + "_without_" + entry_point;
}

using incomplete_logger_module = incomplete_module;

TEST_P(incomplete_logger_module, is_done_without)
{
    const bool ready = lacks("kvi_free_log");
    const bool obtained = ready || lacks("kvi_log");
    EXPECT_EQ(initialize(),
              when(found, "logger loaded") + when(obtained, log_obtained[0]) + lines{"LUT loaded"} + LUT_initialized);

    kx_color_processor* const processor = kx.kx_color_create_color_processor(8, 8);
    ASSERT_NE(processor, nullptr);
    events();
    small_image image(3);
    EXPECT_EQ(transform_exports[0].call(kx, processor, image.request()), 0);
    EXPECT_EQ(events().back() == timing_line(transform_exports[0]), ready);
    destroy(processor);
    EXPECT_EQ(terminate(), LUT_terminated + when(found && !ready, log_freed[0]) + when(found, "logger unloaded"));
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 1);
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_logger_module, testing::ValuesIn(every_gap({"logger"})), name_of);

using incomplete_LUT_module = incomplete_module;

TEST_P(incomplete_LUT_module, is_reported_and_undoes_nothing)
{
    EXPECT_EQ(kx.kx_color_processing_module_initialize(), 1);
    EXPECT_EQ(events(), logger_opened + when(found, "LUT loaded"));
    EXPECT_EQ(kx.kx_color_processing_module_initialize(), 1);
    EXPECT_EQ(events(), lines{}) << "the logger stayed";

    // The exports consider the module initialized.
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 2);
    EXPECT_EQ(events(), lines{error_line("kx_color_clear_matrix", null_processor_text)});

    // The last entry point is none that a processor needs.
    if (!lacks("kx_LUT_module_terminate")) {
        EXPECT_EQ(kx.kx_color_create_color_processor_test(0, 0, 0), nullptr);
        EXPECT_EQ(events(), lines{failed_creation_line(false)});
    }

    // Both initializes counted.
    EXPECT_EQ(terminate(), lines{});
    EXPECT_EQ(terminate(), logger_closed);
    EXPECT_EQ(kx.kx_color_clear_matrix(nullptr), 1);
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_LUT_module, testing::ValuesIn(every_gap({"LUT"})), name_of);

class incomplete_vector_module : public initialized_test, public testing::WithParamInterface<gap> {
protected:
    incomplete_vector_module() : initialized_test(GetParam()) {}
};

TEST_P(incomplete_vector_module, is_passed_over)
{
    const bool sse_usable = GetParam().module != "sse";
    const bool avx2_usable = !sse_usable;
    const bool found = !GetParam().entry_point.empty();
    const bool sse_found = sse_usable || found;
    const bool avx2_found = avx2_usable || found;
    kx_color_processor* const processor = kx.kx_color_create_color_processor_test(0, 0, 2);
    ASSERT_NE(processor, nullptr);
    EXPECT_EQ(events(), LUTs_created(1, 1, 1, true) + when(sse_found, "sse loaded") + when(sse_usable, "sse initialize")
                            + when(avx2_found, "avx2 loaded") + when(avx2_usable, "avx2 initialize"));
    expect_transforms_call(processor, avx2_usable ? "avx2" : "sse");
    EXPECT_EQ(destroy(processor), when(avx2_usable, "avx2 terminate") + when(avx2_found, "avx2 unloaded")
                                      + when(sse_usable, "sse terminate") + when(sse_found, "sse unloaded")
                                      + LUTs_destroyed(6));
}

INSTANTIATE_TEST_SUITE_P(without, incomplete_vector_module, testing::ValuesIn(every_gap({"sse", "avx2"})), name_of);

} // namespace

} // namespace kx_test
