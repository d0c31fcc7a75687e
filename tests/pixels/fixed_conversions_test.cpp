// All combinations on an image of their own each, made the same way everywhere: what comes out is the same bytes on
// every platform and at every vector level.
#include "harness.h"

#include <algorithm>
#include <vector>

namespace kx_test {

namespace {

// FNV-1a, 64 bits.
class hash {
public:
    void add(const std::vector<std::uint8_t>& bytes)
    {
        for (const std::uint8_t byte : bytes) {
            value_ = (value_ ^ byte) * 0x100000001B3;
        }
    }
    [[nodiscard]] std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_ = 0xCBF29CE484222325;
};

// Numbers from the generator itself: the standard leaves its distributions to each library.
class fixed_numbers {
public:
    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    std::uint16_t sample() { return static_cast<std::uint16_t>(random_()); }
    float element() { return static_cast<float>(below(4096) - 1024) / 2048.0F; }

private:
    random_source random_{2024};
};

class fixed_conversions : public pixel_test {};

TEST_F(fixed_conversions, give_these_bytes)
{
    random_source LUT_words(1);
    const test_processor processor(16, 16, LUT_words);
    fixed_numbers numbers;
    hash of_outputs;
    for (int number = 0; number < combination_count; ++number) {
        pixel_case made;
        made.choices = combination_at(number);
        made.pixel_count = 33 + numbers.below(32);
        made.matrices.resize(1);
        std::generate_n(made.matrices[0].begin(), 9, [&] { return numbers.element(); });
        for (std::size_t channel = 0; channel < 3; ++channel) {
            if (numbers.below(4) == 0) {
                made.channels[channel].clamp_min = numbers.sample() / 2;
                made.channels[channel].clamp_max = 65535 - numbers.sample() / 2;
            }
            made.channels[channel].shift_distance = made.choices.shift[channel] * (1 + numbers.below(15));
        }
        std::vector<std::uint16_t> input(3 * static_cast<std::size_t>(made.pixel_count));
        std::generate(input.begin(), input.end(), [&] { return numbers.sample(); });
        std::vector<std::uint8_t> output(static_cast<std::size_t>(made.pixel_count * made.choices.bytes_per_pixel()));

        processor.configure(made);
        ASSERT_EQ(processor.transform(made, input.data(), output.data()), KX_COLOR_SUCCESS);
        of_outputs.add(output);
    }
    EXPECT_EQ(of_outputs.value(), 7125886236390998724U);
}

} // namespace

} // namespace kx_test
