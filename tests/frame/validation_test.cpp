// What the four transforms refuse, in which order, and what they say about it.
#include "frame/frame_test.h"

#include <cstdint>
#include <functional>
#include <set>

namespace kx_test {

namespace {

struct fault {
    std::int32_t status;
    std::string text;
    std::function<void(transform_request&)> make;
};

std::string clamp_text(const char* channel)
{
    return std::string("a max value less than the min was specified for the ") + channel
           + " channel or max clamp value exceeds enabled output LUT size!";
}

// In the order of the checks.
const fault faults[] = {
    {3, "The specified input buffer is NULL!", [](transform_request& r) { r.input = nullptr; }},
    {4, "The specified output buffer is NULL!", [](transform_request& r) { r.output = nullptr; }},
    {5, "Different input and output buffer must be specified.",
     [](transform_request& r) { r.output = const_cast<std::uint16_t*>(r.input); }},
    {9, "Invalid input buffer format specified!", [](transform_request& r) { r.input_format = 3; }},
    {11, "Invalid blue shift distance specified!", [](transform_request& r) { r.blue_shift = 16; }},
    {11, "Invalid green shift distance specified!", [](transform_request& r) { r.green_shift = -16; }},
    {11, "Invalid red shift distance specified!", [](transform_request& r) { r.red_shift = 16; }},
    {12, clamp_text("blue"), [](transform_request& r) { r.blue_min = 2, r.blue_max = 1; }},
    {12, clamp_text("green"), [](transform_request& r) { r.green_min = 65535, r.green_max = 0; }},
    {12, clamp_text("red"), [](transform_request& r) { r.red_min = 0x8000, r.red_max = 0x7FFF; }},
    {10, "Invalid output buffer format specified!", [](transform_request& r) { r.output_format = 3; }},
};

class validation : public initialized_test {
protected:
    // Expects a request to be refused by all transforms, with nothing but an error and a timing line.
    void expect_refused(kx_color_processor* processor, const transform_request& request, std::int32_t status,
                        const std::string& text)
    {
        for (const transform_export& tested : transform_exports) {
            SCOPED_TRACE(tested);
            EXPECT_EQ(tested.call(kx, processor, request), status);
            EXPECT_EQ(events(), (lines{validation_line(text), timing_line(tested)}));
        }
        EXPECT_TRUE(image.output_is_untouched());
    }

    // Expects a request to be accepted by all transforms.
    void expect_accepted(kx_color_processor* processor, const transform_request& request)
    {
        for (const transform_export& tested : transform_exports) {
            SCOPED_TRACE(tested);
            EXPECT_EQ(tested.call(kx, processor, request), 0);
            EXPECT_EQ(events().back(), timing_line(tested));
        }
    }

