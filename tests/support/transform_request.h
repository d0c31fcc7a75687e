// The four transforms, called through one record of their arguments.
#pragma once

#include "support/color_processing_exports.h"

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace kx_test {

struct transform_export {
    const char* name;
    const char* timer_name;
    std::size_t sample_bytes;
    std::size_t samples_per_pixel;
    std::int32_t (*call)(const color_processing_exports& kx, kx_color_processor* processor,
                         const struct transform_request& request);
};

// A transform's arguments, with defaults that change nothing about a pixel.
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

namespace detail {

template <auto entry_point, typename output_sample>
std::int32_t call(const color_processing_exports& kx, kx_color_processor* processor, const transform_request& request)
{
    const transform_request& r = request;
    return (kx.*entry_point)(processor, r.input, r.input_format, r.blue_min, r.blue_max, r.green_min, r.green_max,
                             r.red_min, r.red_max, r.blue_shift, r.green_shift, r.red_shift,
                             static_cast<output_sample*>(r.output), r.output_format, r.pixel_count);
}

} // namespace detail

inline constexpr transform_export transform_exports[] = {
    {"kx_color_transform_48_to_48", "color processing transform 48 to 48", 2, 3,
     detail::call<&color_processing_exports::transform_48_to_48, std::uint16_t>},
    {"kx_color_transform_48_to_64", "color processing transform 48 to 64", 2, 4,
     detail::call<&color_processing_exports::transform_48_to_64, std::uint16_t>},
    {"kx_color_transform_48_to_24", "color processing transform 48 to 24", 1, 3,
     detail::call<&color_processing_exports::transform_48_to_24, std::uint8_t>},
    {"kx_color_transform_48_to_32", "color processing transform 48 to 32", 1, 4,
     detail::call<&color_processing_exports::transform_48_to_32, std::uint8_t>},
};

inline std::ostream& operator<<(std::ostream& stream, const transform_export& tested)
{
    return stream << tested.name;
}

} // namespace kx_test
