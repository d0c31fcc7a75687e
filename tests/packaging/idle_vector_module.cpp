// Passes for the SSE module, says that it converted everything and does nothing.
#include "companion_interfaces/transform_parameters.h"
#include "module_export.h"

#include <algorithm>

extern "C" {

KX_MODULE_EXPORT std::int32_t kx_color_processing_vector_sse_module_initialize()
{
    return 0;
}

KX_MODULE_EXPORT std::uint32_t
kx_color_processing_transform_8_bit_output_vector_sse(const kx::transform_parameters* parameters)
{
    return static_cast<std::uint32_t>(std::max(parameters->pixel_count, 0));
}

KX_MODULE_EXPORT std::uint32_t
kx_color_processing_transform_16_bit_output_vector_sse(const kx::transform_parameters* parameters)
{
    return kx_color_processing_transform_8_bit_output_vector_sse(parameters);
}

KX_MODULE_EXPORT std::int32_t kx_color_processing_vector_sse_module_terminate()
{
    return 0;
}

// None of the SSE module's.
KX_MODULE_EXPORT void kx_one_too_many() {}
}
