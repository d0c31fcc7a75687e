#include "avx2_transform.h"

#include "avx2_vectors.h"
#include "transform.h"

namespace kx::vector {

std::uint32_t transform_8_bit_output_avx2(const transform_parameters& parameters)
{
    return transform<avx2_vectors, std::uint8_t>(parameters);
}

std::uint32_t transform_16_bit_output_avx2(const transform_parameters& parameters)
{
    return transform<avx2_vectors, std::uint16_t>(parameters);
}

} // namespace kx::vector
