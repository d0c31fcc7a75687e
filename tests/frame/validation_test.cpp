// What the exports refuse, the transforms in which order, and what they say about it.
#include "frame/frame_test.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace kx_test {

namespace {

// What the exports return that take a processor, by the names that they report: a status or a LUT.
class rejection : public frame_test {
protected:
    using status_call = std::function<std::int32_t(kx_color_processor*)>;
    using LUT_call = std::function<std::uint32_t*(kx_color_processor*)>;

    rejection()
    {
        for (const transform_export& tested : transform_exports) {
            status_calls_.emplace_back(transform_function_name, [this, &tested](kx_color_processor* processor) {
                return tested.call(kx, processor, image_.request());
            });
        }
    }

    // Expects every export to refuse the processor, and every time what `check` expects of the name.
    template <typename function>
    void expect_refusals(kx_color_processor* processor, std::int32_t status, function check)
    {
        for (const auto& [name, call] : status_calls_) {
            EXPECT_EQ(call(processor), status) << name;
            check(name);
        }
        for (const auto& [name, call] : LUT_calls_) {
            EXPECT_EQ(call(processor), nullptr) << name;
            check(name);
        }
        EXPECT_TRUE(image_.output_is_untouched());
    }

    void expect_silent_refusals()
    {
        // Any handle will do: what it points to must not matter.
        alignas(16) static char nothing[1024];
        for (kx_color_processor* const processor :
             {static_cast<kx_color_processor*>(nullptr), reinterpret_cast<kx_color_processor*>(nothing)}) {
            expect_refusals(processor, 1, [this](const std::string&) { EXPECT_EQ(events(), lines{}); });
        }
        EXPECT_EQ(kx.kx_color_create_color_processor(8, 8), nullptr);
        EXPECT_EQ(kx.kx_color_create_color_processor_test(8, 8, 0), nullptr);
        EXPECT_EQ(kx.kx_color_create_color_processor(-1, 17), nullptr);
        EXPECT_EQ(events(), lines{});
    }

    small_image image_{2};
    const float matrix_[9] = {2, 2, 2, 2, 2, 2, 2, 2, 2};
    std::vector<std::pair<std::string, status_call>> status_calls_{
        {"kx_color_destroy_color_processor", kx.kx_color_destroy_color_processor},
        {"kx_color_clear_matrix", kx.kx_color_clear_matrix},
        {"kx_color_append_matrix", [this](auto* processor) { return kx.kx_color_append_matrix(processor, matrix_); }},
        {"kx_color_enable_input_LUTs",
         [this](auto* processor) { return kx.kx_color_enable_input_LUTs(processor, 1, 1, 1); }},
        {"kx_color_enable_output_LUTs",
         [this](auto* processor) { return kx.kx_color_enable_output_LUTs(processor, 1, 1, 1); }},
    };
    const std::vector<std::pair<std::string, LUT_call>> LUT_calls_{
        {"kx_color_get_blue_input_LUT", kx.kx_color_get_blue_input_LUT},
        {"kx_color_get_green_input_LUT", kx.kx_color_get_green_input_LUT},
        {"kx_color_get_red_input_LUT", kx.kx_color_get_red_input_LUT},
        {"kx_color_get_blue_output_LUT", kx.kx_color_get_blue_output_LUT},
        {"kx_color_get_green_output_LUT", kx.kx_color_get_green_output_LUT},
        {"kx_color_get_red_output_LUT", kx.kx_color_get_red_output_LUT},
    };
};

TEST_F(rejection, nothing_works_and_nothing_is_logged_unless_initialized)
{
    expect_silent_refusals();
    initialize();
    terminate();
    expect_silent_refusals();
}

TEST_F(rejection, null_processor_is_reported_once_under_the_name_of_the_export)
{
    initialize();
    expect_refusals(nullptr, 2, [this](const std::string& name) {
        EXPECT_EQ(events(), lines{error_line(name, null_processor_text)});
    });
    terminate();
}

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

// In the order of the checks. That all other formats and distances are followed, the tests of the pixels show.
const fault faults[] = {
    {3, "The specified input buffer is NULL!", [](transform_request& r) { r.input = nullptr; }},
    {4, "The specified output buffer is NULL!", [](transform_request& r) { r.output = nullptr; }},
    {5, "Different input and output buffer must be specified.",
     [](transform_request& r) { r.output = const_cast<std::uint16_t*>(r.input); }},
    {9, "Invalid input buffer format specified!", [](transform_request& r) { r.input_format = 3; }},
    {11, "Invalid blue shift distance specified!", [](transform_request& r) { r.blue_shift = 16; }},
    {11, "Invalid blue shift distance specified!", [](transform_request& r) { r.blue_shift = INT32_MIN; }},
    {11, "Invalid green shift distance specified!", [](transform_request& r) { r.green_shift = 16; }},
    {11, "Invalid green shift distance specified!", [](transform_request& r) { r.green_shift = -16; }},
    {11, "Invalid red shift distance specified!", [](transform_request& r) { r.red_shift = 16; }},
    {11, "Invalid red shift distance specified!", [](transform_request& r) { r.red_shift = -16; }},
    {12, clamp_text("blue"), [](transform_request& r) { r.blue_min = 2, r.blue_max = 1; }},
    {12, clamp_text("green"), [](transform_request& r) { r.green_min = 65535, r.green_max = 0; }},
    {12, clamp_text("red"), [](transform_request& r) { r.red_min = 0x8000, r.red_max = 0x7FFF; }},
    {10, "Invalid output buffer format specified!", [](transform_request& r) { r.output_format = 3; }},
};

class validation : public initialized_test {
protected:
    // Expects all transforms to convert the image, or, with nothing but an error and a timing line, to refuse it.
    void expect(bool accepted, kx_color_processor* processor, const transform_request& request, const fault& otherwise)
    {
        for (const transform_export& tested : transform_exports) {
            SCOPED_TRACE(testing::Message() << tested.timer_name << ", or else: " << otherwise.text);
            std::fill(image.output_bytes.begin(), image.output_bytes.end(), small_image::untouched);
            EXPECT_EQ(tested.call(kx, processor, request), accepted ? 0 : otherwise.status);
            EXPECT_EQ(image.output_is_untouched(), !accepted);
            const lines expected = accepted ? LUTs_fetched(1, 6) : lines{validation_line(otherwise.text)};
            EXPECT_EQ(events(), expected + lines{timing_line(tested)});
        }
    }

