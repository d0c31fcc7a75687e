#include "harness.h"

#include "path_check.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <sstream>
#include <stdexcept>

namespace kx_test {

namespace {

int level_under_test = 0;

// The case that runs on this thread, to be told when a guard page ends the program.
struct running_case {
    const test_processor* processor = nullptr;
    const pixel_case* wanted = nullptr;
};
thread_local running_case running;
struct sigaction previous_action;

// The program is lost in any case; formatting text here can only fail to help.
void tell_running_case(int /*signal*/)
{
    if (running.wanted != nullptr) {
        std::fprintf(stderr, "Memory fault in: %s\n", describe(*running.processor, *running.wanted).c_str());
    }
    sigaction(SIGSEGV, &previous_action, nullptr);
}

void tell_case_on_memory_fault()
{
    struct sigaction action {};
    action.sa_handler = tell_running_case;
    sigaction(SIGSEGV, &action, &previous_action);
}

} // namespace

int vector_level()
{
    return level_under_test;
}

void set_vector_level(int level)
{
    level_under_test = level;
}

void pixel_test::SetUp()
{
    static std::once_flag once;
    std::call_once(once, tell_case_on_memory_fault);

    ASSERT_EQ(kx_color_processing_module_initialize(), KX_COLOR_SUCCESS);
    if (!machine_supports(vector_level())) {
        GTEST_SKIP() << "This machine's processor lacks the instructions of vector level " << vector_level() << '.';
    }
    ASSERT_TRUE(vector_module_is_usable(vector_level()));
}

void pixel_test::TearDown()
{
    EXPECT_EQ(kx_color_processing_module_terminate(), KX_COLOR_SUCCESS);
}

test_processor::test_processor(int input_depth, int output_depth, int level, random_source& random)
    : handle_(kx_color_create_color_processor_test(input_depth, output_depth, level)), input_depth_(input_depth),
      output_depth_(output_depth), level_(level)
{
    if (handle_ == nullptr) {
        throw std::runtime_error("no processor was created");
    }
    input_LUTs_ = {kx_color_get_blue_input_LUT(handle_), kx_color_get_green_input_LUT(handle_),
                   kx_color_get_red_input_LUT(handle_)};
    output_LUTs_ = {kx_color_get_blue_output_LUT(handle_), kx_color_get_green_output_LUT(handle_),
                    kx_color_get_red_output_LUT(handle_)};
    const auto random_word = [&random] { return static_cast<std::uint32_t>(random()); };
    for (std::size_t channel = 0; channel < 3; ++channel) {
        std::generate_n(input_LUTs_[channel], std::size_t{1} << input_depth, random_word);
        std::generate_n(output_LUTs_[channel], std::size_t{1} << output_depth, random_word);
    }
}

test_processor::~test_processor()
{
    kx_color_destroy_color_processor(handle_);
}

void configure(const test_processor& processor, const pixel_case& wanted)
{
    kx_color_clear_matrix(processor.handle());
    for (const matrix_values& matrix : wanted.matrices) {
        kx_color_append_matrix(processor.handle(), matrix.data());
    }
    const auto& in = wanted.choices.input_LUT;
    const auto& out = wanted.choices.output_LUT;
    kx_color_enable_input_LUTs(processor.handle(), in[0], in[1], in[2]);
    kx_color_enable_output_LUTs(processor.handle(), out[0], out[1], out[2]);
}

reference_transform reference_of(const test_processor& processor, const pixel_case& wanted)
{
    reference_transform transform{};
    transform.matrix = {1, 0, 0, 0, 1, 0, 0, 0, 1};
    for (const matrix_values& matrix : wanted.matrices) {
        transform.matrix = reference_product(transform.matrix, matrix);
    }
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const channel_settings& settings = wanted.channels[channel];
        transform.channels[channel] = {
            wanted.choices.input_LUT[channel] ? processor.input_LUTs()[channel] : nullptr,
            wanted.choices.output_LUT[channel] ? processor.output_LUTs()[channel] : nullptr,
            settings.clamp_min,
            settings.clamp_max,
            settings.shift_distance,
        };
    }
    transform.input_format = wanted.choices.input_layout;
    transform.output_format = wanted.choices.output_layout;
    transform.fourth_sample = wanted.choices.fourth_sample;
    transform.output_bits = wanted.choices.output_bits;
    transform.pixel_count = wanted.pixel_count;
    return transform;
}

std::int32_t call_transform(const test_processor& processor, const pixel_case& wanted, const std::uint16_t* input,
                            void* output)
{
    const combination& choices = wanted.choices;
    const auto& [blue, green, red] = wanted.channels;
    const auto format_of = [&wanted](std::int32_t layout) { return layout == 0 ? wanted.planar_format : layout; };
    const auto call = [&](auto* transform, auto* samples) {
        return transform(processor.handle(), input, format_of(choices.input_layout), blue.clamp_min, blue.clamp_max,
                         green.clamp_min, green.clamp_max, red.clamp_min, red.clamp_max, blue.shift_distance,
                         green.shift_distance, red.shift_distance, samples, format_of(choices.output_layout),
                         wanted.pixel_count);
    };
    if (choices.output_bits == 8) {
        return call(choices.fourth_sample ? kx_color_transform_48_to_32 : kx_color_transform_48_to_24,
                    static_cast<std::uint8_t*>(output));
    }
    return call(choices.fourth_sample ? kx_color_transform_48_to_64 : kx_color_transform_48_to_48,
                static_cast<std::uint16_t*>(output));
}

