// A part of a program that uses the library through the C++ header and knows of nobody else: see users_test.cpp.
#include "korvex_kvi_color_processing.hpp"

#include <optional>

#if defined(_WIN32)
#define KX_PLUG_IN_API extern "C" __declspec(dllexport)
#else
#define KX_PLUG_IN_API extern "C" __attribute__((visibility("default")))
#endif

namespace {

namespace kc = korvex::color;

std::optional<kc::library> the_library;
std::optional<kc::processor> the_processor;

} // namespace

KX_PLUG_IN_API void plug_in_start()
{
    the_library.emplace();
}

// Makes a processor that doubles every sample by its LUTs.
KX_PLUG_IN_API void plug_in_create()
{
    the_processor.emplace(*the_library, kc::processor_options{4, 0, {}});
    for (const kc::channel which : {kc::channel::blue, kc::channel::green, kc::channel::red}) {
        const kc::LUT_range LUT = the_processor->input_LUT(which);
        for (std::size_t x = 0; x < LUT.size(); ++x) {
            LUT[x] = static_cast<std::uint32_t>(2 * x);
        }
    }
    the_processor->enable_input_LUTs(true);
}

// What becomes of a green sample.
KX_PLUG_IN_API int plug_in_convert(int green)
{
    const std::uint16_t input[] = {1, static_cast<std::uint16_t>(green), 3};
    std::uint16_t output[3] = {};
    the_processor->transform(kc::image_view(input, kc::pixel_layout::interleaved_bgr, 1, 1),
                             kc::image_view(output, kc::pixel_layout::interleaved_bgr, 1, 1));
    return output[1];
}

KX_PLUG_IN_API void plug_in_end()
{
    the_processor.reset();
    the_library.reset();
}
