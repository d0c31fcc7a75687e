// Large images, in all layouts and output widths.
#include "harness.h"

#include "reference.h"

#include <algorithm>

namespace kx_test {

namespace {

using extents = pixel_test;

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
    for (std::size_t number = 0; number < 72; ++number) { // all layouts and outputs, with every LUT and with some
        combination choices = combination_at(static_cast<int>(number / 2));
        const bool every = number % 2 == 0;
        choices.input_LUT = {every, true, every};
        choices.output_LUT = {true, every, every};
        choices.shift = {every ? -1 : 0, every ? 1 : -1, every ? 0 : 1};
        // Each mixture meets every matrix, and both processors.
        const test_processor& processor = number / 2 % 2 == 0 ? deep : shallow;
        pixel_case made = random_case(choices, processor.LUTs(), least + pick(random, 32, 1000), random);
        made.matrices = matrices[number % matrices.size()];
        const std::vector<std::uint16_t> samples = made.samples;
        for (std::uint16_t& sample : made.samples) {
            sample = static_cast<std::uint16_t>(sample / 3);
        }
        for (int channel = 0; channel < 3; ++channel) {
            // Anywhere, also in the last register.
            const std::int64_t pixel = number % 4 == 0 ? made.pixel_count / 32 * 32 - 1 : pick(random, 0, least - 1);
            const auto index = static_cast<std::size_t>(
                reference_sample_index(choices.input_layout, made.pixel_count, 3, pixel, channel));
            made.samples[index] = samples[index];
        }
        ASSERT_TRUE(harness.run(processor, made));
        if (number % 4 == 0) {
            processor.fill_LUTs(random);
            ASSERT_TRUE(harness.run(processor, made)) << "with other LUTs";
        }
    }
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
    static constexpr matrix_values mixing = {0.5F, 0.25F, 0, 0, 0.5F, 0.25F, 0.25F, 0, 0.5F};
    static constexpr struct {
        const matrix_values& matrix; // the widest registers store sums so too, in another way
        bool aligned;
    } kinds[] = {{identity, true}, {mixing, true}, {identity, false}};
    for (int number = 0; number < 36; number += 3) { // every kind of output
        for (const auto& [matrix, aligned] : kinds) {
            pixel_case made = random_case(combination_at(number), processor.LUTs(), 0, random);
            // Green's plane is then 8 bytes off 16, and the others are not.
            const int extra = aligned ? 0 : 64 / made.choices.output_bits;
            made.matrices = {matrix};
            made.pixel_count = ((1 << 24) / made.choices.bytes_per_pixel() + 32) / 32 * 32 + extra;
            made.samples.assign(samples.begin(), samples.begin() + std::ptrdiff_t{3} * made.pixel_count);
            made.output = {false, aligned || made.choices.output_layout == 0 ? std::size_t{0} : std::size_t{1}};
            ASSERT_TRUE(harness.run(processor, made));
        }
    }
}

} // namespace

} // namespace kx_test
