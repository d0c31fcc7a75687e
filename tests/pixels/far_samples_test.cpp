// Images in which the vector modules come upon samples beyond 2^31. Of memory they take little: the same few pages are
// mapped again and again.
#include "harness.h"

#include "reference.h"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <system_error>

namespace kx_test {

namespace {

constexpr std::int32_t period = 1 << 16;                    // pixels
constexpr std::int32_t interleaved_pixels = 10923 * period; // three times as many samples just do not fit 31 bits
constexpr std::int32_t planar_pixels = 16385 * period;      // the third plane begins beyond 2^31
constexpr std::size_t guard_bytes = std::size_t{16} * planar_pixels;

void* checked(void* memory)
{
    if (memory == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mapping");
    }
    return memory;
}

// One piece of memory over and over, between ranges that can be neither read nor written.
class repeated_memory {
public:
    repeated_memory(std::size_t piece_bytes, std::int32_t repetitions)
        : size_(piece_bytes * static_cast<std::size_t>(repetitions) + 2 * guard_bytes),
          mapping_(static_cast<char*>(
              checked(mmap(nullptr, size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))))
    {
        const int file = memfd_create("piece", 0);
        if (file < 0 || ftruncate(file, static_cast<off_t>(piece_bytes)) != 0) {
            throw std::system_error(errno, std::generic_category(), "memory file");
        }
        for (char* piece = begin(); piece < mapping_ + size_ - guard_bytes; piece += piece_bytes) {
            checked(mmap(piece, piece_bytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0));
        }
        close(file);
    }
    ~repeated_memory() { munmap(mapping_, size_); }
    repeated_memory(const repeated_memory&) = delete;
    repeated_memory& operator=(const repeated_memory&) = delete;

    [[nodiscard]] char* begin() const { return mapping_ + guard_bytes; }

private:
    std::size_t size_;
    char* mapping_;
};

class far_samples : public pixel_test {};

TEST_F(far_samples, are_reached)
{
    random_source random(8);
    const test_processor processor(16, 16, random);
    const repeated_memory input(6 * std::size_t{period}, planar_pixels / period);
    auto* const samples = reinterpret_cast<std::uint16_t*>(input.begin());
    std::generate_n(samples, 3 * period, [&random] { return static_cast<std::uint16_t>(random()); });

    // Together they load from all layouts and store three and four samples a pixel, and look samples up: in the LUT,
    // and in a table of two LUTs.
    static constexpr struct {
        int output_bits;
        std::int32_t input_layout, output_layout;
        bool fourth_sample, input_LUT, output_LUT;
    } conversions[] = {{16, 1, 2, true, false, false}, {16, 2, 1, false, false, false}, {8, 1, 2, false, true, false},
                       {16, 1, 1, false, true, true},  {8, 0, 1, true, false, false},   {8, 2, 0, true, false, false}};
    for (const auto& [output_bits, input_layout, output_layout, fourth_sample, input_LUT, output_LUT] : conversions) {
        const std::int32_t pixels = input_layout == 0 ? planar_pixels : interleaved_pixels;
        pixel_case made;
        made.choices.output_bits = output_bits;
        made.choices.input_layout = input_layout;
        made.choices.output_layout = output_layout;
        made.choices.fourth_sample = fourth_sample;
        made.choices.input_LUT.fill(input_LUT);
        made.choices.output_LUT.fill(output_LUT);
        made.pixel_count = pixels;
        processor.configure(made);
        const repeated_memory output(period * static_cast<std::size_t>(made.choices.bytes_per_pixel()),
                                     pixels / period);
        ASSERT_EQ(processor.transform(made, samples, output.begin()), KX_COLOR_SUCCESS);

        if (output_layout == 0) {
            continue; // planes overwrite each other here: that they were reached must do
        }
        const int step = made.choices.samples_per_pixel();
        const auto* const words = reinterpret_cast<const std::uint16_t*>(output.begin());
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(output.begin());
        for (std::int64_t pixel = pixels - period; pixel < pixels; ++pixel) {
            for (int channel = 0; channel < 3; ++channel) {
                const auto from = reference_sample_index(input_layout, pixels, 3, pixel, channel) % (3 * period);
                const auto to =
                    reference_sample_index(output_layout, pixels, step, pixel, channel) % (std::int64_t{step} * period);
                const int found = output_bits == 8 ? int{bytes[to]} : int{words[to]};
                const auto looked_up = [channel](bool enabled, const auto& LUTs, std::uint32_t value) {
                    return enabled ? LUTs.at(static_cast<std::size_t>(channel))[value % (1U << 16)] : value;
                };
                const std::uint32_t value = looked_up(output_LUT, processor.LUTs().output,
                                                      looked_up(input_LUT, processor.LUTs().input, samples[from]));
                ASSERT_EQ(found, static_cast<int>(value % (1U << output_bits)))
                    << describe(made) << "\n  pixel " << pixel;
            }
        }
    }
}

} // namespace

} // namespace kx_test
