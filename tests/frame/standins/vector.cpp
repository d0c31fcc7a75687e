// Stand-in for a vector module: KX_VECTOR names the one, sse or avx2. LEAVE_OUT_initialize and the like build
// it without that entry point.
#include "companion_interfaces/transform_parameters.h"
#include "frame/standins/standin.h"

#include <algorithm>

#define KX_JOIN_NOW(a, b, c) a##b##c
#define KX_JOIN(a, b, c) KX_JOIN_NOW(a, b, c)
#define KX_TEXT_NOW(a) #a
#define KX_TEXT(a) KX_TEXT_NOW(a)
#define KX_NAME KX_TEXT(KX_VECTOR)

namespace {

constexpr char name[] = KX_NAME;
const standin::presence<name> reports_presence;

[[maybe_unused]] const standins_vector_script& the_script()
{
    return standin::script().vector[KX_JOIN(standins_, KX_VECTOR, )];
}

template <typename sample>
void fill_prefix(const kx::transform_parameters& record, std::uint32_t first_unconverted)
{
    const std::ptrdiff_t samples = record.has_alpha_channel != 0 ? 4 : 3;
    const std::ptrdiff_t end = std::min<std::ptrdiff_t>(record.pixel_count, first_unconverted);
    const bool planar = record.output_format <= kx::pixel_format::planar_bgr;
    auto* const output = static_cast<sample*>(record.output_buffer);
    for (std::ptrdiff_t pixel = 0; pixel < end; ++pixel) {
        for (std::ptrdiff_t i = 0; i < samples; ++i) {
            output[planar ? i * record.pixel_count + pixel : pixel * samples + i] =
                static_cast<sample>(standins_marker);
        }
    }
}

template <typename sample>
[[maybe_unused]] std::uint32_t transform(const kx::transform_parameters* record)
{
    standin::record(standins_vector_call, KX_NAME " transforms to %d bits", static_cast<int>(8 * sizeof(sample)));
    standins_see_record(record);
    standin::throw_if(the_script().transform_throws);
    const std::uint32_t first_unconverted = the_script().first_unconverted;
    if (the_script().fills_prefix != 0) {
        fill_prefix<sample>(*record, first_unconverted);
    }
    return first_unconverted;
}

} // namespace

#ifndef LEAVE_OUT_initialize
KX_STANDIN_API std::int32_t KX_JOIN(kx_color_processing_vector_, KX_VECTOR, _module_initialize)()
{
    standin::record(standins_vector_call, KX_NAME " initialize");
    standin::throw_if(the_script().initialize_throws);
    return the_script().initialize_result;
}
#endif

#ifndef LEAVE_OUT_transform_8_bit_output
KX_STANDIN_API std::uint32_t KX_JOIN(kx_color_processing_transform_8_bit_output_vector_,
                                     KX_VECTOR, )(const kx::transform_parameters* record)
{
    return transform<std::uint8_t>(record);
}
#endif

#ifndef LEAVE_OUT_transform_16_bit_output
KX_STANDIN_API std::uint32_t KX_JOIN(kx_color_processing_transform_16_bit_output_vector_,
                                     KX_VECTOR, )(const kx::transform_parameters* record)
{
    return transform<std::uint16_t>(record);
}
#endif

#ifndef LEAVE_OUT_terminate
KX_STANDIN_API std::int32_t KX_JOIN(kx_color_processing_vector_, KX_VECTOR, _module_terminate)()
{
    standin::record(standins_vector_call, KX_NAME " terminate");
    return 1; // must not matter
}
#endif
