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

// Makes a processor that has a LUT turn a green 7 into 14.
KX_PLUG_IN_API void plug_in_create()
{
    the_processor.emplace(*the_library, kc::processor_options{4, 0, {}});
    the_processor->input_LUT(kc::channel::green)[7] = 14;
    the_processor->enable_input_LUTs(true);
}

// What becomes of a green 7.
KX_PLUG_IN_API int plug_in_convert()
{
    const std::uint16_t input[] = {1, 7, 3};
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
