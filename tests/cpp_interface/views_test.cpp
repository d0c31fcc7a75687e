// Images of every layout at every place give the pixels that one call of the C function gives for plain buffers.
#include "cpp_interface/placed_image.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace kx_test {

namespace {

// Every setting differs from channel to channel, so that none can stand for another.
class views_test : public testing::Test {
protected:
    views_test()
    {
        options.clamp = {{100, 60'000}, {0, kc::no_limit}, {7, 40'000}};
        options.shift = {-2, 1, 3};
        processor.append_matrix({1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.1F, -0.5F, 1.5F});
        std::mt19937 random(1); // NOLINT(cert-msc51-cpp): the same in every run
        for (const kc::channel each : {kc::channel::blue, kc::channel::green, kc::channel::red}) {
            for (const kc::LUT_range LUT : {processor.input_LUT(each), processor.output_LUT(each)}) {
                std::generate(LUT.begin(), LUT.end(), std::ref(random));
            }
        }
        processor.enable_input_LUTs({true, false, false});
        processor.enable_output_LUTs({false, true, false});
    }

    template <typename Sample>
    std::vector<Sample> expected_of(const std::vector<std::uint16_t>& pixels, std::size_t channels) const
    {
        std::vector<Sample> result(pixels.size() / 3 * channels);
        const auto call = [&](auto* transform) {
            return transform(processor.handle(), pixels.data(), KX_COLOR_INTERLEAVED_BGR, 100, 60'000, 0, 4'095, 7,
                             40'000, -2, 1, 3, result.data(), KX_COLOR_INTERLEAVED_BGR,
                             static_cast<std::int32_t>(pixels.size() / 3));
        };
        if constexpr (sizeof(Sample) == 1) {
            EXPECT_EQ(call(channels == 4 ? kx_color_transform_48_to_32 : kx_color_transform_48_to_24), 0);
        } else {
            EXPECT_EQ(call(channels == 4 ? kx_color_transform_48_to_64 : kx_color_transform_48_to_48), 0);
        }
        return result;
    }

    template <typename Sample>
    void expect_right(std::size_t width, std::size_t height)
    {
        const std::vector<std::uint16_t> pixels = noise(width * height * 3);
        for (const std::size_t channels : {std::size_t{3}, std::size_t{4}}) {
            const std::vector<Sample> expected = expected_of<Sample>(pixels, channels);
            for (const kc::pixel_layout from : layouts) {
                for (const place from_place : places) {
                    const image_kind kind{from, from_place, width, height, 3};
                    placed_image<std::uint16_t> input(kind);
                    input.for_each_sample([&](std::uint16_t& sample, std::size_t n) { sample = pixels[n]; });
                    for (const kc::pixel_layout to : layouts) {
                        for (const place to_place : places) {
                            const image_kind result_kind{to, to_place, width, height, channels};
                            placed_image<Sample> output(result_kind);
                            processor.transform(input.view(), output.view(), options);
                            ASSERT_TRUE(output.holds_just(expected)) << kind << " to " << result_kind;
                        }
                    }
                }
            }
        }
    }

    static std::vector<std::uint16_t> noise(std::size_t samples)
    {
        std::vector<std::uint16_t> all(samples);
        std::mt19937 random(2); // NOLINT(cert-msc51-cpp): the same in every run
        std::generate(all.begin(), all.end(), [&] { return static_cast<std::uint16_t>(random()); });
        return all;
    }

