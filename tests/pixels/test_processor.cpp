#include "test_processor.h"

#include "korvex_kvi_color_processing.h"
#include "support/transform_request.h"

#include <algorithm>
#include <stdexcept>

namespace kx_test {

test_processor::test_processor(int input_depth, int output_depth, random_source& random, int level)
    : handle_(kx_color_create_color_processor_test(input_depth, output_depth, level))
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
    // Any other value than 0 enables a LUT.
    kx_color_enable_input_LUTs(handle_, in[0] ? 1 : 0, in[1] ? 0x100 : 0, in[2] ? INT32_MIN : 0);
    kx_color_enable_output_LUTs(handle_, out[0] ? -1 : 0, out[1] ? 2 : 0, out[2] ? 0x10000 : 0);
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

} // namespace kx_test
