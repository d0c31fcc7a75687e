// LUTs that the vector modules may compute instead of looking up, because they are lines, and tables that channels may
// share, because their LUTs are equal: large images in which every value occurs.
#include "harness.h"

#include "reference.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <span>

namespace kx_test {

namespace {

using lines = pixel_test;

// A line as black level and white balance make it: of any slope and height, rounded and clipped.
void fill_with_line(std::span<std::uint32_t> LUT, double largest, random_source& random)
{
    const auto uniform = [&random] { return static_cast<double>(random() >> 11) * 0x1p-53; };
    const double last = static_cast<double>(LUT.size()) - 1;
    const double slope = std::exp2(4 * uniform() - 2) * largest / last;
    const double height = (0.5 * uniform() - 0.25) * largest;
    const double least = std::floor(0.02 * uniform() * largest);
    const double greatest = std::ceil((0.7 + 0.3 * uniform()) * largest);
    const double rounding = random() % 2 == 0 ? 0.5 : 0;
    for (std::size_t x = 0; x < LUT.size(); ++x) {
        const double value = std::floor(slope * static_cast<double>(x) + height + rounding);
        LUT[x] = static_cast<std::uint32_t>(std::clamp(value, least, greatest));
    }
}

// Now and then a curve, which is none, or a line with a knee, which is one for the darker samples.
void fill(std::span<std::uint32_t> LUT, double largest, random_source& random)
{
    fill_with_line(LUT, largest, random);
    const auto kind = random() % 8;
    if (kind == 1) {
        std::for_each(LUT.begin() + static_cast<std::ptrdiff_t>(LUT.size() / 4), LUT.end(),
                      [](std::uint32_t& entry) { entry /= 2; });
    }
    if (kind == 0) {
        const double last = static_cast<double>(LUT.size()) - 1;
        for (std::size_t x = 0; x < LUT.size(); ++x) {
            LUT[x] = static_cast<std::uint32_t>(std::lround(std::sqrt(static_cast<double>(x) / last) * largest));
        }
    }
}

TEST_F(lines, of_every_depth_slope_height_and_clip_but_for_one_entry)
{
    random_source random(11);
    pixel_harness harness(17 << 16);
    for (int depth = 4; depth <= 16; depth += depth == 14 ? 2 : 1) {
        const int output_depth = depth < 13 ? pick(random, 8, 12) : depth;
        const test_processor processor(depth, output_depth, random);
        const std::size_t entries = std::size_t{1} << depth;
        const std::size_t output_entries = std::size_t{1} << output_depth;
        const int rounds = depth < 13 ? 12 : depth == 14 ? 24 : 1;
        for (int round = 0; round < rounds; ++round) {
            combination choices = combination_at(pick(random, 0, combination_count - 1));
            for (std::size_t channel = 0; channel < 3; ++channel) {
                choices.input_LUT[channel] = random() % 4 != 0;
                choices.output_LUT[channel] = random() % 4 != 0;
                if (depth == 14) {
                    choices.shift[channel] = -1;
                }
                fill({processor.LUTs().input[channel], entries}, random() % 2 == 0 ? 65535 : 1023, random);
                fill({processor.LUTs().output[channel], output_entries}, random() % 2 == 0 ? 65535 : 255, random);
                const std::uint32_t others = round % 2 == 0 ? 3 : 0; // upper bits of input LUTs, which do not count
                std::for_each_n(processor.LUTs().input[channel], entries, [&](std::uint32_t& entry) {
                    entry |= (static_cast<std::uint32_t>(random()) & others) << 16;
                });
            }
            const std::size_t most_entries = std::max(entries, output_entries);
            const auto pixels = static_cast<std::int32_t>(16 * most_entries) + pick(random, 0, 200);
            pixel_case made = random_case(choices, processor.LUTs(), pixels, random);
            if (round % 3 != 0) { // dark at first: only later samples tell how far the LUTs go
                const std::size_t third = made.samples.size() / 3;
                for (std::size_t i = 0; i < (round % 3 == 1 ? 2 : 3) * third; ++i) {
                    const std::size_t most = i < third ? 2 : i < 2 * third ? entries / 4 : entries / 2;
                    made.samples[i] = static_cast<std::uint16_t>(made.samples[i] % most);
                }
            }
            ASSERT_TRUE(harness.run(processor, made));

            // One entry off, of any LUT; an output's by bits that shifts to the right may bring down.
            const std::size_t channel = random() % 3;
            std::uint32_t* const input = processor.LUTs().input[channel];
            std::uint32_t* const output = processor.LUTs().output[channel];
            for (std::uint32_t* const entry :
                 {input + entries - 1, input + random() % entries,
                  output + made.channels[channel].clamp_max % output_entries, output + random() % output_entries}) {
                const std::uint32_t before = *entry;
                *entry += std::uint32_t{1} << 16 * (random() % 2);
                ASSERT_TRUE(harness.run(processor, made)) << "with one entry off";
                *entry = before;
            }
        }
    }
}

TEST_F(lines, tables_are_shared_by_none_but_equals)
{
    random_source random(13);
    const test_processor processor(12, 10, random);
    const auto& [input_depth, output_depth, inputs, outputs] = processor.LUTs();
    pixel_harness harness(1 << 16);
    for (int number = 0; number < 120; ++number) {
        const int kind = number % 6;
        combination choices = combination_at(pick(random, 0, 35));
        choices.input_LUT.fill(kind == 1 || kind == 5 || random() % 2 == 0);
        choices.input_LUT[2] = choices.input_LUT[2] && kind != 5;
        choices.output_LUT = {true, true, true};
        choices.shift = {-1, -1, -1};
        pixel_case made = random_case(choices, processor.LUTs(), 60'000, random);
        made.channels.fill({5, 1000, -2});
        made.matrices = {kind == 5 || random() % 2 == 0 ? matrix_values{0.5F, 0, 0, 0, 0.5F, 0, 0, 0, 0.5F}
                                                        : matrix_values{0.1F, 0.05F, 0, 0.1F, 0, 0.1F, 0, 0.15F, 0.1F}};
        for (const std::size_t channel : {1U, 2U}) {
            std::copy_n(inputs[0], 4096, inputs[channel]);
            std::copy_n(outputs[0], 1024, outputs[channel]);
        }
        const std::size_t odd = random() % 3;
        switch (kind) {
        case 0:
            outputs[odd][pick(random, 5, 1000)] ^= 4;
            break;
        case 1:
            inputs[odd][pick(random, 0, 4095)] ^= 4;
            break;
        case 2:
            made.channels[odd].clamp_min = 300;
            break;
        case 3:
            made.channels[odd].clamp_max = 400;
            break;
        case 4:
            made.channels[odd].shift_distance = -3;
            break;
        default: // a channel without a LUT, and one whose samples end earlier
            for (std::int64_t pixel = 0; pixel < made.pixel_count; ++pixel) {
                const auto sample = [&](int channel) -> std::uint16_t& {
                    return made.samples[static_cast<std::size_t>(
                        reference_sample_index(choices.input_layout, made.pixel_count, 3, pixel, channel))];
                };
                sample(0) /= 2;
                sample(2) %= 4096;
            }
        }
        ASSERT_TRUE(harness.run(processor, made)) << "kind " << kind;
    }
}

} // namespace

} // namespace kx_test
