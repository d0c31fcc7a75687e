#include "sse_transform.h"

#include "sse_vectors.h"
#include "transform.h"

namespace kx::vector {

std::uint32_t transform_8_bit_output_sse(const transform_parameters& parameters)
{
    return transform<sse_vectors, std::uint8_t>(parameters);
}

std::uint32_t transform_16_bit_output_sse(const transform_parameters& parameters)
{
    return transform<sse_vectors, std::uint16_t>(parameters);
}

} // namespace kx::vector
