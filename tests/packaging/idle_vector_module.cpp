// Passes for the SSE module, or on ARM64 for the NEON module; says that it converted everything and does nothing.
#include "companion_interfaces/transform_parameters.h"
#include "module_export.h"
#include "platform/architecture.h"

#include <algorithm>

#if defined(KX_ARM64)
#define KX_NAME(before, after) before##neon##after
#else
#define KX_NAME(before, after) before##sse##after
#endif

extern "C" {

KX_MODULE_EXPORT std::int32_t KX_NAME(kx_color_processing_vector_, _module_initialize)()
{
    return 0;
}

KX_MODULE_EXPORT std::uint32_t
KX_NAME(kx_color_processing_transform_8_bit_output_vector_, )(const kx::transform_parameters* parameters)
{
    return static_cast<std::uint32_t>(std::max(parameters->pixel_count, 0));
}

KX_MODULE_EXPORT std::uint32_t
KX_NAME(kx_color_processing_transform_16_bit_output_vector_, )(const kx::transform_parameters* parameters)
{
    return KX_NAME(kx_color_processing_transform_8_bit_output_vector_, )(parameters);
}

KX_MODULE_EXPORT std::int32_t KX_NAME(kx_color_processing_vector_, _module_terminate)()
{
    return 0;
}

// None of the module's.
KX_MODULE_EXPORT void kx_one_too_many() {}
}
