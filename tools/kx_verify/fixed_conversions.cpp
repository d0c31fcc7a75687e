#include "fixed_conversions.h"

#include "conversion.h"
#include "reference.h"

#include <algorithm>
#include <chrono>
#include <random>

namespace kx::verify {

namespace {

namespace kc = korvex::color;

std::uint64_t hash_of(const std::vector<std::uint8_t>& bytes, std::uint64_t so_far)
{
    for (const std::uint8_t byte : bytes) {
        so_far = (so_far ^ byte) * 0x100000001B3;
    }
    return so_far;
}

// Numbers from the generator itself: the standard leaves its distributions to each library.
class fixed_numbers {
public:
    int below(int limit) { return static_cast<int>(random_() % static_cast<unsigned>(limit)); }
    std::uint16_t sample() { return static_cast<std::uint16_t>(random_()); }
    float element() { return static_cast<float>(below(4096) - 1024) / 2048.0F; }

private:
    std::mt19937_64 random_{2024};
};

LUT_set filled_LUTs(kc::processor& processor)
{
    std::mt19937_64 random(1);
    LUT_set LUTs{16, 16, {}, {}};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const auto fill = [&](const kc::LUT_range& LUT) {
            std::generate(LUT.begin(), LUT.end(), [&random] { return static_cast<std::uint32_t>(random()); });
            return LUT.data();
        };
        LUTs.input[channel] = fill(processor.input_LUT(static_cast<kc::channel>(channel)));
        LUTs.output[channel] = fill(processor.output_LUT(static_cast<kc::channel>(channel)));
    }
    return LUTs;
}

conversion next_conversion(int number, fixed_numbers& numbers)
{
    conversion made;
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
    made.samples.resize(3 * static_cast<std::size_t>(made.pixel_count));
    std::generate(made.samples.begin(), made.samples.end(), [&] { return numbers.sample(); });
    return made;
}

template <typename Sample>
void transform(const kc::processor& processor, const conversion& wanted, std::uint8_t* output)
{
    const combination& choices = wanted.choices;
    const auto width = static_cast<std::size_t>(wanted.pixel_count);
    kc::transform_options options;
    for (std::size_t c = 0; c < 3; ++c) {
        const auto channel = static_cast<kc::channel>(c);
        options.clamp[channel] = {wanted.channels[c].clamp_min, wanted.channels[c].clamp_max};
        options.shift[channel] = wanted.channels[c].shift_distance;
    }
    processor.transform(
        kc::image_view<const std::uint16_t>(wanted.samples.data(), static_cast<kc::pixel_layout>(choices.input_layout),
                                            width, 1),
        kc::image_view<Sample>(reinterpret_cast<Sample*>(output), static_cast<kc::pixel_layout>(choices.output_layout),
                               width, 1, choices.samples_per_pixel()),
        options);
}

void configure(kc::processor& processor, const conversion& wanted)
{
    const auto& in = wanted.choices.input_LUT;
    const auto& out = wanted.choices.output_LUT;
    processor.clear_matrix();
    processor.append_matrix(wanted.matrices[0]);
    processor.enable_input_LUTs({in[0], in[1], in[2]});
    processor.enable_output_LUTs({out[0], out[1], out[2]});
}

} // namespace

outcome run_fixed_conversions(kc::processor& processor)
{
    const LUT_set LUTs = filled_LUTs(processor);
    fixed_numbers numbers;
    outcome all;
    all.hash = 0xCBF29CE484222325;
    for (int number = 0; number < combination_count; ++number) {
        const conversion wanted = next_conversion(number, numbers);
        const std::size_t bytes =
            wanted.samples.size() / 3 * static_cast<std::size_t>(wanted.choices.bytes_per_pixel());
        std::vector<std::uint8_t> output(bytes);
        std::vector<std::uint8_t> expected(bytes);
        configure(processor, wanted);

        const auto start = std::chrono::steady_clock::now();
        if (wanted.choices.output_bits == 8) {
            transform<std::uint8_t>(processor, wanted, output.data());
        } else {
            transform<std::uint16_t>(processor, wanted, output.data());
        }
        all.seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

        all.hash = hash_of(output, all.hash);
        reference_convert(wanted, LUTs, expected.data());
        if (output != expected && ++all.differing == 1) {
            const auto [right, wrong] = std::mismatch(expected.begin(), expected.end(), output.begin());
            all.first_difference = "byte " + std::to_string(wrong - output.begin()) + " is " + std::to_string(*wrong)
                                   + ", should be " + std::to_string(*right) + "\n  " + describe(wanted);
        }
    }
    return all;
}

} // namespace kx::verify
