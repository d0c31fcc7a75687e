// Levels 1 and 2 of the dispatch: input layout and the first four LUTs. Each of the 48 branches goes on in a
// compilation unit of its own (kernel_branch.cpp.in).
#include "kernels/kernel_dispatch.h"

#include "kernels/kernel_branch.h"

namespace kx {

namespace {

// Level 2.
template <typename output_sample, unsigned number>
void choose_blue_output_LUT(const kernel_request& request)
{
    return request.parameters.blue_output_LUT_enabled != 0
               ? choose_green_output_LUT<output_sample, append(number, true)>(request)
               : choose_green_output_LUT<output_sample, append(number, false)>(request);
}

template <typename output_sample, unsigned number>
void choose_red_input_LUT(const kernel_request& request)
{
    return request.parameters.red_input_LUT_enabled != 0
               ? choose_blue_output_LUT<output_sample, append(number, true)>(request)
               : choose_blue_output_LUT<output_sample, append(number, false)>(request);
}

template <typename output_sample, unsigned number>
void choose_green_input_LUT(const kernel_request& request)
{
    return request.parameters.green_input_LUT_enabled != 0
               ? choose_red_input_LUT<output_sample, append(number, true)>(request)
               : choose_red_input_LUT<output_sample, append(number, false)>(request);
}

// Level 1.
template <typename output_sample, unsigned number>
void choose_blue_input_LUT(const kernel_request& request)
{
    return request.parameters.blue_input_LUT_enabled != 0
               ? choose_green_input_LUT<output_sample, append(number, true)>(request)
               : choose_green_input_LUT<output_sample, append(number, false)>(request);
}

template <typename output_sample>
void choose_input_layout(const kernel_request& request)
{
    if (request.parameters.input_format == pixel_format::interleaved_bgr) {
        return choose_blue_input_LUT<output_sample, append(0U, sample_layout::interleaved_bgr)>(request);
    }
    if (request.parameters.input_format == pixel_format::interleaved_rgb) {
        return choose_blue_input_LUT<output_sample, append(0U, sample_layout::interleaved_rgb)>(request);
    }
    return choose_blue_input_LUT<output_sample, append(0U, sample_layout::planar_bgr)>(request);
}

} // namespace

void run_8_bit_output_kernel(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    choose_input_layout<std::uint8_t>(request_of(parameters, first_pixel));
}

void run_16_bit_output_kernel(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    choose_input_layout<std::uint16_t>(request_of(parameters, first_pixel));
}

} // namespace kx
