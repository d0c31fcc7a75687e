// The SSE module's entry points.
#include "sse_transform.h"

#include "companion_interfaces/vector_module.h"
#include "initialization.h"
#include "module_export.h"
#include "supported_features.h"

namespace {
constinit kx::vector::initialization state;
}

extern "C" {

KX_MODULE_EXPORT std::int32_t kx_color_processing_vector_sse_module_initialize()
{
    return state.add(kx::vector::supports_sse(kx::platform::cpuid));
}

KX_MODULE_EXPORT std::uint32_t
kx_color_processing_transform_8_bit_output_vector_sse(const kx::transform_parameters* parameters)
{
    return state.ready() ? kx::vector::transform_8_bit_output_sse(*parameters) : 0;
}

KX_MODULE_EXPORT std::uint32_t
kx_color_processing_transform_16_bit_output_vector_sse(const kx::transform_parameters* parameters)
{
    return state.ready() ? kx::vector::transform_16_bit_output_sse(*parameters) : 0;
}

KX_MODULE_EXPORT std::int32_t kx_color_processing_vector_sse_module_terminate()
{
    state.remove();
    return 0;
}

} // extern "C"
