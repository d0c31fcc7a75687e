// Images of every layout at every place give the pixels that one call of the C function gives for plain buffers.
#include "cpp_interface/placed_image.h"

#include <gmock/gmock.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
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
        constexpr auto untouched = static_cast<Sample>(0xA5A5);
        const std::vector<std::uint16_t> pixels = noise(width * height * 3);
        std::vector<std::uint16_t> input;
        std::vector<Sample> output;
        for (const std::size_t channels : {std::size_t{3}, std::size_t{4}}) {
            const std::vector<Sample> expected = expected_of<Sample>(pixels, channels);
            const auto targets = placed_images(output, width, height, channels);
            for (const auto& from : placed_images(input, width, height, 3)) {
                from.for_each_sample([&](std::size_t place, std::size_t number) { input[place] = pixels[number]; });
                for (const auto& to : targets) {
                    std::vector<Sample> wanted(output.size(), untouched);
                    to.for_each_sample(
                        [&](std::size_t place, std::size_t number) { wanted[place] = expected[number]; });
                    std::fill(output.begin(), output.end(), untouched);
                    processor.transform(from.view, to.view, options);
                    ASSERT_TRUE(output == wanted) << width << ": to number " << &to - targets.data();
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
        const auto columns = static_cast<std::size_t>(width);
        const auto rows = static_cast<std::size_t>(height);
        const std::vector<std::uint16_t> pixels = noise(columns * rows * 3);
        std::vector<std::uint8_t> result(columns * rows * 4);
        const kc::image_view from(pixels.data(), bgr, columns, rows);
        const kc::image_view to(result.data(), bgr, columns, rows, 4);
        std::atomic<std::size_t> most{0};
        kc::for_each_band(from, 5, [&](std::size_t band, std::size_t count) {
            most = count;
            processor.transform(from.band(band, count), to.band(band, count), options);
        });
        EXPECT_TRUE(result == expected_of<std::uint8_t>(pixels, 4)) << width;
        EXPECT_EQ(most, width > 3 ? 5U : 1U);
    }
}

TEST_F(views_test, what_bands_throw_comes_when_all_have_ended)
{
    std::vector<std::uint16_t> samples(3'000'000);
    const kc::image_view image(samples.data(), bgr, 1'000, 1'000);
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
    for (const auto& image : {kc::image_view(samples, bgr, 1, 11), kc::image_view(samples, bgr, 11, 1)}) {
        for (const std::size_t count : {4U, 16U}) { // also more bands than rows
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

} // namespace

} // namespace kx_test
