// What is refused, by whom, and that nothing has been written by then.
#include "cpp_interface/placed_image.h"

#include <gmock/gmock.h>

#include <functional>
#include <limits>

namespace kx_test {

namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

constexpr auto bgr = kc::pixel_layout::interleaved_bgr;
constexpr auto planar = kc::pixel_layout::planar_bgr;
constexpr std::size_t huge = std::numeric_limits<std::size_t>::max();

TEST(views, those_that_cannot_be_are_refused)
{
    std::uint16_t samples[500];
    using view_16 = kc::image_view<std::uint16_t>;
    const struct {
        const char* reason;
        std::function<view_16()> make;
    } cases[] = {
        {"null", [&] { return view_16(nullptr, bgr, 1, 1); }},
        {"null", [&] { return view_16(samples, nullptr, samples, 1, 1); }},
        {"3 or 4 channels", [&] { return view_16(samples, bgr, 4, 4, 2); }},
        {"layout", [&] { return view_16(samples, kc::pixel_layout{3}, 4, 4); }},
        {"overlap", [&] { return view_16(samples, bgr, 4, 4, 3, 22); }},
        {"overlap", [&] { return view_16(samples, bgr, 4, 4, 3, -22); }},
        {"overlap", [&] { return view_16(samples, planar, 4, 4, 3, 8, 30); }},
        {"overlap", [&] { return view_16(samples, planar, 4, 4, 4, 24, 8); }},
        {"overlap",
         [&] {
             return view_16(samples, kc::channel_order::rgb, 4, 4, 3, {24, -4, 2});
         }},
        {"overlap", [&] { return view_16(samples, samples + 100, samples + 115, 4, 4); }},
        {"overlap", [&] { return view_16(samples, samples + 100, samples + 200, 4, 4, 6); }},
        {"too large", [&] { return view_16(samples, bgr, huge / 6 + 1, 1); }},
        {"too large", [&] { return view_16(samples, bgr, 1'000'000'000, 10'000'000'000); }},
        {"too large", [&] { return view_16(samples, bgr, 1, huge, 3, PTRDIFF_MIN); }},
        {"too large", [&] { return view_16(samples, planar, 1, 1, 3, 2, PTRDIFF_MAX); }},
    };
    for (const auto& [reason, make] : cases) {
        EXPECT_THAT(make, ThrowsMessage<std::invalid_argument>(HasSubstr(reason)));
    }
    // The nearest that can be; what is only read may repeat itself.
    EXPECT_EQ(view_16(nullptr, bgr, 0, 4, 3, 24).rows(3, 1).at(0, 0, 0), nullptr);
    EXPECT_NO_THROW(view_16(samples, bgr, 4, 4, 3, 24));
    EXPECT_NO_THROW(view_16(samples, planar, 4, 4, 3, 24, 8));
    EXPECT_NO_THROW(view_16(samples, samples + 4, samples + 8, 4, 4, 24));
    EXPECT_NO_THROW(kc::image_view<const std::uint16_t>(samples, kc::channel_order::rgb, 4, 4, 3, {0, 0, 0}));
}

TEST(views, parts_outside_of_the_image_are_refused)
{
    std::uint16_t samples[60];
    const kc::image_view image(samples, bgr, 5, 4);
    const std::function<void()> cases[] = {
        [&] { (void)image.rectangle(3, 0, 3, 1); },
        [&] { (void)image.rectangle(3, 0, huge, 1); },
        [&] { (void)image.rows(2, 3); },
        [&] { (void)image.rows(2, huge); },
        [&] { (void)image.band(3, 3); },
        [&] { (void)image.band(0, 0); },
    };
    for (const auto& make : cases) {
        EXPECT_THROW(make(), std::out_of_range);
    }
}

class refusals_test : public testing::Test {
protected:
    kc::library library;
    kc::processor processor{library, {8, 8, {}}};
    placed_image<std::uint16_t> input{{bgr, place::alone, 5, 4, 3}};
    placed_image<std::uint16_t> output{{bgr, place::alone, 5, 4, 3}};
};

TEST_F(refusals_test, images_that_do_not_fit_together)
{
    const auto to = output.view();
    placed_image<std::uint16_t> with_fourth({bgr, place::alone, 5, 4, 4});
    placed_image<std::uint16_t> wider({bgr, place::alone, 6, 4, 3});
    placed_image<std::uint16_t> lower({bgr, place::alone, 5, 3, 3});
    EXPECT_THROW(processor.transform(with_fourth.view(), to), std::invalid_argument);
    EXPECT_THROW(processor.transform(wider.view(), to), std::invalid_argument);
    EXPECT_THROW(processor.transform(lower.view(), to), std::invalid_argument);
    EXPECT_THROW(processor.transform(kc::image_view<const std::uint16_t>(), to), std::invalid_argument);
    EXPECT_TRUE(output.is_untouched());
}

TEST_F(refusals_test, images_that_overlap)
{
    std::vector<std::uint16_t> memory(1'000, 7);
    const auto at = [&](std::size_t offset, kc::pixel_layout layout = bgr) {
        return kc::image_view(memory.data() + offset, layout, 5, 4);
    };
    const kc::image_view bytes(reinterpret_cast<std::uint8_t*>(memory.data() + 59), bgr, 5, 4);
    const kc::image_view wide(memory.data(), bgr, 20, 4);
    EXPECT_THROW(processor.transform(at(0), at(0)), std::invalid_argument);
    EXPECT_THROW(processor.transform(at(0), at(59)), std::invalid_argument);
    EXPECT_THROW(processor.transform(at(59), at(0)), std::invalid_argument);
    EXPECT_THROW(processor.transform(at(0, planar), at(59, planar)), std::invalid_argument);
    EXPECT_THROW(processor.transform(at(0), bytes), std::invalid_argument);
    EXPECT_THROW(processor.transform(wide.rectangle(0, 0, 5, 4), wide.rectangle(4, 0, 5, 4)), std::invalid_argument);
    EXPECT_THROW(processor.transform(wide.rectangle(4, 0, 5, 4), wide.rectangle(0, 0, 5, 4)), std::invalid_argument);
    EXPECT_THROW(
        processor.transform(wide.rectangle(17, 0, 3, 3), kc::image_view(memory.data() + 55, bgr, 3, 3, 3, 120)),
        std::invalid_argument); // which begins a row's end and ends in the next row
    EXPECT_THROW(processor.transform(kc::image_view(memory.data(), bgr, 5, 4, 3, 60),
                                     kc::image_view(memory.data() + 15, bgr, 5, 4, 3, 90)), // apart at first
                 std::invalid_argument);
    const auto with_shifted_planes = [&](std::size_t offset) { // the second plane's rows begin amid the first's
        return kc::image_view(memory.data() + offset, planar, 5, 4, 3, 20, 90);
    };
    EXPECT_THROW(processor.transform(with_shifted_planes(0), with_shifted_planes(45)), std::invalid_argument);
    const auto every_second_column = [&](std::size_t column) {
        return kc::image_view(memory.data() + 3 * column, kc::channel_order::bgr, 5, 4, 3, {120, 12, 2});
    };
    EXPECT_THROW(processor.transform(every_second_column(0), every_second_column(2)), std::invalid_argument);
    EXPECT_THROW(processor.transform(at(59), kc::image_view(memory.data() + 105, bgr, 5, 4, 3, -30)), // bottom up
                 std::invalid_argument);
    EXPECT_EQ(memory, std::vector<std::uint16_t>(1'000, 7));
    EXPECT_NO_THROW(processor.transform(at(0), at(60)));
    EXPECT_NO_THROW(processor.transform(at(60), at(0)));
    const kc::image_view beside(reinterpret_cast<std::uint8_t*>(memory.data()), bgr, 5, 4, 3, 46);
    EXPECT_NO_THROW(processor.transform(wide.rectangle(0, 0, 5, 4), wide.rectangle(5, 0, 5, 4)));
    EXPECT_NO_THROW(processor.transform(wide.rectangle(5, 0, 5, 4), wide.rectangle(0, 0, 5, 4)));
    EXPECT_NO_THROW(processor.transform(with_shifted_planes(0), with_shifted_planes(5)));
    EXPECT_NO_THROW(processor.transform(every_second_column(0), every_second_column(1)));
    EXPECT_NO_THROW(processor.transform(kc::image_view(memory.data() + 8, bgr, 5, 4, 3, 46), beside));
}

TEST_F(refusals_test, options_out_of_range)
{
    for (const kc::processor_options& options : {kc::processor_options{17, 8, {}}, kc::processor_options{8, -1, {}}}) {
        EXPECT_THAT([&] { kc::processor(library, options); }, ThrowsMessage<kc::error>(HasSubstr("bit depth")));
    }
    const auto code_of = [&](const kc::transform_options& options) {
        try {
            processor.transform(input.view(), output.view(), options);
        } catch (const kc::error& refusal) {
            EXPECT_TRUE(output.is_untouched());
            return refusal.code();
        }
        return KX_COLOR_SUCCESS;
    };
    EXPECT_EQ(code_of({}), KX_COLOR_SUCCESS);
    EXPECT_TRUE(output.is_untouched()); // what is there went through without a change
    kc::transform_options options;
    options.clamp = {0, 256};
    EXPECT_EQ(code_of(options), KX_COLOR_SUCCESS);
    processor.enable_output_LUTs({false, true, false});
    EXPECT_EQ(code_of({}), KX_COLOR_SUCCESS); // the default ends where the LUT does
    (void)output.holds_just(std::vector<std::uint16_t>(60));
    EXPECT_EQ(code_of(options), KX_COLOR_INVALID_CLAMP_RANGE);
}

TEST_F(refusals_test, samples_beyond_an_enabled_input_LUT)
{
    kc::transform_options options;
    options.check_samples = true;
    for (const kc::pixel_layout layout : layouts) {
        placed_image<std::uint16_t> image({layout, place::in_a_larger_image, 5, 4, 3});
        image.for_each_sample([](std::uint16_t& sample, std::size_t) { sample = 0; });
        for (std::size_t x = 0; x < 5; ++x) {
            image.at(x, 3, 0) = 256;
            processor.enable_input_LUTs({false, true, true});
            EXPECT_NO_THROW(processor.check_samples(image.view()));
            processor.enable_input_LUTs({true, false, false});
            EXPECT_THAT([&] { processor.transform(image.view(), output.view(), options); },
                        ThrowsMessage<std::invalid_argument>(HasSubstr("a blue sample of 256 in row 3")));
            EXPECT_TRUE(output.is_untouched());
            image.at(x, 3, 0) = 255;
        }
        EXPECT_NO_THROW(processor.check_samples(image.view()));
    }
}

} // namespace

} // namespace kx_test
