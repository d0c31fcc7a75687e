// Samples that change while a transform runs: here its output overlaps its input, ahead of the pixels that it reads.
#include "harness.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kx_test {

namespace {

constexpr int depth = 14;
constexpr std::int32_t pixels = (1 << 18) + 38; // enough for the vector modules to make tables of their own
constexpr std::size_t input_bytes = std::size_t{6} * pixels;
constexpr std::size_t offset = input_bytes / 2; // of the output, so that its first half meets samples yet to be read

class live_frame : public pixel_test {};

// The samples are small until the transform itself writes larger ones over them, which are within the LUTs all the
// same. Every LUT entry is one of two words, and a LUT leads to every output: any other byte comes from elsewhere.
TEST_F(live_frame, looks_up_nothing_but_entries_of_the_LUTs)
{
    random_source random(5);
    const test_processor processor(depth, depth, random);
    for (const auto& LUTs : {processor.LUTs().input, processor.LUTs().output}) {
        for (std::uint32_t* const LUT : LUTs) {
            std::generate_n(LUT, 1 << depth, [&random] { return random() % 2 == 0 ? 0x3C3CU : 0x3F3FU; });
        }
    }
    static constexpr struct {
        std::array<bool, 3> input_LUT, output_LUT;
    } mixtures[] = {
        {{true, true, true}, {false, false, false}},
        {{true, true, true}, {true, true, true}},
        {{true, true, true}, {false, true, false}},
        {{false, true, false}, {true, false, true}},
    };
    std::vector<std::uint16_t> small(input_bytes / 2);
    std::generate(small.begin(), small.end(), [&random] { return static_cast<std::uint16_t>(random() % 8000); });
    small.front() = 8300; // one channel's largest sample is not the others'
    pixel_case made;
    made.pixel_count = pixels;
    made.channels.fill({0, (1 << depth) - 1, 0});
    for (int number = 0; number < 36; number += KX_EXTENT_STEP) { // all layouts and outputs
        for (const auto& mixture : mixtures) {
            for (const matrix_values& matrix : {identity, matrix_values{0, 1, 0, 0, 1, 0, 0, 1, 0}}) {
                made.choices = combination_at(number);
                made.choices.input_LUT = mixture.input_LUT;
                made.choices.output_LUT = mixture.output_LUT;
                made.choices.shift = {};
                made.matrices = {matrix};
                const auto output_bytes = static_cast<std::size_t>(made.choices.bytes_per_pixel()) * pixels;
                const guarded_buffer buffer(std::max(input_bytes, offset + output_bytes));
                auto* const input = reinterpret_cast<std::uint16_t*>(buffer.begin());
                std::copy(small.begin(), small.end(), input);
                processor.configure(made);
                ASSERT_EQ(processor.transform(made, input, buffer.begin() + offset), KX_COLOR_SUCCESS);

                const std::uint8_t* const output = buffer.begin() + offset;
                const auto fourths = made.choices.fourth_sample ? static_cast<std::ptrdiff_t>(output_bytes / 4) : 0;
                ASSERT_EQ(std::count(output, output + output_bytes, 0), fourths) << describe(made);
                const auto found =
                    std::count(output, output + output_bytes, 0x3C) + std::count(output, output + output_bytes, 0x3F);
                ASSERT_EQ(found, static_cast<std::ptrdiff_t>(output_bytes) - fourths) << describe(made);
            }
        }
    }
}

} // namespace

} // namespace kx_test
