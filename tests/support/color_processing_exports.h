// The library's nineteen exports, found by name in a copy that the test loaded itself, and the four
// transforms called through one record of their arguments.
#pragma once

#include "support/shared_library.h"
#include "support/transform_request.h"

#include <cstddef>
#include <cstdint>
#include <ostream>

namespace kx_test {

struct color_processing_exports {
    const shared_library& library;

// NOLINTBEGIN(bugprone-macro-parentheses): a name to declare has none
#define KX_EXPORT(prefix, name)                                                                                        \
    decltype(&prefix##name) name = reinterpret_cast<decltype(name)>(library.address_of(#prefix #name))
    // NOLINTEND(bugprone-macro-parentheses)
    KX_EXPORT(kx_color_processing_, module_initialize);
    KX_EXPORT(kx_color_processing_, module_terminate);
    KX_EXPORT(kx_color_, create_color_processor);
    KX_EXPORT(kx_color_, create_color_processor_test);
    KX_EXPORT(kx_color_, destroy_color_processor);
    KX_EXPORT(kx_color_, append_matrix);
    KX_EXPORT(kx_color_, clear_matrix);
    KX_EXPORT(kx_color_, get_blue_input_LUT);
    KX_EXPORT(kx_color_, get_green_input_LUT);
    KX_EXPORT(kx_color_, get_red_input_LUT);
    KX_EXPORT(kx_color_, enable_input_LUTs);
    KX_EXPORT(kx_color_, get_blue_output_LUT);
    KX_EXPORT(kx_color_, get_green_output_LUT);
    KX_EXPORT(kx_color_, get_red_output_LUT);
    KX_EXPORT(kx_color_, enable_output_LUTs);
    KX_EXPORT(kx_color_, transform_48_to_48);
    KX_EXPORT(kx_color_, transform_48_to_64);
    KX_EXPORT(kx_color_, transform_48_to_24);
    KX_EXPORT(kx_color_, transform_48_to_32);
#undef KX_EXPORT
};

struct transform_export {
    const char* name;
    const char* timer_name;
    std::size_t sample_bytes;
    std::size_t samples_per_pixel;
    std::int32_t (*call)(const color_processing_exports& kx, kx_color_processor* processor,
                         const transform_request& request);
};

namespace detail {

template <auto entry_point, typename output_sample>
std::int32_t call(const color_processing_exports& kx, kx_color_processor* processor, const transform_request& request)
{
    return call_transform<output_sample>(kx.*entry_point, processor, request);
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
