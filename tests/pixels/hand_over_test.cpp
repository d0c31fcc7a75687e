// What the scalar kernels do after a vector module has converted some pixels. A stand-in for the module only
// claims to have converted them: whatever the kernels write can then be told from what they leave alone.
#include "harness.h"

#include "path_check.h"

#include <cstring>
#include <memory>

namespace kx_test {

namespace {

class hand_over : public testing::TestWithParam<int> {
protected:
    void SetUp() override
    {
        ASSERT_EQ(kx_color_processing_module_initialize(), KX_COLOR_SUCCESS);
        stand_in_converts(level(), 0);
        processor_ = std::make_unique<test_processor>(16, 16, level(), random_);
    }

    void TearDown() override
    {
        processor_.reset();
        no_stand_ins();
        EXPECT_EQ(kx_color_processing_module_terminate(), KX_COLOR_SUCCESS);
    }

    static int level() { return GetParam(); }

    random_source random_{8};
    std::unique_ptr<test_processor> processor_;
};

TEST_P(hand_over, kernels_start_where_the_module_stopped)
{
    pixel_harness harness(40);
    // Steps through the combinations so that every choice changes often.
    for (int number = level(); number < combination_count; number += 1009) {
        for (const std::uint32_t converted : {0U, 1U, 8U, 31U, 39U, 40U, 41U, 0x7FFFFFFFU}) {
            ASSERT_TRUE(harness.run_after_stand_in(
                *processor_, random_case(combination_at(number), *processor_, 40, random_), converted));
        }
    }
}

// The last pixels of the largest image: its planes lie beyond 2^32 samples. Only pages that are touched take
// memory.
TEST_P(hand_over, kernels_reach_the_end_of_the_largest_image)
{
    constexpr std::int32_t count = 0x7FFFFFFF;
    constexpr std::int32_t left_over = 3;
    constexpr std::size_t pixels = count;
    std::unique_ptr<guarded_buffer> input, output, expected;
    try {
        input = std::make_unique<guarded_buffer>(pixels * 6);
        output = std::make_unique<guarded_buffer>(pixels * 8);
        expected = std::make_unique<guarded_buffer>(pixels * 8);
    } catch (const std::system_error& error) {
        GTEST_SKIP() << "No address space for the largest image: " << error.what();
    }

    // A library that passed the stand-in over would convert, and fill memory with, all of it.
    pixel_harness harness(40);
    ASSERT_TRUE(harness.run_after_stand_in(*processor_, random_case(combination_at(0), *processor_, 40, random_), 20));
    stand_in_converts(level(), count - left_over);

    for (int variant = 0; variant < 36; ++variant) {
        // Without LUTs and shifts, all other choices.
        pixel_case made = random_case(combination_at(variant), *processor_, 0, random_);
        ASSERT_EQ(made.channels[2].shift_distance, 0);
        made.matrices = {{0.9F, 0.1F, 0, 0.2F, 0.7F, 0.1F, 0, 0.2F, 0.8F}};
        made.channels = {};
        made.pixel_count = count;
        const combination& choices = made.choices;
        const std::size_t bytes = pixels * static_cast<std::size_t>(choices.bytes_per_pixel());
        auto* const samples = reinterpret_cast<std::uint16_t*>(input->end() - pixels * 6);
        for (std::int32_t pixel = count - left_over; pixel < count; ++pixel) {
            for (int channel = 0; channel < 3; ++channel) {
                samples[reference_sample_index(choices.input_layout, count, 3, pixel, channel)] =
                    pick(random_, std::uint16_t{1}, std::uint16_t{65535});
            }
        }

        reference_transform reference = reference_of(*processor_, made);
        reference.input = samples;
        std::uint8_t* const expected_image = expected->end() - bytes;
        reference_convert(reference, count - left_over, expected_image);
        configure(*processor_, made);
        std::uint8_t* const image = output->end() - bytes;
        ASSERT_EQ(call_transform(*processor_, made, samples, image), KX_COLOR_SUCCESS);

        const std::int64_t sample_bytes = choices.output_bits / 8;
        for (std::int64_t pixel = count - 2 * left_over; pixel < count; ++pixel) {
            for (int channel = 0; channel < choices.samples_per_pixel(); ++channel) {
                const std::int64_t at =
                    sample_bytes
                    * reference_sample_index(choices.output_layout, count, choices.samples_per_pixel(), pixel, channel);
                ASSERT_EQ(std::memcmp(image + at, expected_image + at, static_cast<std::size_t>(sample_bytes)), 0)
                    << "pixel " << pixel << " channel " << channel << "\n  " << describe(*processor_, made);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(level, hand_over, testing::Values(1, 2));

} // namespace

} // namespace kx_test
