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
// same. Every entry of an input LUT is one of two words, as is every one of an output LUT, and a LUT leads to every
// output: any other byte comes from elsewhere.
TEST_F(live_frame, looks_up_nothing_but_entries_of_the_LUTs)
{
    random_source random(5);
    const test_processor processor(depth, depth, random);
    const auto fill = [&random](const auto& LUTs, std::uint32_t one, std::uint32_t other) {
        for (std::uint32_t* const LUT : LUTs) {
            std::generate_n(LUT, 1 << depth, [&] { return random() % 2 == 0 ? one : other; });
        }
    };
    fill(processor.LUTs().input, 0x3C3C, 0x3F3F);
    fill(processor.LUTs().output, 0x3D3D, 0x3E3E);
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
                const auto count_of = [&](int byte) { return std::count(output, output + output_bytes, byte); };
                const auto channel_bytes = std::int64_t{pixels} * made.choices.output_bits / 8;
                const auto last_LUTs = std::count(mixture.output_LUT.begin(), mixture.output_LUT.end(), true);
                ASSERT_EQ(count_of(0), made.choices.fourth_sample ? channel_bytes : 0) << describe(made);
                ASSERT_EQ(count_of(0x3D) + count_of(0x3E), last_LUTs * channel_bytes) << describe(made);
                ASSERT_EQ(count_of(0x3C) + count_of(0x3F), (3 - last_LUTs) * channel_bytes) << describe(made);
            }
        }
    }
}

// The same where LUTs are lines as far as the samples go at first, and end there: samples grow soon after they were
// looked at. Beyond 8,191 the lines would lead out of the entries.
TEST_F(live_frame, lines_end_where_the_entries_do)
{
    random_source random(6);
    const test_processor processor(depth, depth, random);
    for (std::uint32_t* const LUT : processor.LUTs().input) {
        for (std::uint32_t x = 0; x < 1 << depth; ++x) {
            LUT[x] = x < 8192 ? 0x3C20 + x / 300 : 0x3C3F;
        }
    }
    pixel_case made;
    made.pixel_count = pixels;
    made.channels.fill({0, 0xFFFF, 0});
    made.matrices = {identity};
    for (int number = 0; number < 36; number += KX_EXTENT_STEP) {
        made.choices = combination_at(number);
        made.choices.input_LUT = {true, true, true};
        made.choices.output_LUT = {};
        made.choices.shift = {};
        const auto output_bytes = static_cast<std::size_t>(made.choices.bytes_per_pixel()) * pixels;
        constexpr std::size_t ahead = 6 * 1000;
        const guarded_buffer buffer(std::max(input_bytes, ahead + output_bytes));
        auto* const input = reinterpret_cast<std::uint16_t*>(buffer.begin());
        std::generate_n(input, input_bytes / 2, [&random] { return static_cast<std::uint16_t>(random() % 8192); });
        processor.configure(made);
        ASSERT_EQ(processor.transform(made, input, buffer.begin() + ahead), KX_COLOR_SUCCESS);

        const std::uint8_t* const output = buffer.begin() + ahead;
        const auto wrong = std::count_if(output, output + output_bytes,
                                         [](std::uint8_t byte) { return byte != 0 && (byte < 0x20 || byte > 0x3F); });
        ASSERT_EQ(wrong, 0) << describe(made);
    }
}

} // namespace

} // namespace kx_test
