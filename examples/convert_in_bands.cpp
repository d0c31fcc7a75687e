// Converts one camera frame for a screen on all of the machine's cores: each thread takes a band of the rows, and all
// share one color processor.
#include <korvex_kvi_color_processing.hpp>

#include <cstdio>
#include <exception>
#include <vector>

namespace kc = korvex::color;

int main()
try {
    const std::size_t width = 4000;
    const std::size_t height = 3000;
    std::vector<std::uint16_t> frame(width * height * 3);
    for (std::size_t i = 0; i < frame.size(); ++i) {
        frame[i] = static_cast<std::uint16_t>(i * 2654435761U >> 16U); // any picture will do
    }
    std::vector<std::uint8_t> in_bands(frame.size());
    std::vector<std::uint8_t> at_once(frame.size());

    const kc::library library;
    kc::processor processor(library);
    processor.append_matrix({1.6F, -0.4F, -0.2F, -0.3F, 1.5F, -0.2F, 0.0F, -0.5F, 1.5F});
    kc::transform_options options;
    options.shift = -8; // the high 8 of 16 bits

    const kc::image_view camera(frame.data(), kc::pixel_layout::interleaved_bgr, width, height);
    const auto screen = [&](std::vector<std::uint8_t>& pixels) {
        return kc::image_view(pixels.data(), kc::pixel_layout::interleaved_rgb, width, height);
    };
    kc::for_each_band(camera, 0, [&, to = screen(in_bands)](std::size_t band, std::size_t count) {
        processor.transform(camera.band(band, count), to.band(band, count), options);
    });
    processor.transform(camera, screen(at_once), options);

    std::puts(in_bands == at_once ? "The bands give the same picture." : "The bands give another picture!");
    return in_bands == at_once ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
