// What a vector module sees of a transform, and what the scalar kernels convert after it.
#include "frame/frame_test.h"
#include "support/guarded_buffer.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <system_error>

namespace kx_test {

namespace {

class vector_hand_off : public initialized_test {
protected:
    // Converts between planes, and between interleaved pixels. Looks at the last of them only, so that the largest
    // image takes a few pages.
    void expect_rest(std::int32_t level, std::int32_t pixel_count, std::uint32_t returned)
    {
        SCOPED_TRACE(testing::Message() << "level " << level << ", " << returned << " of " << pixel_count);
        recorder.vector[level == 2 ? standins::avx2 : standins::sse].first_unconverted = returned;
        kx_color_processor* const processor = create(level);
        const std::size_t pixels = pixel_count > 0 ? static_cast<std::size_t>(pixel_count) : 0;
        const std::size_t first_looked_at = pixels - std::min<std::size_t>(pixels, 7);
        const guarded_buffer input(6 * pixels);
        const guarded_buffer output(8 * pixels);
        transform_request request;
        request.pixel_count = pixel_count;
        auto* const samples = reinterpret_cast<std::uint16_t*>(input.end() - 6 * pixels);
        request.input = samples;
        for (const std::int32_t format : {-1, 1}) {
            request.input_format = request.output_format = format;
            // Calls `look_at` with every sample's index and value; of the fourth channel that is 0.
            const auto for_each_sample = [&](std::size_t channels, const auto& look_at) {
                for (std::size_t pixel = first_looked_at; pixel < pixels; ++pixel) {
                    for (std::size_t channel = 0; channel < channels; ++channel) {
                        const std::size_t value = 0x0111 * (pixel - first_looked_at + 1) + 0x1003 * channel;
                        look_at(format < 0 ? channel * pixels + pixel : pixel * channels + channel,
                                static_cast<std::uint16_t>(channel == 3 ? 0 : value), pixel < returned);
                    }
                }
            };
            for_each_sample(3, [&](std::size_t index, std::uint16_t value, bool) { samples[index] = value; });
            for (const transform_export& tested : transform_exports) {
                SCOPED_TRACE(testing::Message() << tested.timer_name << ", format " << format);
                const std::size_t bytes = tested.sample_bytes;
                std::uint8_t* const image = output.end() - bytes * tested.samples_per_pixel * pixels;
                request.output = image;
                for_each_sample(tested.samples_per_pixel, [&](std::size_t index, std::uint16_t, bool) {
                    std::memset(image + bytes * index, small_image::untouched, bytes);
                });
                EXPECT_EQ(tested.call(kx, processor, request), 0);
                for_each_sample(tested.samples_per_pixel, [&](std::size_t index, std::uint16_t value, bool converted) {
                    const std::uint16_t expected = converted ? 0x0101 * small_image::untouched : value;
                    EXPECT_EQ(std::memcmp(image + bytes * index, &expected, bytes), 0) << "sample " << index;
                });
            }
        }
        destroy_all();
    }
};

// Bracketed by the test's own measurement, so that no speed matters.
TEST_F(vector_hand_off, timing_covers_the_vector_module)
{
    using namespace std::chrono;
    kx_color_processor* const processor = create(1);
    recorder.vector[standins::sse].transform_takes = milliseconds(3);
    small_image image(3);
    for (const transform_export& tested : transform_exports) {
        recorder.events.clear();
        const auto start = steady_clock::now();
        tested.call(kx, processor, image.request());
        const duration<double, std::micro> at_most = steady_clock::now() - start;
        const std::string& line = recorder.events.back();
        const double reported = std::stod(line.substr(line.find(" takes ") + 7));
        EXPECT_GE(reported, 3000.0);
        EXPECT_LE(reported, at_most.count());
    }
}

TEST_F(vector_hand_off, kernels_convert_exactly_the_rest)
{
    for (const std::int32_t pixel_count : {7, 0, -1, INT32_MIN}) {
        expect_rest(0, pixel_count, 0);
        for (const std::uint32_t returned : {0U, 1U, 3U, 6U, 7U, 8U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            expect_rest(1, pixel_count, returned);
            expect_rest(2, pixel_count, returned);
        }
    }
}

TEST_F(vector_hand_off, samples_may_lie_beyond_32_bits)
{
    try {
        expect_rest(2, INT32_MAX, INT32_MAX - 5);
    } catch (const std::system_error& refused) {
        GTEST_SKIP() << "no address space for the largest image: " << refused.what();
    }
}

} // namespace

} // namespace kx_test