std::string describe(const test_processor& processor, const pixel_case& wanted)
{
    std::ostringstream text;
    text << describe(wanted.choices) << "\n  vector level " << processor.level() << ", LUT depths "
         << processor.input_depth() << " and " << processor.output_depth() << ", " << wanted.pixel_count
         << " pixels, planar format passed as " << wanted.planar_format << "\n  blue, green, red:";
    for (const channel_settings& settings : wanted.channels) {
        text << " clamp " << settings.clamp_min << ".." << settings.clamp_max << " shift " << settings.shift_distance
             << ';';
    }
    for (const matrix_values& matrix : wanted.matrices) {
        text << "\n  matrix" << std::hexfloat;
        for (const float element : matrix) {
            text << ' ' << element;
        }
        text << std::defaultfloat;
    }
    const auto place = [](const placement& at) {
        return std::to_string(at.distance) + (at.at_end ? " samples before the last" : " samples after the first");
    };
    text << "\n  input " << place(wanted.input) << ", output " << place(wanted.output) << " guard page";
    return text.str();
}

namespace {

std::uint8_t* placed(const guarded_buffer& buffer, const placement& at, std::size_t bytes, std::size_t sample_bytes)
{
    const std::size_t gap = at.distance * sample_bytes;
    if (bytes + gap > buffer.size()) {
        throw std::length_error("the harness was made for fewer pixels");
    }
    return at.at_end ? buffer.end() - bytes - gap : buffer.begin() + gap;
}

// Which sample the byte belongs to that differs first.
std::string describe_byte(const pixel_case& wanted, std::ptrdiff_t offset)
{
    const combination& choices = wanted.choices;
    const std::int64_t sample = offset >= 0 ? offset / (choices.output_bits / 8) : -1;
    for (std::int64_t pixel = 0; pixel < wanted.pixel_count; ++pixel) {
        for (int channel = 0; channel < choices.samples_per_pixel(); ++channel) {
            if (reference_sample_index(choices.output_layout, wanted.pixel_count, choices.samples_per_pixel(), pixel,
                                       channel)
                != sample) {
                continue;
            }
            std::string text = "pixel " + std::to_string(pixel) + ", "
                               + std::array{"blue", "green", "red", "fourth sample"}[static_cast<std::size_t>(channel)]
                               + ", input blue, green, red";
            for (int input = 0; input < 3; ++input) {
                const std::int64_t index =
                    reference_sample_index(choices.input_layout, wanted.pixel_count, 3, pixel, input);
                text += ' ' + std::to_string(wanted.samples[static_cast<std::size_t>(index)]);
            }
            return text;
        }
    }
    return "byte " + std::to_string(offset) + " of the output, which is outside the image";
}

} // namespace

pixel_harness::pixel_harness(std::int32_t largest_pixel_count)
    : input_(static_cast<std::size_t>(largest_pixel_count) * 6 + 128),
      output_(static_cast<std::size_t>(largest_pixel_count) * 8 + 128), expected_(output_.size())
{
}

testing::AssertionResult pixel_harness::run(const test_processor& processor, const pixel_case& wanted)
{
    configure(processor, wanted);
    return transform(processor, wanted);
}

testing::AssertionResult pixel_harness::transform(const test_processor& processor, const pixel_case& wanted)
{
    const path_check path(processor.level(), wanted.choices.output_bits);
    testing::AssertionResult result = transform_and_compare(processor, wanted, 0);
    if (!result) {
        return result;
    }
    const std::string wrong = path.what_is_wrong(wanted.pixel_count);
    if (!wrong.empty()) {
        return testing::AssertionFailure() << wrong << "\n  " << describe(processor, wanted);
    }
    return result;
}

testing::AssertionResult pixel_harness::run_after_stand_in(const test_processor& processor, const pixel_case& wanted,
                                                           std::uint32_t converted)
{
    configure(processor, wanted);
    stand_in_converts(processor.level(), converted);
    return transform_and_compare(processor, wanted, converted);
}

testing::AssertionResult pixel_harness::transform_and_compare(const test_processor& processor, const pixel_case& wanted,
                                                              std::int64_t first_pixel)
{
    const auto pixels = static_cast<std::size_t>(std::max(wanted.pixel_count, 0));
    const auto bytes = pixels * static_cast<std::size_t>(wanted.choices.bytes_per_pixel());
    std::uint8_t* const input = placed(input_, wanted.input, pixels * 6, 2);
    std::uint8_t* const output =
        placed(output_, wanted.output, bytes, static_cast<std::size_t>(wanted.choices.output_bits / 8));
    if (pixels != 0) {
        std::memcpy(input, wanted.samples.data(), pixels * 6);
    }

    constexpr int untouched = 0xA5;
    std::memset(output_.begin(), untouched, output_.size());
    std::fill(expected_.begin(), expected_.end(), std::uint8_t{untouched});
    reference_transform reference = reference_of(processor, wanted);
    reference.input = reinterpret_cast<const std::uint16_t*>(input);
    reference_convert(reference, first_pixel, expected_.data() + (output - output_.begin()));

    running = {&processor, &wanted};
    const std::int32_t status = call_transform(processor, wanted, reference.input, output);
    running = {};
    if (status != KX_COLOR_SUCCESS) {
        return testing::AssertionFailure() << "status " << status << "\n  " << describe(processor, wanted);
    }
    if (pixels != 0 && std::memcmp(input, wanted.samples.data(), pixels * 6) != 0) {
        return testing::AssertionFailure() << "the input was changed\n  " << describe(processor, wanted);
    }
    if (std::memcmp(output_.begin(), expected_.data(), expected_.size()) == 0) {
        return testing::AssertionSuccess();
    }
    const auto differing = std::mismatch(expected_.begin(), expected_.end(), output_.begin());
    return testing::AssertionFailure() << describe_byte(wanted, differing.second - output) << ": byte is "
                                       << int{*differing.second} << ", should be " << int{*differing.first} << "\n  "
                                       << describe(processor, wanted);
}

} // namespace kx_test
