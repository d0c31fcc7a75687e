// Libraries and processors: how long they live, what moved-from ones do, and what status codes become.
#include "korvex_kvi_color_processing.hpp"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

namespace kc = korvex::color;

template <typename Function>
std::int32_t code_of(const Function& function)
{
    try {
        function();
    } catch (const kc::error& failure) {
        return failure.code();
    }
    return KX_COLOR_SUCCESS;
}

// What a blue sample of 10 becomes.
std::uint16_t blue_of(const kc::processor& processor)
{
    const std::uint16_t input[] = {10, 20, 30};
    std::uint16_t output[3] = {};
    processor.transform(kc::image_view(input, kc::pixel_layout::interleaved_bgr, 1, 1),
                        kc::image_view(output, kc::pixel_layout::interleaved_bgr, 1, 1));
    return output[0];
}

// Each call that may fail.
std::vector<std::int32_t> codes_of_all_calls(kc::processor& processor)
{
    return {code_of([&] { processor.append_matrix({}); }),
            code_of([&] { processor.clear_matrix(); }),
            code_of([&] { (void)processor.input_LUT(kc::channel::blue); }),
            code_of([&] { (void)processor.output_LUT(kc::channel::red); }),
            code_of([&] { processor.enable_input_LUTs(false); }),
            code_of([&] { processor.enable_output_LUTs(false); }),
            code_of([&] { (void)blue_of(processor); })};
}

TEST(lifetime, one_library_ends_without_the_other)
{
    const kc::library library;
    {
        const kc::library other;
    }
    kc::processor processor(library); // the LUTs' module is still at hand
    processor.enable_input_LUTs(true);
    EXPECT_EQ(blue_of(processor), 0);
}

TEST(lifetime, moved_from_objects_are_empty)
{
    kc::library library;
    kc::processor processor(library);
    processor.enable_input_LUTs({true, false, false});
    kc::processor target(library);
    target = std::move(processor);
    EXPECT_EQ(blue_of(target), 0);
    // NOLINTBEGIN(bugprone-use-after-move)
    EXPECT_EQ(processor.handle(), nullptr);
    EXPECT_EQ(codes_of_all_calls(processor), std::vector<std::int32_t>(7, KX_COLOR_NULL_PROCESSOR));
    EXPECT_EQ(code_of([&] { processor.check_samples({}); }), KX_COLOR_NULL_PROCESSOR);
    processor = std::move(target);
    EXPECT_EQ(blue_of(processor), 0);

    const kc::library other = std::move(library);
    EXPECT_EQ(code_of([&] { const kc::processor none(library); }), KX_COLOR_NOT_INITIALIZED);
    EXPECT_EQ(code_of([&] { const kc::processor one(other); }), KX_COLOR_SUCCESS);
    // NOLINTEND(bugprone-use-after-move)
}

TEST(errors, a_module_that_somebody_else_terminated)
{
    const kc::library library;
    kc::processor processor(library);
    kx_color_processing_module_terminate();
    EXPECT_EQ(codes_of_all_calls(processor), std::vector<std::int32_t>(7, KX_COLOR_NOT_INITIALIZED));
    EXPECT_EQ(code_of([&] { const kc::processor none(library); }), kc::error::null_result);
    ASSERT_EQ(kx_color_processing_module_initialize(), KX_COLOR_SUCCESS);
}

// A companion module's exception.
TEST(errors, a_destructor_lets_none_out)
{
    kc::function_table functions = kc::function_table::linked();
    functions.kx_color_destroy_color_processor = [](kx_color_processor* processor) -> std::int32_t {
        kx_color_destroy_color_processor(processor);
        throw 1;
    };
    EXPECT_NO_THROW(kc::processor(kc::library(functions)));
}

std::int32_t next_status;
int terminations;

TEST(errors, a_library_that_cannot_start_is_terminated)
{
    kc::function_table functions = kc::function_table::linked();
    functions.kx_color_processing_module_initialize = [] { return next_status; };
    functions.kx_color_processing_module_terminate = [] { return ++terminations, 0; };
    next_status = KX_COLOR_NOT_INITIALIZED;
    EXPECT_EQ(code_of([&] { const kc::library none(functions); }), KX_COLOR_NOT_INITIALIZED);
    EXPECT_EQ(terminations, 1);
    next_status = KX_COLOR_SUCCESS; // and may start later
    EXPECT_EQ(code_of([&] { const kc::library one(functions); }), KX_COLOR_SUCCESS);
    EXPECT_EQ(terminations, 2);
}

} // namespace
