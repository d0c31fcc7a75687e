// The library with the companion modules that ship when memory runs out: every allocation fails in turn, alone and with
// all that follow. The system's loader allocates too; to the library it then finds no module.
#include "platform/architecture.h"
#include "support/environment.h"
#include "support/failing_memory.h"
#include "support/transform_request.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

namespace kx_test {

namespace {

constexpr std::int32_t large = 1 << 18; // from here on the vector modules make tables of 16-bit samples

class memory : public testing::Test {
protected:
    memory()
    {
        set_environment("KVI_LOG_LEVEL", "info"); // every line is made
        set_environment("KVI_LOG_FILE", "/dev/null");
        // What is made once and kept.
        EXPECT_EQ(kx_color_processing_module_initialize(), 0);
        EXPECT_EQ(kx_color_destroy_color_processor(kx_color_create_color_processor(16, 16)), 0);
        EXPECT_EQ(kx_color_create_color_processor(-1, 0), nullptr);
        std::iota(input.begin(), input.end(), std::uint16_t{0});
        input.front() = 65535; // an image that begins with large samples gets tables of its inputs too
    }
    void TearDown() override { EXPECT_EQ(kx_color_processing_module_terminate(), 0); }

    // Makes the call while a later and a later allocation fails, until none does. `check` gets each call's result and
    // brings about the state before the call, from which nothing may then be left over. Returns how many allocations
    // the call makes.
    template <typename call_function, typename check_function>
    static int as_memory_fails(call_function call, check_function check)
    {
        int made = 0;
        for (const bool all_that_follow : {false, true}) {
            bool failed = true;
            for (int number = 1; failed && !HasFailure(); ++number) {
                made = number - 1;
                SCOPED_TRACE(testing::Message() << "allocation " << number << (all_that_follow ? " and later" : ""));
                const long before = failing_memory::living_pieces();
                try {
                    failing_memory failing(number, all_that_follow);
                    const auto result = call();
                    failed = failing.stop();
                    check(result);
                } catch (const std::exception& escaped) {
                    ADD_FAILURE() << "an exception passed: " << escaped.what();
                }
                EXPECT_LE(failing_memory::living_pieces(), before) << "memory was left behind";
            }
        }
        return made;
    }

    // All LUTs in use, each entry from its index.
    static void configure(kx_color_processor* processor, const float* matrix)
    {
        for (const auto& get_LUT :
             {kx_color_get_blue_input_LUT, kx_color_get_green_input_LUT, kx_color_get_red_input_LUT,
              kx_color_get_blue_output_LUT, kx_color_get_green_output_LUT, kx_color_get_red_output_LUT}) {
            std::uint32_t* const LUT = get_LUT(processor);
            for (std::uint32_t i = 0; i < 65536; ++i) {
                LUT[i] = i * 40503;
            }
        }
        EXPECT_EQ(kx_color_clear_matrix(processor), 0);
        EXPECT_EQ(kx_color_append_matrix(processor, matrix), 0);
        EXPECT_EQ(kx_color_enable_input_LUTs(processor, 1, 1, 1), 0);
        EXPECT_EQ(kx_color_enable_output_LUTs(processor, 1, 1, 1), 0);
    }

    std::int32_t convert(kx_color_processor* processor, std::int32_t pixel_count, std::int32_t blue_shift = 0)
    {
        const transform_request request{
            .input = input.data(), .blue_shift = blue_shift, .output = output.data(), .pixel_count = pixel_count};
        return call_transform<std::uint16_t>(kx_color_transform_48_to_48, processor, request);
    }

    std::vector<std::uint16_t> input = std::vector<std::uint16_t>(3 * std::size_t{large});
    std::vector<std::uint16_t> output = input;
};

constexpr float diagonal[9] = {0.5F, 0, 0, 0, 0.75F, 0, 0, 0, 1.5F};
constexpr float dense[9] = {0.5F, 0.1F, 0.1F, 0.1F, 0.5F, 0.1F, 0.1F, 0.1F, 0.5F};

TEST_F(memory, initialize_and_terminate)
{
    if (kx::platform::on_arm64) {
        GTEST_SKIP() << "the system's own loader crashes on ARM64 when memory runs out (glibc 2.36, under QEMU)";
    }
    EXPECT_EQ(kx_color_processing_module_terminate(), 0);
    as_memory_fails(kx_color_processing_module_initialize, [&](std::int32_t status) {
        EXPECT_TRUE(status == 0 || status == 1) << status;
        EXPECT_EQ(kx_color_processing_module_initialize(), 0) << "now that there is memory";
        EXPECT_EQ(kx_color_processing_module_terminate(), 0);
        EXPECT_EQ(kx_color_processing_module_terminate(), 0);
        EXPECT_EQ(kx_color_clear_matrix(nullptr), 1);
    });
    EXPECT_EQ(kx_color_processing_module_initialize(), 0);
    as_memory_fails(kx_color_processing_module_terminate, [&](std::int32_t status) {
        EXPECT_EQ(status, 0);
        EXPECT_EQ(kx_color_processing_module_initialize(), 0);
    });
}

TEST_F(memory, creation_and_destruction)
{
    const auto expect_usable_or_null = [&](kx_color_processor* processor) {
        if (processor != nullptr) {
            EXPECT_EQ(convert(processor, 100), 0);
            EXPECT_EQ(output[299], 299);
            EXPECT_EQ(kx_color_destroy_color_processor(processor), 0);
        }
    };
    as_memory_fails([] { return kx_color_create_color_processor(16, 16); }, expect_usable_or_null);

    kx_color_processor* processor = kx_color_create_color_processor(16, 16);
    as_memory_fails([&] { return kx_color_destroy_color_processor(processor); },
                    [&](std::int32_t status) {
                        EXPECT_EQ(status, 0);
                        processor = kx_color_create_color_processor(16, 16);
                    });
    EXPECT_EQ(kx_color_destroy_color_processor(processor), 0);
}

TEST_F(memory, transforms)
{
    for (const std::int32_t level : {0, 1, 2}) {
        kx_color_processor* const processor = kx_color_create_color_processor_test(16, 16, level);
        ASSERT_NE(processor, nullptr);
        for (const float* const matrix : {diagonal, dense}) {
            SCOPED_TRACE(testing::Message() << "level " << level << (matrix == dense ? ", dense" : ", diagonal"));
            configure(processor, matrix);
            ASSERT_EQ(convert(processor, large), 0);
            const std::vector<std::uint16_t> expected = output;
            const int made = as_memory_fails(
                [&] {
                    output[0] = output[3 * large - 1] = 0xEEEE;
                    return convert(processor, large);
                },
                [&](std::int32_t status) {
                    EXPECT_EQ(status, 0);
                    EXPECT_EQ(output, expected);
                });
            EXPECT_EQ(made > 0, level > 0) << "the vector modules alone make tables";
        }
        as_memory_fails([&] { return convert(processor, 100, 16); },
                        [](std::int32_t status) { EXPECT_EQ(status, 11) << "refused, whether or not that is logged"; });
        EXPECT_EQ(kx_color_destroy_color_processor(processor), 0);
    }
}

} // namespace

} // namespace kx_test
