// What the levels of the dispatch pass on, and where level 2 hands over to level 3.
#pragma once

#include "companion_interfaces/transform_parameters.h"
#include "kernels/kernel_choices.h"

#include <cstdint>

namespace kx {

struct kernel_request {
    const transform_parameters& parameters;
    std::uint32_t first_pixel;
    shift_kind blue_shift;
    shift_kind green_shift;
    shift_kind red_shift;
};

inline kernel_request request_of(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    return {parameters, first_pixel, kind_of(parameters.blue_shift_distance), kind_of(parameters.green_shift_distance),
            kind_of(parameters.red_shift_distance)};
}

// The beginning of level 3; `number` has the digits of levels 1 and 2. Defined in kernel_ladder.h and
// instantiated by one compilation unit for each family and number.
template <typename output_sample, unsigned number>
void choose_green_output_LUT(const kernel_request& request);

inline constexpr unsigned branch_count = 48; // of levels 1 and 2, in each family

} // namespace kx
