// The second half of the ladder, and the kernels at its end.
#pragma once

#include "kernels/kernel_selection.h"
#include "kernels/pixel_kernel.h"

namespace kx {

template <typename output_sample, unsigned branch>
void run_branch(const kernel_request<output_sample>& request)
{
    select_from<branch_choices, choice_options.size(), branch>(
        digits_of(request.choices), [&](auto number) { convert_pixels(request, fixed_choices<number()>{}); });
}

} // namespace kx
