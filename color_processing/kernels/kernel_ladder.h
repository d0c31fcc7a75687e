// Levels 3 and 4 of the dispatch: the rest of the LUTs, the shifts, the fourth sample, the output layout.
// Each step appends its choice to the combination's number; the last one runs that combination's kernel.
#pragma once

#include "kernels/kernel_branch.h"
#include "kernels/pixel_kernel.h"

namespace kx {

// The steps have internal linkage: nothing outside the compilation unit calls them, and the compiler folds
// the kernels into them.

// Level 4.
template <typename output_sample, unsigned number>
static void choose_output_layout(const kernel_request& request)
{
    if (request.parameters.output_format == pixel_format::interleaved_bgr) {
        return convert_pixels<output_sample>(request.parameters, request.first_pixel,
                                             fixed_choices<append(number, sample_layout::interleaved_bgr)>{});
    }
    if (request.parameters.output_format == pixel_format::interleaved_rgb) {
        return convert_pixels<output_sample>(request.parameters, request.first_pixel,
                                             fixed_choices<append(number, sample_layout::interleaved_rgb)>{});
    }
    return convert_pixels<output_sample>(request.parameters, request.first_pixel,
                                         fixed_choices<append(number, sample_layout::planar_bgr)>{});
}

template <typename output_sample, unsigned number>
static void choose_fourth_sample(const kernel_request& request)
{
    return request.parameters.has_alpha_channel != 0
               ? choose_output_layout<output_sample, append(number, true)>(request)
               : choose_output_layout<output_sample, append(number, false)>(request);
}

template <typename output_sample, unsigned number>
static void choose_red_shift(const kernel_request& request)
{
    if (request.red_shift == shift_kind::left) {
        return choose_fourth_sample<output_sample, append(number, shift_kind::left)>(request);
    }
    if (request.red_shift == shift_kind::right) {
        return choose_fourth_sample<output_sample, append(number, shift_kind::right)>(request);
    }
    return choose_fourth_sample<output_sample, append(number, shift_kind::none)>(request);
}

template <typename output_sample, unsigned number>
static void choose_green_shift(const kernel_request& request)
{
    if (request.green_shift == shift_kind::left) {
        return choose_red_shift<output_sample, append(number, shift_kind::left)>(request);
    }
    if (request.green_shift == shift_kind::right) {
        return choose_red_shift<output_sample, append(number, shift_kind::right)>(request);
    }
    return choose_red_shift<output_sample, append(number, shift_kind::none)>(request);
}

// Level 3.
template <typename output_sample, unsigned number>
static void choose_blue_shift(const kernel_request& request)
{
    if (request.blue_shift == shift_kind::left) {
        return choose_green_shift<output_sample, append(number, shift_kind::left)>(request);
    }
    if (request.blue_shift == shift_kind::right) {
        return choose_green_shift<output_sample, append(number, shift_kind::right)>(request);
    }
    return choose_green_shift<output_sample, append(number, shift_kind::none)>(request);
}

template <typename output_sample, unsigned number>
static void choose_red_output_LUT(const kernel_request& request)
{
    return request.parameters.red_output_LUT_enabled != 0
               ? choose_blue_shift<output_sample, append(number, true)>(request)
               : choose_blue_shift<output_sample, append(number, false)>(request);
}

template <typename output_sample, unsigned number>
void choose_green_output_LUT(const kernel_request& request)
{
    return request.parameters.green_output_LUT_enabled != 0
               ? choose_red_output_LUT<output_sample, append(number, true)>(request)
               : choose_red_output_LUT<output_sample, append(number, false)>(request);
}

} // namespace kx
