// Converts one camera frame for a screen on all of the machine's cores: each thread takes a band of the rows, and all
// share one color processor.
#include <korvex_kvi_color_processing.hpp>

#include <cstdio>
#include <exception>
#include <thread>
#include <vector>

namespace kc = korvex::color;

static void convert_in_bands(const kc::processor& processor, const kc::image_view<const std::uint16_t>& camera,
                             const kc::image_view<std::uint8_t>& screen, const kc::transform_options& options)
{
    const std::size_t count = std::thread::hardware_concurrency() + 1; // which may be 0, for "unknown"
    std::vector<std::exception_ptr> failures(count);
    std::vector<std::thread> threads;
    for (std::size_t band = 0; band < count; ++band) {
        threads.emplace_back([&, band] {
            try {
                processor.transform(camera.band(band, count), screen.band(band, count), options);
            } catch (...) {
                failures[band] = std::current_exception(); // no exception may leave a thread
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

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
    convert_in_bands(processor, camera, screen(in_bands), options);
    processor.transform(camera, screen(at_once), options);

    std::puts(in_bands == at_once ? "The bands give the same picture." : "The bands give another picture!");
    return in_bands == at_once ? 0 : 1;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
