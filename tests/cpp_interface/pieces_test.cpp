// In how many calls the library gets an image: seen by a stand-in for its transform.
#include "korvex_kvi_color_processing.hpp"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

namespace kc = korvex::color;

struct call {
    const std::uint16_t* from;
    const std::uint8_t* to;
    std::int32_t pixels;
};

std::vector<call> calls;

class pieces_test : public testing::Test {
protected:
    pieces_test() { calls.clear(); }

    static kc::function_table functions()
    {
        kc::function_table table = kc::function_table::linked();
        table.kx_color_transform_48_to_24 =
            [](kx_color_processor* /*processor*/, const std::uint16_t* from, std::int32_t /*format*/, std::uint16_t,
               std::uint16_t, std::uint16_t, std::uint16_t, std::uint16_t, std::uint16_t, std::int32_t, std::int32_t,
               std::int32_t, std::uint8_t* to, std::int32_t /*format*/, std::int32_t pixels) {
                calls.push_back({from, to, pixels});
                return KX_COLOR_SUCCESS;
            };
        return table;
    }

    kc::processor processor{kc::library(functions())};
    std::vector<std::uint16_t> input = std::vector<std::uint16_t>(60'000);
    std::vector<std::uint8_t> output = std::vector<std::uint8_t>(60'000);
};

// Also those of an image that lies bottom up.
TEST_F(pieces_test, long_rows_take_a_call_each_where_they_are)
{
    const kc::image_view from(input.data() + 4 * 6'005, kc::pixel_layout::interleaved_bgr, 2'000, 5, 3, -12'010);
    const kc::image_view to(output.data(), kc::pixel_layout::interleaved_bgr, 2'000, 5);
    processor.transform(from, to);
    ASSERT_EQ(calls.size(), 5U);
    for (std::size_t y = 0; y < 5; ++y) {
        EXPECT_EQ(calls[y].from, input.data() + 6'005 * (4 - y));
        EXPECT_EQ(calls[y].to, output.data() + 6'000 * y);
        EXPECT_EQ(calls[y].pixels, 2'000);
    }
}

// Millions of calls would take longer than copying.
TEST_F(pieces_test, short_rows_are_gathered)
{
    const kc::image_view from(input.data(), kc::pixel_layout::interleaved_bgr, 10, 1'000);
    const kc::image_view to(output.data(), kc::pixel_layout::interleaved_bgr, 10, 1'000);
    processor.transform(from.rectangle(1, 0, 8, 1'000), to.rectangle(1, 0, 8, 1'000));
    EXPECT_LE(calls.size(), 8U);
}

TEST_F(pieces_test, images_with_more_pixels_than_a_call_takes_are_split)
{
    using size = std::pair<std::size_t, std::size_t>;
    // There is no memory behind these views, and nothing looks for any.
    auto* const start = reinterpret_cast<std::uint16_t*>(std::uintptr_t{1} << 40U); // NOLINT(performance-no-int-to-ptr)
    auto* const result = reinterpret_cast<std::uint8_t*>(std::uintptr_t{1} << 41U); // NOLINT(performance-no-int-to-ptr)
    for (const auto& [width, height] : {size{70'000, 40'000}, size{5'000'000'000, 2}, size{1, 5'000'000'000}}) {
        calls.clear();
        processor.transform(kc::image_view(start, kc::pixel_layout::interleaved_bgr, width, height),
                            kc::image_view(result, kc::pixel_layout::interleaved_rgb, width, height));
        std::size_t done = 0;
        for (const call& each : calls) {
            ASSERT_EQ(each.from, start + 3 * done);
            ASSERT_EQ(each.to, result + 3 * done);
            ASSERT_GT(each.pixels, 0);
            done += static_cast<std::size_t>(each.pixels);
        }
        EXPECT_EQ(done, width * height);
        EXPECT_LE(calls.size(), 6U);
    }
}

TEST_F(pieces_test, images_without_pixels_take_none)
{
    processor.transform(kc::image_view<const std::uint16_t>(), kc::image_view<std::uint8_t>());
    const kc::image_view from(input.data(), kc::pixel_layout::planar_bgr, 10, 10);
    const kc::image_view to(output.data(), kc::pixel_layout::planar_bgr, 10, 10);
    processor.transform(from.rectangle(10, 10, 0, 0), to.rectangle(4, 0, 0, 0));
    EXPECT_TRUE(calls.empty());
}

} // namespace
