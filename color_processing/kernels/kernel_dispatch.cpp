// The first half of the ladder. Each of its branches goes on in a source of its own.
#include "kernels/kernel_dispatch.h"

#include "kernels/kernel_selection.h"

namespace kx {

template <typename output_sample>
void run_kernel(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    const kernel_request<output_sample> request(parameters, first_pixel);
    select_from<0, branch_choices, 0>(digits_of(request.choices),
                                      [&](auto branch) { run_branch<output_sample, branch()>(request); });
}

template void run_kernel<std::uint8_t>(const transform_parameters& parameters, std::uint32_t first_pixel);
template void run_kernel<std::uint16_t>(const transform_parameters& parameters, std::uint32_t first_pixel);

} // namespace kx
