// Corrects the colours of one image: 48-bit pixels in, 24-bit pixels for a screen out.
#include <korvex_kvi_color_processing.hpp>

#include <cstdio>

namespace kc = korvex::color;

int main()
try {
    const kc::library library;
    kc::processor processor(library);
    processor.append_matrix({1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F});
    kc::transform_options options;
    options.shift = -8; // the high 8 of 16 bits

    const std::uint16_t camera[] = {4000, 8000, 12000, 30000, 30000, 30000}; // blue, green, red
    std::uint8_t screen[6];
    processor.transform(kc::image_view(camera, kc::pixel_layout::interleaved_bgr, 2, 1),
                        kc::image_view(screen, kc::pixel_layout::interleaved_rgb, 2, 1), options);
    std::printf("red %d, green %d, blue %d\n", screen[0], screen[1], screen[2]);
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
