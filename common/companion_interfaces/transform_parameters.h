// The record of one transform call: built by the export, completed by the processor, read by the kernels
// and by the separately built vector modules. Its layout is therefore part of a binary interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kx {

class color_correction;

// The layout of an image of n pixels; input and output alike. Every negative value counts as
// planar_bgr too.
enum class pixel_format : std::int32_t {
    planar_bgr = 0,      // planes of n samples each: blue, green, red (and the fourth)
    interleaved_bgr = 1, // blue, green, red (and the fourth) side by side
    interleaved_rgb = 2, // red, green, blue (and the fourth) side by side
};

struct transform_parameters { // NOLINT(clang-analyzer-optin.performance.Padding): the layout is fixed
    const std::uint16_t* input_buffer;
    pixel_format input_format;
    const std::uint32_t* blue_input_LUT_data = nullptr;
    std::uint8_t blue_input_LUT_enabled = 0;
    const std::uint32_t* green_input_LUT_data = nullptr;
    std::uint8_t green_input_LUT_enabled = 0;
    const std::uint32_t* red_input_LUT_data = nullptr;
    std::uint8_t red_input_LUT_enabled = 0;
    const color_correction* processor = nullptr; // starts with its matrix: see matrix_of
    std::uint16_t blue_clamp_min;
    std::uint16_t blue_clamp_max;
    std::uint16_t green_clamp_min;
    std::uint16_t green_clamp_max;
    std::uint16_t red_clamp_min;
    std::uint16_t red_clamp_max;
    const std::uint32_t* blue_output_LUT_data = nullptr;
    std::uint8_t blue_output_LUT_enabled = 0;
    const std::uint32_t* green_output_LUT_data = nullptr;
    std::uint8_t green_output_LUT_enabled = 0;
    const std::uint32_t* red_output_LUT_data = nullptr;
    std::uint8_t red_output_LUT_enabled = 0;
    std::int32_t blue_shift_distance;
    std::int32_t green_shift_distance;
    std::int32_t red_shift_distance;
    void* output_buffer; // 16-bit or 8-bit samples, by the entry point that gets the record
    pixel_format output_format;
    std::uint8_t has_alpha_channel;
    std::int32_t pixel_count;
};

static_assert(std::is_standard_layout_v<transform_parameters>);
static_assert(std::is_trivially_copyable_v<transform_parameters>);
static_assert(sizeof(transform_parameters) == 168);
static_assert(alignof(transform_parameters) == 8);
static_assert(offsetof(transform_parameters, input_buffer) == 0);
static_assert(offsetof(transform_parameters, input_format) == 8);
static_assert(offsetof(transform_parameters, blue_input_LUT_data) == 16);
static_assert(offsetof(transform_parameters, blue_input_LUT_enabled) == 24);
static_assert(offsetof(transform_parameters, green_input_LUT_data) == 32);
static_assert(offsetof(transform_parameters, green_input_LUT_enabled) == 40);
static_assert(offsetof(transform_parameters, red_input_LUT_data) == 48);
static_assert(offsetof(transform_parameters, red_input_LUT_enabled) == 56);
static_assert(offsetof(transform_parameters, processor) == 64);
static_assert(offsetof(transform_parameters, blue_clamp_min) == 72);
static_assert(offsetof(transform_parameters, blue_clamp_max) == 74);
static_assert(offsetof(transform_parameters, green_clamp_min) == 76);
static_assert(offsetof(transform_parameters, green_clamp_max) == 78);
static_assert(offsetof(transform_parameters, red_clamp_min) == 80);
static_assert(offsetof(transform_parameters, red_clamp_max) == 82);
static_assert(offsetof(transform_parameters, blue_output_LUT_data) == 88);
static_assert(offsetof(transform_parameters, blue_output_LUT_enabled) == 96);
static_assert(offsetof(transform_parameters, green_output_LUT_data) == 104);
static_assert(offsetof(transform_parameters, green_output_LUT_enabled) == 112);
static_assert(offsetof(transform_parameters, red_output_LUT_data) == 120);
static_assert(offsetof(transform_parameters, red_output_LUT_enabled) == 128);
static_assert(offsetof(transform_parameters, blue_shift_distance) == 132);
static_assert(offsetof(transform_parameters, green_shift_distance) == 136);
static_assert(offsetof(transform_parameters, red_shift_distance) == 140);
static_assert(offsetof(transform_parameters, output_buffer) == 144);
static_assert(offsetof(transform_parameters, output_format) == 152);
static_assert(offsetof(transform_parameters, has_alpha_channel) == 156);
static_assert(offsetof(transform_parameters, pixel_count) == 160);

// The processor's colour matrix: nine floats, row by row, rows output red, green, blue, columns input
// red, green, blue. It stands first in the processor, so that a vector module needs to know nothing else
// of it.
inline const float* matrix_of(const transform_parameters& parameters)
{
    return reinterpret_cast<const float*>(parameters.processor);
}

} // namespace kx
