// The loops that arm64_estimates.py looks at, each a function with the name of a row of its table.
#include "kernels/pixel_kernel.h"
#include "vector/LUT_stages.h"
#include "vector/convert.h"
#include "vector/neon_vectors.h"

namespace {

using namespace kx;
using namespace kx::vector;

constexpr auto interleaved = sample_layout::interleaved_bgr;

constexpr unsigned number_of(bool output_LUTs, shift_kind shift)
{
    unsigned number = 0;
    std::size_t at = 0;
    const per_channel<bool> looked_up{output_LUTs, output_LUTs, output_LUTs};
    for (const unsigned digit : digits_of({interleaved, {}, looked_up, {shift, shift, shift}, false})) {
        number = number * choice_options[at++] + digit;
    }
    return number;
}

template <typename sample, bool output_LUTs, shift_kind shift>
void scalar(const kernel_request<sample>& request)
{
    convert_pixels(request, fixed_choices<number_of(output_LUTs, shift)>{});
}

template <typename sample, sample_layout output, shifting shift>
void neon(const image<const std::uint16_t>& from, const image<sample>& to, std::ptrdiff_t count,
          const conversion_settings& settings)
{
    convert_loop<neon_vectors, matrix_product<neon_vectors>, channel_finish<neon_vectors, clamping::none, shift>,
                 interleaved, output, false>(from, to, count, settings);
}

using words = const image<const std::uint16_t>&;

} // namespace

#define KX_LOOP extern "C" __attribute__((visibility("default"), flatten)) void

KX_LOOP scalar_48_to_48(const kernel_request<std::uint16_t>& request)
{
    scalar<std::uint16_t, false, shift_kind::none>(request);
}

KX_LOOP scalar_48_to_24(const kernel_request<std::uint8_t>& request)
{
    scalar<std::uint8_t, false, shift_kind::right>(request);
}

KX_LOOP scalar_48_to_48_LUTs(const kernel_request<std::uint16_t>& request)
{
    scalar<std::uint16_t, true, shift_kind::none>(request);
}

KX_LOOP neon_48_to_48(words from, const image<std::uint16_t>& to, std::ptrdiff_t count,
                      const conversion_settings& settings)
{
    neon<std::uint16_t, interleaved, shifting::none>(from, to, count, settings);
}

KX_LOOP neon_48_to_24(words from, const image<std::uint8_t>& to, std::ptrdiff_t count,
                      const conversion_settings& settings)
{
    neon<std::uint8_t, interleaved, shifting::right>(from, to, count, settings);
}

// With output LUTs: the sums of a block, then the look-ups of each channel.
KX_LOOP neon_sums(words from, const image<std::uint16_t>& to, std::ptrdiff_t count, const conversion_settings& settings)
{
    neon<std::uint16_t, sample_layout::planar_bgr, shifting::none>(from, to, count, settings);
}

KX_LOOP look_ups(const std::uint16_t* from, std::uint16_t* to, std::ptrdiff_t count, const std::uint16_t* table)
{
    map_samples_by<1, 3>(from, to, count, [table](std::uint16_t value) { return table[value]; });
}
