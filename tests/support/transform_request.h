// The fifteen arguments of a transform in one record.
#pragma once

#include "korvex_kvi_color_processing.h"

#include <cstdint>

namespace kx_test {

// Defaults that change nothing about a pixel.
struct transform_request {
    const std::uint16_t* input = nullptr;
    std::int32_t input_format = KX_COLOR_INTERLEAVED_BGR;
    std::uint16_t blue_min = 0, blue_max = 65535;
    std::uint16_t green_min = 0, green_max = 65535;
    std::uint16_t red_min = 0, red_max = 65535;
    std::int32_t blue_shift = 0, green_shift = 0, red_shift = 0;
    void* output = nullptr;
    std::int32_t output_format = KX_COLOR_INTERLEAVED_BGR;
    std::int32_t pixel_count = 0;
};

// Calls one of the four exports, or what stands for it.
template <typename output_sample, typename transform_function>
std::int32_t call_transform(transform_function* transform, kx_color_processor* processor, const transform_request& r)
{
    return transform(processor, r.input, r.input_format, r.blue_min, r.blue_max, r.green_min, r.green_max, r.red_min,
                     r.red_max, r.blue_shift, r.green_shift, r.red_shift, static_cast<output_sample*>(r.output),
                     r.output_format, r.pixel_count);
}

} // namespace kx_test
