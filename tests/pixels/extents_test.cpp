// How many pixels: for all layouts and output widths, with LUTs and shifts and without.
#include "harness.h"

#include "reference.h"

#include <algorithm>
#include <limits>

namespace kx_test {

namespace {

// Calls `run` for all layouts and outputs, each with some mixtures of LUTs and shifts.
template <typename function>
void for_selected_combinations(function run)
{
    static constexpr struct {
        std::array<bool, 3> input_LUT, output_LUT;
        std::array<int, 3> shift;
    } mixtures[] = {
        {{false, false, false}, {false, false, false}, {0, 0, 0}},
        {{true, true, true}, {true, true, true}, {-1, 1, 0}},
        {{false, true, false}, {true, false, false}, {0, -1, 1}},
    };
    for (int number = 0; number < 36 && !testing::Test::HasFatalFailure(); ++number) {
        for (const auto& mixture : mixtures) {
            combination choices = combination_at(number);
            choices.input_LUT = mixture.input_LUT;
            choices.output_LUT = mixture.output_LUT;
            choices.shift = mixture.shift;
            run(choices);
        }
    }
}

class extents : public pixel_test {};

TEST_F(extents, every_pixel_count_up_to_200_and_none)
{
    random_source random(1);
    const test_processor processor(16, 16, random);
    pixel_harness harness(200);
    for_selected_combinations([&](const combination& choices) {
        std::vector<std::int32_t> counts = {std::numeric_limits<std::int32_t>::min(), -1'000'000, -16, -8, -7, -1};
        for (std::int32_t count = 0; count <= 200; count += KX_EXTENT_STEP) {
            counts.push_back(count);
        }
        for (const std::int32_t count : counts) {
            ASSERT_TRUE(harness.run(processor, random_case(choices, processor.LUTs(), count, random)));
        }
    });
}

// Large enough for the vector modules to make tables of their own, for which the matrix matters, as do the entries of
// the LUTs at the time of the call and the largest sample of each channel: here it occurs once.
TEST_F(extents, large_images)
{
    // An infinity or NaN in a matrix spreads when that is appended, but not one that overflow makes of a product.
    std::vector<std::vector<matrix_values>> matrices = {
        {identity},
        {{0.3F, 0, 0, 0, 1.7F, 0, 0, 0, 0.9F}},
        {{0.5F, -0.0F, 0, -0.0F, -1.5F, -0.0F, 0, -0.0F, 2.5F}},
        {{1e30F, 0, 0, 0, -1e30F, 0, 0, 0, 1}, {1e30F, 0, 0, 0, 1e30F, 0, 0, 0, 0.5F}}, // infinite diagonal
        {{1e30F, 1e30F, 0, 0, 0, 0, 0, 0, 1}, {1e30F, 0, 0, -1e30F, 0, 0, 0, 0, 1}},    // NaN on the diagonal
        {{0.9F, 0.2F, -0.1F, 0.1F, 0.8F, 0.1F, -0.1F, 0.2F, 0.7F}},
    };
    for (std::size_t i = 0; i < 9; ++i) { // nearly the identity, nearly diagonal
        matrices.push_back({identity});
        matrices.back()[0][i] += 0.25F;
    }
    random_source random(2);
    const test_processor deep(16, 16, random);
    const test_processor shallow(12, 10, random);
    constexpr std::int32_t least = 1 << 18;
    pixel_harness harness(least + 1000);
    std::size_t number = 0;
    for_selected_combinations([&](const combination& choices) {
        if (choices.input_LUT == std::array{false, false, false}) {
            return;
        }
        // Cases with one mixture of LUTs are two apart, so each mixture meets every matrix, and both processors.
        const test_processor& processor = number / 2 % 2 == 0 ? deep : shallow;
        pixel_case made = random_case(choices, processor.LUTs(), least + pick(random, 32, 1000), random);
        made.matrices = matrices[number++ % matrices.size()];
        const std::vector<std::uint16_t> samples = made.samples;
        for (std::uint16_t& sample : made.samples) {
            sample = static_cast<std::uint16_t>(sample / 3);
        }
        for (int channel = 0; channel < 3; ++channel) {
            const std::int64_t pixel = pick(random, 0, least - 1);
            const auto index = static_cast<std::size_t>(
                reference_sample_index(choices.input_layout, made.pixel_count, 3, pixel, channel));
            made.samples[index] = samples[index];
        }
        ASSERT_TRUE(harness.run(processor, made));
        if (number % 4 == 0) {
            processor.fill_LUTs(random);
            ASSERT_TRUE(harness.run(processor, made)) << "with other LUTs";
        }
    });
}

// From 2^24 bytes of output on the vector modules may store past the caches, if all stores are aligned.
TEST_F(extents, images_larger_than_the_caches)
{
    random_source random(3);
    const test_processor processor(0, 0, random);
    constexpr std::int32_t most = (1 << 24) / 3 + 100;
    std::vector<std::uint16_t> samples(3 * std::size_t{most});
    std::generate(samples.begin(), samples.end(), [&random] { return static_cast<std::uint16_t>(random()); });
    pixel_harness harness(most);
    for (int number = 0; number < 36; number += 3) { // every kind of output
        for (const bool aligned : {true, false}) {
            pixel_case made = random_case(combination_at(number), processor.LUTs(), 0, random);
            // Green's plane is then 8 bytes off 16, and the others are not.
            const int extra = aligned ? 0 : 64 / made.choices.output_bits;
            made.matrices = {identity};
            made.pixel_count = ((1 << 24) / made.choices.bytes_per_pixel() + 32) / 32 * 32 + extra;
            made.samples.assign(samples.begin(), samples.begin() + std::ptrdiff_t{3} * made.pixel_count);
            made.output = {false, aligned || made.choices.output_layout == 0 ? std::size_t{0} : std::size_t{1}};
            ASSERT_TRUE(harness.run(processor, made));
        }
    }
}

} // namespace

} // namespace kx_test
