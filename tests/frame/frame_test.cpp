#include "frame/frame_test.h"

#include <algorithm>
#include <cstring>

namespace kx_test {

lines operator+(lines first, const lines& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

std::string error_line(const std::string& function, const std::string& text)
{
    return "log 0 korvex_kvi_color_processing.cpp " + function + ": ERROR:  " + text;
}

std::string validation_line(const std::string& text)
{
    return "log 0 color_correction.h color_correction::transform: ERROR:  " + text;
}

std::string timing_line(const transform_export& tested)
{
    return "log 2 korvex_kvi_color_processing.cpp " + transform_function_name + ": " + tested.timer_name
           + " takes (time) microseconds.";
}

lines vector_call(const std::string& module, const transform_export& tested)
{
    const char* const call = tested.sample_bytes == 1 ? " transforms to 8 bits" : " transforms to 16 bits";
    return module.empty() ? lines{} : lines{module + call};
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

namespace {

// The line with a stand-in for the time, if the line ends as a timing line does.
std::string without_time(const std::string& line)
{
    const std::string before = " takes ";
    const std::string after = " microseconds.";
    constexpr std::size_t decimals = 6;
    const std::size_t start = line.find(before);
    if (start == std::string::npos || !line.ends_with(after)) {
        return line;
    }
    const std::size_t number = start + before.size();
    const std::string time = line.substr(number, line.size() - after.size() - number);
    const std::size_t point = time.find_first_not_of("0123456789");
    const bool well_formed = point != 0 && point != std::string::npos && time[point] == '.'
                             && time.size() == point + 1 + decimals
                             && time.find_first_not_of("0123456789", point + 1) == std::string::npos;
    return well_formed ? line.substr(0, number) + "(time)" + after : line;
}

} // namespace

frame_test::frame_test()
{
    standins_reset();
}

lines frame_test::events()
{
    lines happened;
    source_lines_.clear();
    for (std::size_t i = 0; i < standins_event_count(); ++i) {
        happened.push_back(without_time(standins_event(i)));
        if (happened.back().rfind("log ", 0) == 0) {
            source_lines_.push_back(standins_event_source_line(i));
            EXPECT_GT(source_lines_.back(), 0) << happened.back();
        }
    }
    standins_clear_events();
    return happened;
}

void initialized_test::SetUp()
{
    ASSERT_EQ(kx.module_initialize(), 0);
    events();
}

void initialized_test::TearDown()
{
    destroy_all();
    EXPECT_EQ(standins_LUT_count(), 0) << "LUTs were left behind";
    EXPECT_EQ(kx.module_terminate(), 0);
}

kx_color_processor* initialized_test::create(std::int32_t vector_level, std::int32_t input_depth,
                                             std::int32_t output_depth)
{
    kx_color_processor* const processor = kx.create_color_processor_test(input_depth, output_depth, vector_level);
    EXPECT_NE(processor, nullptr);
    processors_.push_back(processor);
    events();
    return processor;
}

void initialized_test::destroy_all()
{
    for (kx_color_processor* processor : processors_) {
        EXPECT_EQ(kx.destroy_color_processor(processor), 0);
    }
    processors_.clear();
    events();
}

small_image::small_image(std::int32_t pixel_count)
    : input_(3 * static_cast<std::size_t>(pixel_count)), output_(8 * input_.size() + 64, untouched)
{
    std::uint16_t value = 0x1234;
    std::generate(input_.begin(), input_.end(),
                  [&value] { return value = static_cast<std::uint16_t>(value + 0x0107); });
}

transform_request small_image::request()
{
    transform_request request;
    request.input = input_.data();
    request.output = output_.data();
    request.pixel_count = static_cast<std::int32_t>(input_.size() / 3);
    return request;
}

bool small_image::output_is_untouched() const
{
    return std::all_of(output_.begin(), output_.end(), [](std::uint8_t byte) { return byte == untouched; });
}

std::uint16_t small_image::input(std::size_t pixel, std::size_t channel) const
{
    return input_[3 * pixel + channel];
}

std::uint16_t small_image::output(const transform_export& tested, std::size_t index) const
{
    std::uint16_t sample = 0;
    std::memcpy(&sample, output_.data() + index * tested.sample_bytes, tested.sample_bytes);
    return sample;
}

std::size_t small_image::output_samples(const transform_export& tested) const
{
    return output_.size() / tested.sample_bytes;
}

} // namespace kx_test
