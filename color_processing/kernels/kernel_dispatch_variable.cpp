// In place of the dispatch and its kernels in builds that would take too long with all of them (debug,
// sanitizers): the one kernel body, its choices tested at run time.
#include "kernels/kernel_branch.h"
#include "kernels/kernel_dispatch.h"
#include "kernels/pixel_kernel.h"

namespace kx {

namespace {

sample_layout layout_of(pixel_format format)
{
    switch (format) {
    case pixel_format::interleaved_bgr:
        return sample_layout::interleaved_bgr;
    case pixel_format::interleaved_rgb:
        return sample_layout::interleaved_rgb;
    default:
        return sample_layout::planar_bgr;
    }
}

variable_choices choices_of_record(const transform_parameters& parameters)
{
    return {{
        .input_layout = layout_of(parameters.input_format),
        .blue_input_LUT = parameters.blue_input_LUT_enabled != 0,
        .green_input_LUT = parameters.green_input_LUT_enabled != 0,
        .red_input_LUT = parameters.red_input_LUT_enabled != 0,
        .blue_output_LUT = parameters.blue_output_LUT_enabled != 0,
        .green_output_LUT = parameters.green_output_LUT_enabled != 0,
        .red_output_LUT = parameters.red_output_LUT_enabled != 0,
        .blue_shift = kind_of(parameters.blue_shift_distance),
        .green_shift = kind_of(parameters.green_shift_distance),
        .red_shift = kind_of(parameters.red_shift_distance),
        .fourth_sample = parameters.has_alpha_channel != 0,
        .output_layout = layout_of(parameters.output_format),
    }};
}

} // namespace

void run_8_bit_output_kernel(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    convert_pixels<std::uint8_t>(parameters, first_pixel, choices_of_record(parameters));
}

void run_16_bit_output_kernel(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    convert_pixels<std::uint16_t>(parameters, first_pixel, choices_of_record(parameters));
}

} // namespace kx
