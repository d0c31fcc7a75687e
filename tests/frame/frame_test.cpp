#include "frame/frame_test.h"

#include <algorithm>
#include <cstring>
#include <regex>
#include <utility>

namespace kx_test {

lines operator+(lines first, const lines& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

lines when(bool condition, const std::string& line)
{
    return condition ? lines{line} : lines{};
}

std::string error_line(const std::string& function, const std::string& text)
{
    return "log 0 korvex_kvi_color_processing.cpp " + function + ": ERROR:  " + text;
}

std::string validation_line(const std::string& text)
{
    return "log 0 color_correction.h color_correction::transform: ERROR:  " + text;
}

std::string failed_creation_line(bool for_want_of_memory)
{
    return "log 0 korvex_kvi_color_processing.cpp " + creation_function_name
           + (for_want_of_memory ? ": Memory allocation failure" : ": An unknown error occurred")
           + " when trying to create a color correction instance!";
}

std::string timing_line(const transform_export& tested)
{
    return "log 2 korvex_kvi_color_processing.cpp " + transform_function_name + ": " + tested.timer_name
           + " takes (time) microseconds.";
}

lines vector_call(const std::string& module, const transform_export& tested)
{
    return when(!module.empty(), module + " transforms to " + std::to_string(8 * tested.sample_bytes) + " bits");
}

lines LUTs_fetched(std::int32_t first, std::int32_t last)
{
    lines fetched;
    for (std::int32_t number = first; number <= last; ++number) {
        fetched.push_back("kx_get_LUT_data(LUT " + std::to_string(number) + ")");
    }
    return fetched;
}

lines LUTs_created(std::int32_t first, std::int32_t input_entries, std::int32_t output_entries, bool for_avx2)
{
    lines created;
    for (const std::int32_t entries : {input_entries, output_entries}) {
        for (std::int32_t number = first; number < first + 3; ++number) {
            created.push_back("kx_create_LUT_test(" + std::to_string(entries) + ", " + (for_avx2 ? "1" : "0")
                              + ") = LUT " + std::to_string(number));
        }
        created = created + LUTs_fetched(first, first + 2);
        first += 3;
    }
    return created;
}

lines LUTs_destroyed(std::int32_t last, std::int32_t first)
{
    lines destroyed;
    for (std::int32_t number = last; number >= first; --number) {
        destroyed.push_back("kx_destroy_LUT(LUT " + std::to_string(number) + ")");
    }
    return destroyed;
}

lines frame_test::events()
{
    static const std::regex time(R"( takes \d+\.\d{6} microseconds\.$)");
    lines happened = std::exchange(recorder.events, {});
    for (std::string& event : happened) {
        event = std::regex_replace(event, time, " takes (time) microseconds.");
    }
    return happened;
}

void frame_test::expect_transforms_call(kx_color_processor* processor, const std::string& module)
{
    for (const transform_export& tested : transform_exports) {
        SCOPED_TRACE(tested);
        small_image image(3);
        EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
        EXPECT_EQ(events(), LUTs_fetched(1, 6) + vector_call(module, tested) + lines{timing_line(tested)});
        EXPECT_TRUE(image.is_converted(tested));
    }
}

void initialized_test::SetUp()
{
    ASSERT_EQ(kx.module_initialize(), 0);
    events();
}

void initialized_test::TearDown()
{
    destroy_all();
    EXPECT_EQ(recorder.LUT_count(), 0) << "LUTs were left behind";
    EXPECT_EQ(kx.module_terminate(), 0);
}

kx_color_processor* initialized_test::create(std::int32_t vector_level, std::int32_t input_depth,
                                             std::int32_t output_depth)
{
    processors_.push_back(kx.create_color_processor_test(input_depth, output_depth, vector_level));
    EXPECT_NE(processors_.back(), nullptr);
    events();
    return processors_.back();
}

void initialized_test::destroy_all()
{
    for (kx_color_processor* processor : processors_) {
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    }
    processors_.clear();
    events();
}

small_image::small_image(std::size_t pixel_count) : output_bytes(24 * pixel_count + 64, untouched)
{
    for (std::size_t i = 0; i < 3 * pixel_count; ++i) {
        input_samples.push_back(static_cast<std::uint16_t>(0x1234 + 0x0107 * i));
    }
}

transform_request small_image::request()
{
    transform_request request;
    request.input = input_samples.data();
    request.output = output_bytes.data();
    request.pixel_count = static_cast<std::int32_t>(input_samples.size() / 3);
    return request;
}

bool small_image::output_is_untouched() const
{
    return std::all_of(output_bytes.begin(), output_bytes.end(), [](std::uint8_t byte) { return byte == untouched; });
}

bool small_image::is_converted(const transform_export& tested) const
{
    for (std::size_t i = 0; i < input_samples.size(); ++i) {
        const std::size_t index = i / 3 * tested.samples_per_pixel + i % 3;
        if (std::memcmp(&output_bytes[index * tested.sample_bytes], &input_samples[i], tested.sample_bytes) != 0) {
            return false;
        }
    }
    return true;
}

} // namespace kx_test
