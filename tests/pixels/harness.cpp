#include "harness.h"

#include "reference.h"
#include "support/transform_request.h"
#include "vector_spy.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace kx_test {

namespace {

// The largest vector of pixels that a module may work in.
constexpr std::int64_t most_left_over = 32;

bool machine_supports(int level)
{
    if (std::getenv("KX_TEST_WIDE_VECTORS") != nullptr) {
        return __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vl") != 0
               && __builtin_cpu_supports("avx512vbmi") != 0;
    }
    if (level == KX_COLOR_VECTOR_LEVEL_AVX2) {
        return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    }
    return level != KX_COLOR_VECTOR_LEVEL_SSE || __builtin_cpu_supports("sse4.1") != 0;
}

// What the vector modules' part in this thread's last transform was, unless it was as it should be.
std::string wrong_path(const pixel_case& wanted)
{
    for (const int level : {KX_COLOR_VECTOR_LEVEL_SSE, KX_COLOR_VECTOR_LEVEL_AVX2}) {
        const vector_spy& spy = level == KX_COLOR_VECTOR_LEVEL_AVX2 ? kx_vector_spy_avx2() : kx_vector_spy_sse();
        const bool meant = level == vector_level();
        const std::int64_t left_over = std::max(wanted.pixel_count, 0) - std::int64_t{spy.converted};
        if (spy.calls != (meant ? std::vector{wanted.choices.output_bits} : std::vector<int>{})
            || (meant && (left_over < 0 || left_over > most_left_over))) {
            return "the vector module of level " + std::to_string(level) + ", initialized with "
                   + std::to_string(spy.initialize_result) + ", was called " + std::to_string(spy.calls.size())
                   + " times and left over " + std::to_string(left_over) + " pixels";
        }
    }
    return {};
}

std::uint8_t* placed(const guarded_buffer& buffer, const placement& at, std::size_t bytes, int sample_bits)
{
    const std::size_t gap = at.distance * static_cast<std::size_t>(sample_bits / 8);
    if (bytes + gap > buffer.size()) {
        throw std::length_error("the harness was made for fewer pixels");
    }
    return at.at_end ? buffer.end() - bytes - gap : buffer.begin() + gap;
}

} // namespace

int vector_level()
{
    static const char* const text = std::getenv("KX_TEST_VECTOR_LEVEL");
    if (text == nullptr || *text < '0' || *text > '2') {
        throw std::runtime_error("KX_TEST_VECTOR_LEVEL must be 0, 1 or 2");
    }
    return *text - '0';
}

void pixel_test::SetUp()
{
    ASSERT_EQ(kx_color_processing_module_initialize(), KX_COLOR_SUCCESS);
    if (!machine_supports(vector_level())) {
        GTEST_SKIP() << "This machine's processor lacks the instructions of vector level " << vector_level() << '.';
    }
}

void pixel_test::TearDown()
{
    EXPECT_EQ(kx_color_processing_module_terminate(), KX_COLOR_SUCCESS);
}

test_processor::test_processor(int input_depth, int output_depth, random_source& random)
    : handle_(kx_color_create_color_processor_test(input_depth, output_depth, vector_level()))
{
    if (handle_ == nullptr) {
        throw std::runtime_error("no processor was created");
    }
    LUTs_ = {input_depth,
             output_depth,
             {kx_color_get_blue_input_LUT(handle_), kx_color_get_green_input_LUT(handle_),
              kx_color_get_red_input_LUT(handle_)},
             {kx_color_get_blue_output_LUT(handle_), kx_color_get_green_output_LUT(handle_),
              kx_color_get_red_output_LUT(handle_)}};
    fill_LUTs(random);
}

void test_processor::fill_LUTs(random_source& random) const
{
    const auto random_word = [&random] { return static_cast<std::uint32_t>(random()); };
    for (std::size_t channel = 0; channel < 3; ++channel) {
        std::generate_n(LUTs_.input[channel], std::size_t{1} << LUTs_.input_depth, random_word);
        std::generate_n(LUTs_.output[channel], std::size_t{1} << LUTs_.output_depth, random_word);
    }
}

test_processor::~test_processor()
{
    kx_color_destroy_color_processor(handle_);
}

