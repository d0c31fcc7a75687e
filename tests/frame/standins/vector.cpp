// Stand-in for a vector module: KX_VECTOR is what the tests call it, sse or avx2, and KX_ENTRY_POINTS how it calls
// itself.
#include "frame/standins/standin.h"

#include "companion_interfaces/transform_parameters.h"

#define KX_JOIN_NOW(a, b, c) a##b##c
#define KX_JOIN(a, b, c) KX_JOIN_NOW(a, b, c)
#define KX_TEXT_NOW(a) #a
#define KX_TEXT(a) KX_TEXT_NOW(a)

using namespace standins;

namespace {

constexpr char name[] = KX_TEXT(KX_VECTOR);
const presence<name> reports_presence;

const vector_script& the_script()
{
    return the_recorder().vector[KX_VECTOR];
}

std::uint32_t transform(const char* call)
{
    record(name + std::string(call));
    throw_if(the_script().transform_throws);
    const auto end = std::chrono::steady_clock::now() + the_script().transform_takes;
    while (std::chrono::steady_clock::now() < end) {
    }
    return the_script().first_unconverted;
}

} // namespace

KX_STANDIN_API std::int32_t KX_JOIN(kx_color_processing_vector_, KX_ENTRY_POINTS, _module_initialize)()
{
    record(name + std::string(" initialize"));
    throw_if(the_script().initialize_throws);
    return the_script().initialize_result;
}

KX_STANDIN_API std::uint32_t KX_JOIN(kx_color_processing_transform_8_bit_output_vector_,
                                     KX_ENTRY_POINTS, )(const kx::transform_parameters* /*parameters*/)
{
    return transform(" transforms to 8 bits");
}

KX_STANDIN_API std::uint32_t KX_JOIN(kx_color_processing_transform_16_bit_output_vector_,
                                     KX_ENTRY_POINTS, )(const kx::transform_parameters* /*parameters*/)
{
    return transform(" transforms to 16 bits");
}

KX_STANDIN_API std::int32_t KX_JOIN(kx_color_processing_vector_, KX_ENTRY_POINTS, _module_terminate)()
{
    record(name + std::string(" terminate"));
    throw_if(the_script().terminate_throws);
    return 1; // must not matter
}