    kc::library library;
    kc::processor processor{library, {16, 12, {}}};
    kc::transform_options options;
};

// Short rows, rows worth a call each, and rows longer than the buffers.
TEST_F(views_test, any_image_becomes_any_other)
{
    for (const auto& [width, height] : {std::pair{37, 7}, std::pair{37, 200}, std::pair{1100, 3}, std::pair{4500, 2}}) {
        expect_right<std::uint16_t>(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
        expect_right<std::uint8_t>(static_cast<std::size_t>(width), static_cast<std::size_t>(height));
    }
}

// Also of one row, and of images that are too small for threads.
TEST_F(views_test, bands_on_threads_share_one_processor)
{
    for (const auto& [width, height] : {std::pair{301, 311}, std::pair{90'000, 1}, std::pair{3, 3}}) {
        const image_kind kind{kc::pixel_layout::planar_bgr, place::in_a_larger_image, static_cast<std::size_t>(width),
                              static_cast<std::size_t>(height), 3};
        const std::vector<std::uint16_t> pixels = noise(kind.width * kind.height * 3);
        placed_image<std::uint16_t> input(kind);
        input.for_each_sample([&](std::uint16_t& sample, std::size_t n) { sample = pixels[n]; });
        placed_image<std::uint8_t> output({kind.layout, place::alone, kind.width, kind.height, 4});
        const kc::image_view<const std::uint16_t> from = input.view();
        const kc::image_view<std::uint8_t> to = output.view();
        std::atomic<std::size_t> most{0};
        kc::for_each_band(from, 5, [&](std::size_t band, std::size_t count) {
            most = count;
            processor.transform(from.band(band, count), to.band(band, count), options);
        });
        EXPECT_TRUE(output.holds_just(expected_of<std::uint8_t>(pixels, 4))) << width;
        EXPECT_EQ(most, width > 3 ? 5U : 1U);
    }
}

TEST_F(views_test, what_bands_throw_comes_when_all_have_ended)
{
    std::vector<std::uint16_t> samples(3'000'000);
    const kc::image_view image(samples.data(), kc::pixel_layout::interleaved_bgr, 1'000, 1'000);
    std::atomic<int> ended{0};
    const auto convert = [&] {
        kc::for_each_band(image, 4, [&](std::size_t band, std::size_t /*count*/) {
            ++ended;
            if (band > 1) {
                throw std::runtime_error(std::to_string(band));
            }
        });
    };
    EXPECT_THAT(convert, testing::ThrowsMessage<std::runtime_error>("2"));
    EXPECT_EQ(ended, 4);
}

TEST_F(views_test, bands_make_up_the_image)
{
    std::uint16_t samples[33];
    const struct {
        std::size_t width;
        std::size_t height;
    } sizes[] = {{1, 11}, {11, 1}};
    for (const auto& [width, height] : sizes) {
        const kc::image_view image(samples, kc::pixel_layout::interleaved_bgr, width, height);
        for (const std::size_t count : {1U, 3U, 4U, 16U}) { // also more bands than rows
            std::size_t done = 0;
            for (std::size_t band = 0; band < count; ++band) {
                const auto part = image.band(band, count);
                if (!part.empty()) {
                    EXPECT_EQ(part.at(0, 0, 0), samples + 3 * done);
                }
                const std::size_t pixels = part.width() * part.height();
                EXPECT_LE(pixels - 11 / count, 1U) << "bands differ by one row at most";
                done += pixels;
            }
            EXPECT_EQ(done, 11U);
        }
    }
}

// Frames behind a header of odd length.
TEST_F(views_test, samples_at_odd_addresses)
{
    const std::vector<std::uint16_t> pixels = noise(37 * 200 * 3);
    std::vector<unsigned char> memory(pixels.size() * 2 + 1);
    std::memcpy(memory.data() + 1, pixels.data(), pixels.size() * 2);
    std::vector<std::uint16_t> result(pixels.size());
    processor.transform(kc::image_view(reinterpret_cast<const std::uint16_t*>(memory.data() + 1),
                                       kc::pixel_layout::interleaved_bgr, 37, 200),
                        kc::image_view(result.data(), kc::pixel_layout::interleaved_bgr, 37, 200), options);
    EXPECT_EQ(result, expected_of<std::uint16_t>(pixels, 3));
}

} // namespace

} // namespace kx_test
