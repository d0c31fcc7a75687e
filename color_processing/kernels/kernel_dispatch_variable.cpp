// In place of the dispatch and its kernels in builds that would take too long with all of them (debug, sanitizers):
// the one kernel body, its choices tested at run time.
#include "kernels/kernel_dispatch.h"
#include "kernels/pixel_kernel.h"

namespace kx {

template <typename output_sample>
void run_kernel(const transform_parameters& parameters, std::uint32_t first_pixel)
{
    const kernel_request<output_sample> request(parameters, first_pixel);
    convert_pixels(request, variable_choices{request.choices});
}

template void run_kernel<std::uint8_t>(const transform_parameters& parameters, std::uint32_t first_pixel);
template void run_kernel<std::uint16_t>(const transform_parameters& parameters, std::uint32_t first_pixel);

} // namespace kx
