// What is refused, by whom, and that nothing has been written by then.
#include "cpp_interface/placed_image.h"
#include "korvex_kvi_color_processing.hpp"

#include <gmock/gmock.h>

#include <functional>
#include <limits>
#include <utility>
#include <vector>

namespace kx_test {

namespace {

namespace kc = korvex::color;
using testing::HasSubstr;
using testing::ThrowsMessage;

using view_16 = kc::image_view<std::uint16_t>;
constexpr auto planar = kc::pixel_layout::planar_bgr;
constexpr std::size_t huge = std::numeric_limits<std::size_t>::max();

TEST(views, those_that_cannot_be_are_refused)
{
    std::uint16_t samples[500];
    const struct {
        const char* reason;
        std::function<view_16()> make;
    } cases[] = {
        {"null", [&] { return view_16(nullptr, bgr, 1, 1); }},
        {"null", [&] { return view_16(samples, nullptr, samples, 1, 1); }},
        {"3 or 4 channels", [&] { return view_16(samples, bgr, 4, 4, 2); }},
        {"layout", [&] { return view_16(samples, kc::pixel_layout{3}, 4, 4); }},
        {"overlap", [&] { return view_16(samples, bgr, 4, 4, 3, -22); }},
        {"overlap", [&] { return view_16(samples, planar, 4, 4, 3, 8, 30); }},
        {"overlap", [&] { return view_16(samples, planar, 4, 4, 4, 24, 8); }},
        {"overlap", [&] { return view_16(samples, samples + 100, samples + 115, 4, 4); }},
        {"overlap", [&] { return view_16(samples, samples + 100, samples + 200, 4, 4, 6); }},
        {"too large", [&] { return view_16(samples, bgr, huge / 6 + 1, 1); }},
        {"too large", [&] { return view_16(samples, bgr, 1, huge, 3, PTRDIFF_MIN); }},
        {"too large", [&] { return view_16(samples, planar, 1, 1, 3, 2, PTRDIFF_MAX); }},
    };
    for (const auto& [reason, make] : cases) {
        EXPECT_THAT(make, ThrowsMessage<std::invalid_argument>(HasSubstr(reason)));
    }
    // The nearest that can be; what is only read may repeat itself.
    EXPECT_EQ(view_16(nullptr, bgr, 0, 4, 3, 24).rows(3, 1).at(0, 0, 0), nullptr);
    EXPECT_NO_THROW(view_16(samples, planar, 4, 4, 3, 24, 8));
    EXPECT_NO_THROW(view_16(samples, samples + 4, samples + 8, 4, 4, 24));
    EXPECT_NO_THROW(kc::image_view<const std::uint16_t>(samples, kc::channel_order::rgb, 4, 4, 3, {0, 0, 0}));
}

TEST(views, parts_outside_of_the_image_are_refused)
{
    std::uint16_t samples[60];
    const kc::image_view image(samples, bgr, 5, 4);
    EXPECT_THROW((void)image.rectangle(3, 0, 3, 1), std::out_of_range);
    EXPECT_THROW((void)image.rectangle(3, 0, huge, 1), std::out_of_range);
    EXPECT_THROW((void)image.rows(2, 3), std::out_of_range);
    EXPECT_THROW((void)image.rows(2, huge), std::out_of_range);
    EXPECT_THROW((void)image.band(3, 3), std::out_of_range);
}

class refusals_test : public testing::Test {
protected:
    [[nodiscard]] kc::image_view<const std::uint16_t> from() const { return {input.data(), bgr, 5, 4}; }
    kc::image_view<std::uint16_t> to() { return {output.data(), bgr, 5, 4}; }
    [[nodiscard]] bool nothing_was_written() const { return output == std::vector<std::uint16_t>(60, 7); }

