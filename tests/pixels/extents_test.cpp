// How many pixels, and where they lie: for all layouts and output widths, with LUTs and shifts and without.
#include "harness.h"

#include <limits>

namespace kx_test {

namespace {

// Calls `run` for all layouts and outputs, each with some mixtures of LUTs and shifts.
template <typename function>
void for_selected_combinations(function run)
{
    using enum shift_direction;
    static constexpr struct {
        std::array<bool, 3> input_LUT, output_LUT;
        std::array<shift_direction, 3> shift;
    } mixtures[] = {
        {{false, false, false}, {false, false, false}, {none, none, none}},
        {{true, true, true}, {true, true, true}, {right, left, none}},
        {{false, true, false}, {true, false, false}, {none, right, left}},
    };
    for (const int bits : {8, 16}) {
        for (int layouts = 0; layouts < 9; ++layouts) {
            for (const bool fourth_sample : {false, true}) {
                for (const auto& mixture : mixtures) {
                    run(combination{bits, layouts / 3, mixture.input_LUT, mixture.output_LUT, mixture.shift,
                                    fourth_sample, layouts % 3});
                    if (testing::Test::HasFatalFailure()) {
                        return;
                    }
                }
            }
        }
    }
}

class extents : public pixel_test {};

TEST_F(extents, every_pixel_count_up_to_200)
{
    random_source random(1);
    const test_processor processor(16, 16, vector_level(), random);
    pixel_harness harness(200);
    for_selected_combinations([&](const combination& choices) {
        for (std::int32_t count = 0; count <= 200; count += KX_EXTENT_STEP) {
            ASSERT_TRUE(harness.run(processor, random_case(choices, processor, count, random)));
        }
    });
}

TEST_F(extents, large_images)
{
    random_source random(2);
    const test_processor processor(12, 14, vector_level(), random);
    pixel_harness harness(20'000);
    for_selected_combinations([&](const combination& choices) {
        const std::int32_t count = pick(random, 10'000, 20'000);
        ASSERT_TRUE(harness.run(processor, random_case(choices, processor, count, random)));
    });
}

TEST_F(extents, no_pixels_touch_nothing)
{
    random_source random(3);
    const test_processor processor(16, 16, vector_level(), random);
    pixel_harness harness(1);
    for_selected_combinations([&](const combination& choices) {
        for (const std::int32_t count :
             {0, -1, -2, -7, -8, -16, -1'000'000, std::numeric_limits<std::int32_t>::min()}) {
            ASSERT_TRUE(harness.run(processor, random_case(choices, processor, count, random)));
        }
    });
}

TEST_F(extents, every_alignment)
{
    random_source random(4);
    const test_processor processor(16, 16, vector_level(), random);
    pixel_harness harness(200);
    for_selected_combinations([&](const combination& choices) {
        for (std::size_t shift = 0; shift < 32; shift += KX_EXTENT_STEP) {
            pixel_case made = random_case(choices, processor, pick(random, 1, 150), random);
            // The first addresses take every alignment in turn; the second pass leaves them to the ends.
            for (const bool at_end : {false, true}) {
                made.input = {at_end, shift};
                made.output = {at_end, (7 * shift + 1) % 32};
                ASSERT_TRUE(harness.run(processor, made));
            }
        }
    });
}

} // namespace

} // namespace kx_test