    small_image image{5};
};

TEST_F(validation, each_fault_is_reported_and_stops_everything)
{
    kx_color_processor* const processor = create(2);
    std::set<std::int32_t> lines_of_code;
    for (const fault& only : faults) {
        SCOPED_TRACE(only.text);
        transform_request request = image.request();
        only.make(request);
        expect_refused(processor, request, only.status, only.text);
        lines_of_code.insert(source_lines().front());
        request.pixel_count = 0;
        expect_refused(processor, request, only.status, only.text);
    }
    EXPECT_EQ(lines_of_code.size(), std::size(faults)) << "each check reports its own line";
}

TEST_F(validation, of_several_faults_the_first_is_reported)
{
    kx_color_processor* const processor = create(2);
    for (const fault* first = std::begin(faults); first != std::end(faults); ++first) {
        for (const fault* second = first + 1; second != std::end(faults); ++second) {
            SCOPED_TRACE(first->text + " " + second->text);
            transform_request request = image.request();
            second->make(request);
            first->make(request);
            expect_refused(processor, request, first->status, first->text);
        }
    }
    transform_request request = image.request();
    for (const fault* each = std::end(faults); each != std::begin(faults);) {
        (--each)->make(request);
        expect_refused(processor, request, each->status, each->text);
    }
}

TEST_F(validation, shift_distances_reach_from_minus_15_to_15)
{
    kx_color_processor* const processor = create(0);
    const struct {
        std::int32_t transform_request::*distance;
        std::string text;
    } channels[] = {
        {&transform_request::blue_shift, faults[4].text},
        {&transform_request::green_shift, faults[5].text},
        {&transform_request::red_shift, faults[6].text},
    };
    for (const auto& channel : channels) {
        transform_request request = image.request();
        for (const std::int32_t distance : {-16, 16, 17, INT32_MIN, INT32_MIN + 15, INT32_MAX, INT32_MAX - 15}) {
            SCOPED_TRACE(distance);
            request.*channel.distance = distance;
            expect_refused(processor, request, 11, channel.text);
        }
    }
    for (const auto& channel : channels) {
        transform_request request = image.request();
        for (std::int32_t distance = -15; distance <= 15; ++distance) {
            SCOPED_TRACE(distance);
            request.*channel.distance = distance;
            expect_accepted(processor, request);
        }
    }
}

TEST_F(validation, negative_formats_count_as_planar)
{
    kx_color_processor* const processor = create(0);
    for (const std::int32_t format : {3, 4, INT32_MAX}) {
        transform_request request = image.request();
        request.input_format = format;
        expect_refused(processor, request, 9, faults[3].text);
        request = image.request();
        request.output_format = format;
        expect_refused(processor, request, 10, faults[10].text);
    }
    for (const std::int32_t format : {0, -1, INT32_MIN}) {
        for (const transform_export& tested : transform_exports) {
            SCOPED_TRACE(testing::Message() << tested << " " << format);
            small_image as_input(5);
            transform_request request = as_input.request();
            request.input_format = format;
            EXPECT_EQ(tested.call(kx, processor, request), 0);
            small_image as_output(5);
            request = as_output.request();
            request.output_format = format;
            EXPECT_EQ(tested.call(kx, processor, request), 0);
            const std::uint16_t low_bits = tested.sample_bytes == 1 ? 0xFF : 0xFFFF;
            for (std::size_t pixel = 0; pixel < 5; ++pixel) {
                for (std::size_t channel = 0; channel < 3; ++channel) {
                    const std::size_t planar = 5 * channel + pixel;
                    EXPECT_EQ(as_input.output(tested, tested.samples_per_pixel * pixel + channel),
                              as_input.input(planar / 3, planar % 3) & low_bits);
                    EXPECT_EQ(as_output.output(tested, planar), as_output.input(pixel, channel) & low_bits);
                }
            }
        }
    }
}

TEST_F(validation, clamp_maximum_lies_within_an_enabled_output_LUT)
{
    const struct {
        std::uint16_t transform_request::*minimum;
        std::uint16_t transform_request::*maximum;
        std::string text;
    } channels[] = {
        {&transform_request::blue_min, &transform_request::blue_max, faults[7].text},
        {&transform_request::green_min, &transform_request::green_max, faults[8].text},
        {&transform_request::red_min, &transform_request::red_max, faults[9].text},
    };
    for (const std::int32_t depth : {0, 1, 8, 15, 16}) {
        // Another input depth, with enabled input LUTs: they have no say in this.
        kx_color_processor* const processor = create(0, 16, depth);
        kx.enable_input_LUTs(processor, 1, 1, 1);
        const std::int32_t size = 1 << depth;
        for (int enabled = 0; enabled < 3; ++enabled) {
            SCOPED_TRACE(testing::Message() << "depth " << depth << ", channel " << enabled);
            const auto& channel = channels[enabled];
            kx.enable_output_LUTs(processor, enabled == 0 ? 1 : 0, enabled == 1 ? -1 : 0, enabled == 2 ? 256 : 0);

            // The other channels keep their maximum of 65535.
            transform_request request = image.request();
            request.*channel.maximum = static_cast<std::uint16_t>(size - 1);
            expect_accepted(processor, request);
            request.*channel.minimum = request.*channel.maximum;
            expect_accepted(processor, request);
        }
        if (size > 65535) {
            continue;
        }
        small_image fresh(5);
        image = fresh;
        for (int enabled = 0; enabled < 3; ++enabled) {
            SCOPED_TRACE(testing::Message() << "depth " << depth << ", channel " << enabled);
            const auto& channel = channels[enabled];
            kx.enable_output_LUTs(processor, enabled == 0 ? 1 : 0, enabled == 1 ? -1 : 0, enabled == 2 ? 256 : 0);
            transform_request request = image.request();
            for (const std::int32_t maximum : {size, 65535}) {
                request.*channel.maximum = static_cast<std::uint16_t>(maximum);
                request.*channel.minimum = 0;
                expect_refused(processor, request, 12, channel.text);
                request.*channel.minimum = request.*channel.maximum;
                expect_refused(processor, request, 12, channel.text);
            }
        }
        kx.enable_output_LUTs(processor, 0, 0, 0);
        expect_accepted(processor, image.request());
        image = fresh;
    }
}

TEST_F(validation, clamps_compare_unsigned_and_may_be_one_value)
{
    kx_color_processor* const processor = create(0);
    for (const auto& [minimum, maximum] : {std::pair{0, 0}, {0x7FFF, 0x8000}, {0x8000, 0x8000}, {65535, 65535}}) {
        transform_request request = image.request();
        request.blue_min = request.green_min = request.red_min = static_cast<std::uint16_t>(minimum);
        request.blue_max = request.green_max = request.red_max = static_cast<std::uint16_t>(maximum);
        expect_accepted(processor, request);
    }
}

TEST_F(validation, images_without_pixels_are_accepted_and_nothing_is_written)
{
    for (const std::int32_t level : {0, 1, 2}) {
        kx_color_processor* const processor = create(level);
        for (const std::int32_t pixel_count : {0, -1, INT32_MIN}) {
            transform_request request = image.request();
            request.pixel_count = pixel_count;
            for (const std::uint32_t first_unconverted : {0U, 1U, 0x80000000U, 0xFFFFFFFFU}) {
                script.vector[standins_sse].first_unconverted = first_unconverted;
                script.vector[standins_avx2].first_unconverted = first_unconverted;
                expect_accepted(processor, request);
            }
        }
    }
    EXPECT_TRUE(image.output_is_untouched());
}

} // namespace

} // namespace kx_test