    small_image image{5};
};

TEST_F(validation, of_two_faults_the_first_is_reported_and_stops_everything)
{
    kx_color_processor* const processor = create(2);
    for (const fault* first = std::begin(faults); first != std::end(faults); ++first) {
        for (const fault* second = first; second != std::end(faults); ++second) {
            SCOPED_TRACE(second->text);
            transform_request request = image.request();
            second->make(request);
            first->make(request);
            expect(false, processor, request, *first);
            request.pixel_count = 0;
            expect(false, processor, request, *first);
        }
    }
}

TEST_F(validation, clamps_compare_unsigned_and_lie_within_an_enabled_output_LUT)
{
    for (const std::int32_t depth : {0, 8, 15, 16}) {
        SCOPED_TRACE(depth);
        // Another input depth, with enabled input LUTs: they have no say in this.
        standins::reset();
        kx_color_processor* const processor = create(0, 16, depth);
        kx.kx_color_enable_input_LUTs(processor, 1, 1, 1);
        expect(true, processor, image.request(), faults[10]);
        const auto expect_bound = [&](std::uint16_t transform_request::*min, std::uint16_t transform_request::*max,
                                      const fault& otherwise) {
            // The other channels keep their maximum of 65535.
            transform_request request = image.request();
            request.*min = request.*max = static_cast<std::uint16_t>((1 << depth) - 1);
            expect(true, processor, request, otherwise);
            request.*max = static_cast<std::uint16_t>(std::min(1 << depth, 65535));
            expect(depth == 16, processor, request, otherwise);
        };
        kx.kx_color_enable_output_LUTs(processor, 1, 0, 0);
        expect_bound(&transform_request::blue_min, &transform_request::blue_max, faults[10]);
        kx.kx_color_enable_output_LUTs(processor, 0, -1, 0);
        expect_bound(&transform_request::green_min, &transform_request::green_max, faults[11]);
        kx.kx_color_enable_output_LUTs(processor, 0, 0, 256);
        expect_bound(&transform_request::red_min, &transform_request::red_max, faults[12]);
        destroy_all();
    }
}

} // namespace

} // namespace kx_test