    kc::library library;
    kc::processor processor{library, {8, 8, {}}};
    std::vector<std::uint16_t> input = std::vector<std::uint16_t>(80, 7);
    std::vector<std::uint16_t> output = std::vector<std::uint16_t>(60, 7);
};

TEST_F(refusals_test, images_that_do_not_fit_together)
{
    for (const view_16& image : {view_16(input.data(), bgr, 5, 4, 4), view_16(input.data(), bgr, 6, 4),
                                 view_16(input.data(), bgr, 5, 3), view_16()}) {
        EXPECT_THROW(processor.transform(image, to()), std::invalid_argument);
    }
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(refusals_test, images_that_overlap)
{
    std::vector<std::uint16_t> memory(1'000, 7);
    std::uint16_t* const start = memory.data();
    const auto at = [&](std::size_t offset) { return view_16(start + offset, bgr, 5, 4); };
    const auto with_shifted_planes = [&](std::size_t offset) { // the second plane's rows begin amid the first's
        return view_16(start + offset, planar, 5, 4, 3, 20, 90);
    };
    const auto every_second_column = [&](std::size_t column) {
        return view_16(start + 3 * column, kc::channel_order::bgr, 5, 4, 3, {120, 12, 2});
    };
    const view_16 wide(start, bgr, 20, 4);
    const view_16 left = wide.rectangle(0, 0, 5, 4);
    const std::pair<view_16, view_16> overlapping[] = {
        {at(59), at(0)},
        {left, wide.rectangle(4, 0, 5, 4)},
        {wide.rectangle(4, 0, 5, 4), left},
        {wide.rectangle(17, 0, 3, 3), {start + 55, bgr, 3, 3, 3, 120}}, // begins a row's end and ends in the next row
        {{start, bgr, 5, 4, 3, 60}, {start + 15, bgr, 5, 4, 3, 90}},    // apart at first
        {with_shifted_planes(0), with_shifted_planes(45)},
        {every_second_column(0), every_second_column(2)},
        {at(59), {start + 105, bgr, 5, 4, 3, -30}}, // bottom up
        {{start, bgr, 1, 1}, {start, bgr, 1, 1}},   // without strides that say anything
    };
    for (const auto& [from, to] : overlapping) {
        EXPECT_THROW(processor.transform(from, to), std::invalid_argument);
    }
    EXPECT_EQ(memory, std::vector<std::uint16_t>(1'000, 7));
    const std::pair<view_16, view_16> apart[] = {
        {at(0), at(60)},
        {at(60), at(0)},
        {left, wide.rectangle(5, 0, 5, 4)},
        {wide.rectangle(5, 0, 5, 4), left},
        {with_shifted_planes(0), with_shifted_planes(5)},
        {every_second_column(0), every_second_column(1)},
    };
    for (const auto& [from, to] : apart) {
        EXPECT_NO_THROW(processor.transform(from, to));
    }
    const kc::image_view bytes(reinterpret_cast<std::uint8_t*>(start), bgr, 5, 4, 3, 46);
    EXPECT_NO_THROW(processor.transform(view_16(start + 8, bgr, 5, 4, 3, 46), bytes));
}

TEST_F(refusals_test, options_out_of_range)
{
    for (const kc::processor_options& options : {kc::processor_options{17, 8, {}}, kc::processor_options{8, -1, {}}}) {
        EXPECT_THAT([&] { kc::processor(library, options); }, ThrowsMessage<kc::error>(HasSubstr("bit depth")));
    }
    kc::transform_options options;
    options.clamp = {0, 256};
    EXPECT_NO_THROW(processor.transform(from(), to(), options));
    processor.enable_output_LUTs({false, true, false});
    EXPECT_NO_THROW(processor.transform(from(), to())); // the default ends where the LUT does
    output.assign(60, 7);
    EXPECT_THAT([&] { processor.transform(from(), to(), options); },
                ThrowsMessage<kc::error>(HasSubstr("beyond the channel's enabled output LUT")));
    EXPECT_TRUE(nothing_was_written());
}

TEST_F(refusals_test, samples_beyond_an_enabled_input_LUT)
{
    kc::transform_options options;
    options.check_samples = true;
    input[57] = 256; // the last row's last blue one
    processor.enable_input_LUTs({false, true, true});
    EXPECT_NO_THROW(processor.check_samples(from()));
    processor.enable_input_LUTs({true, false, false});
    EXPECT_THAT([&] { processor.transform(from(), to(), options); },
                ThrowsMessage<std::invalid_argument>(HasSubstr("a blue sample of 256 in row 3")));
    EXPECT_TRUE(nothing_was_written());
    input[57] = 255;
    EXPECT_NO_THROW(processor.check_samples(from()));
}

} // namespace

} // namespace kx_test