void test_processor::configure(const pixel_case& wanted) const
{
    kx_color_clear_matrix(handle_);
    for (const matrix_values& matrix : wanted.matrices) {
        kx_color_append_matrix(handle_, matrix.data());
    }
    const auto& in = wanted.choices.input_LUT;
    const auto& out = wanted.choices.output_LUT;
    kx_color_enable_input_LUTs(handle_, in[0], in[1], in[2]);
    kx_color_enable_output_LUTs(handle_, out[0], out[1], out[2]);
}

std::int32_t test_processor::transform(const pixel_case& wanted, const std::uint16_t* input, void* output) const
{
    const combination& choices = wanted.choices;
    const auto& [blue, green, red] = wanted.channels;
    const auto format_of = [&wanted](std::int32_t layout) { return layout == 0 ? wanted.planar_format : layout; };
    const transform_request request{
        .input = input,
        .input_format = format_of(choices.input_layout),
        .blue_min = blue.clamp_min,
        .blue_max = blue.clamp_max,
        .green_min = green.clamp_min,
        .green_max = green.clamp_max,
        .red_min = red.clamp_min,
        .red_max = red.clamp_max,
        .blue_shift = blue.shift_distance,
        .green_shift = green.shift_distance,
        .red_shift = red.shift_distance,
        .output = output,
        .output_format = format_of(choices.output_layout),
        .pixel_count = wanted.pixel_count,
    };
    if (choices.output_bits == 8) {
        return call_transform<std::uint8_t>(
            choices.fourth_sample ? kx_color_transform_48_to_32 : kx_color_transform_48_to_24, handle_, request);
    }
    return call_transform<std::uint16_t>(
        choices.fourth_sample ? kx_color_transform_48_to_64 : kx_color_transform_48_to_48, handle_, request);
}

pixel_harness::pixel_harness(std::int32_t largest_pixel_count)
    : input_(static_cast<std::size_t>(largest_pixel_count) * 6 + 128),
      output_(static_cast<std::size_t>(largest_pixel_count) * 8 + 128), expected_(output_.size())
{
}

testing::AssertionResult pixel_harness::run(const test_processor& processor, const pixel_case& wanted)
{
    processor.configure(wanted);
    return transform(processor, wanted);
}

testing::AssertionResult pixel_harness::transform(const test_processor& processor, const pixel_case& wanted)
{
    const combination& choices = wanted.choices;
    const std::size_t bytes = wanted.samples.size() / 3 * static_cast<std::size_t>(choices.bytes_per_pixel());
    std::uint8_t* const output = placed(output_, wanted.output, bytes, choices.output_bits);
    auto* const input = reinterpret_cast<std::uint16_t*>(placed(input_, wanted.input, wanted.samples.size() * 2, 16));
    std::copy(wanted.samples.begin(), wanted.samples.end(), input);

    constexpr std::uint8_t untouched = 0xA5;
    std::fill(output_.begin(), output_.end(), untouched);
    std::fill(expected_.begin(), expected_.end(), untouched);
    reference_convert(wanted, processor.LUTs(), expected_.data() + (output - output_.begin()));

    kx_vector_spy_sse().calls.clear();
    kx_vector_spy_avx2().calls.clear();
    const std::int32_t status = processor.transform(wanted, input, output);
    if (status != KX_COLOR_SUCCESS) {
        return testing::AssertionFailure() << "status " << status << "\n  " << describe(wanted);
    }
    if (const std::string wrong = wrong_path(wanted); !wrong.empty()) {
        return testing::AssertionFailure() << wrong << "\n  " << describe(wanted);
    }
    if (!std::equal(wanted.samples.begin(), wanted.samples.end(), input)) {
        return testing::AssertionFailure() << "the input was changed\n  " << describe(wanted);
    }
    if (std::memcmp(output_.begin(), expected_.data(), expected_.size()) != 0) {
        const auto differing = std::mismatch(expected_.begin(), expected_.end(), output_.begin());
        return testing::AssertionFailure()
               << "byte " << differing.second - output << " of " << bytes << " is " << int{*differing.second}
               << ", should be " << int{*differing.first} << "\n  " << describe(wanted);
    }
    return testing::AssertionSuccess();
}

} // namespace kx_test
