// Values with known results, and sums that are hard to round.
#include "harness.h"

#include <cmath>
#include <limits>

namespace kx_test {

namespace {

// Equal pixels of the samples in memory order, interleaved blue first, nothing switched on.
pixel_case plain_case(const matrix_values& matrix, std::array<std::uint16_t, 3> samples, int output_bits)
{
    pixel_case made;
    made.choices.output_bits = output_bits;
    made.choices.input_layout = made.choices.output_layout = KX_COLOR_INTERLEAVED_BGR;
    made.matrices = {matrix};
    made.pixel_count = 67; // vectors, if any, and a remainder
    for (std::int32_t pixel = 0; pixel < made.pixel_count; ++pixel) {
        made.samples.insert(made.samples.end(), samples.begin(), samples.end());
    }
    return made;
}

class arithmetic : public pixel_test {};

// The reference could be wrong with the library: these results were worked out by hand.
TEST_F(arithmetic, known_results)
{
    struct known_result {
        int output_bits;
        std::array<std::uint16_t, 3> input; // blue, green, red
        float red_from_red;                 // the other elements are the identity's
        std::uint16_t red_clamp_max;
        std::array<std::int32_t, 3> shift_distances;
        std::vector<int> output; // red, green, blue, and the fourth where there are four
    };
    const known_result known_results[] = {
        {16, {100, 200, 300}, 1.5F, 65535, {0, 0, 0}, {450, 200, 100}},
        {16, {100, 200, 300}, 1.5F, 400, {0, 0, -2}, {100, 200, 100}},
        {16, {100, 200, 300}, 1.5F, 400, {0, 0, 2}, {1600, 200, 100}},
        {16, {0, 0, 65535}, 1.5F, 65535, {0, 0, 0}, {65535, 0, 0}},
        {16, {3, 1, 2}, 1.0F, 65535, {15, 15, 15}, {0, 32768, 32768, 0}},
        {8, {4000, 8000, 12000}, 1.0F, 65535, {-8, -8, -8}, {46, 31, 15, 0}},
        {8, {255, 256, 257}, 1.0F, 65535, {0, 0, 4}, {16, 0, 255}},
    };
    random_source random(1);
    const test_processor processor(0, 0, random);
    for (const known_result& known : known_results) {
        pixel_case made = plain_case({known.red_from_red, 0, 0, 0, 1, 0, 0, 0, 1}, known.input, known.output_bits);
        made.choices.output_layout = KX_COLOR_INTERLEAVED_RGB;
        made.choices.fourth_sample = known.output.size() == 4;
        made.channels[2].clamp_max = known.red_clamp_max;
        for (std::size_t channel = 0; channel < 3; ++channel) {
            made.channels[channel].shift_distance = known.shift_distances[channel];
        }
        EXPECT_TRUE(pixel_harness(100).run(processor, made));

        std::vector<std::uint16_t> words(known.output.size() * 67, 0xFFFF);
        ASSERT_EQ(processor.transform(made, made.samples.data(), words.data()), KX_COLOR_SUCCESS);
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(words.data());
        for (std::size_t i = 0; i < words.size(); ++i) {
            const int sample = known.output_bits == 8 ? int{bytes[i]} : int{words[i]};
            ASSERT_EQ(sample, known.output[i % known.output.size()]) << "sample " << i << "\n  " << describe(made);
        }
    }
}

// With the matrix element m and the input sample 1 a channel's sum is m itself.
TEST_F(arithmetic, sums_that_are_hard_to_round)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    std::vector<float> sums = {0.0F,       -0.0F,     99.49997F, 99.5F,  -3.2F,  65534.5F, 65535.5F, 65536.0F,
                               8388607.5F, 0x1p-149F, 0x1p-126F, 1e30F,  -1e30F, 0x1p31F,  -0x1p31F, 0x1p32F,
                               infinity,   -infinity, 3e38F,     -3e38F, -0.5F,  -1.5F,    -65536.5F};
    for (float half = 0.5F; half < 70'000.0F; half = half * 1.7F + 1.0F) {
        sums.push_back(std::floor(half) + 0.5F);
    }
    const std::size_t chosen = sums.size();
    for (std::size_t i = 0; i < chosen; ++i) { // and their neighbours
        sums.push_back(std::nextafter(sums[i], infinity));
        sums.push_back(std::nextafter(sums[i], -infinity));
    }
    sums.push_back(std::numeric_limits<float>::quiet_NaN());

    random_source random(5);
    const test_processor processor(0, 0, random);
    pixel_harness harness(100);
    for (std::size_t i = 0; i < sums.size(); ++i) {
        // An infinity or NaN spreads over its column, so the other rows see it as NaN.
        const matrix_values matrix = {
            sums[i], 0, 0, 0, sums[(i + 1) % sums.size()], 0, 0, 0, sums[(i + 2) % sums.size()]};
        for (const int bits : {8, 16}) {
            pixel_case made = plain_case(matrix, {1, 1, 1}, bits);
            ASSERT_TRUE(harness.run(processor, made));
            made.channels[0].clamp_min = made.channels[1].clamp_min = made.channels[2].clamp_min = 7;
            ASSERT_TRUE(harness.run(processor, made));
        }
    }
}

} // namespace

} // namespace kx_test
