// The ladder from a record to its kernel: one step decides one choice and appends it to the combination's number.
#pragma once

#include "kernels/kernel_request.h"

#include <cstddef>
#include <type_traits>

namespace kx {

// Decides the choices from `decided` up to `end` and calls `then` with the number that they make, a constant. Internal
// linkage, as nothing outside the compilation unit calls the steps: the compiler folds them into one function.
template <std::size_t decided, std::size_t end, unsigned number, typename function>
static void select_from(const choice_digits& wanted, const function& then)
{
    if constexpr (decided == end) {
        then(std::integral_constant<unsigned, number>{});
    } else {
        constexpr unsigned options = choice_options[decided];
        if (wanted[decided] == 1) {
            return select_from<decided + 1, end, number * options + 1>(wanted, then);
        }
        if constexpr (options == 3) {
            if (wanted[decided] == 2) {
                return select_from<decided + 1, end, number * options + 2>(wanted, then);
            }
        }
        return select_from<decided + 1, end, number * options>(wanted, then);
    }
}

// The first choices (input layout, the input LUTs, the blue output LUT) lead to 48 branches in each family. Each is a
// source of its own (kernel_branch.cpp.in) with the 216 kernels that the other choices tell apart.
inline constexpr std::size_t branch_choices = 5;

template <typename output_sample, unsigned branch>
void run_branch(const kernel_request<output_sample>& request);

} // namespace kx
