// Measures the library as hosts meet it and writes the figures to a file, as JSON.
//     kx_benchmark PHOTOGRAPH RESULTS [--quick]
// PHOTOGRAPH is a 12-bit camera's, such as examples/simulated_camera.py makes. --quick only shows that everything runs.
#include "sections.h"

#include "images/image_file.h"

#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <stdexcept>

namespace {

using namespace kx::benchmarks;

image part_of(const image& whole, const char* name, std::size_t width, std::size_t height)
{
    image part = {name, width, height, {}};
    const kc::image_view all(whole.samples.data(), kc::pixel_layout::interleaved_rgb, whole.width, whole.height);
    const auto middle = all.rectangle((whole.width - width) / 2, (whole.height - height) / 2, width, height);
    for (std::size_t y = 0; y < height; ++y) {
        const std::uint16_t* const row = middle.at(0, y, 2); // from the first pixel's red sample on
        part.samples.insert(part.samples.end(), row, row + 3 * width);
    }
    return part;
}

image in_high_bits(image of_12_bits)
{
    for (std::uint16_t& sample : of_12_bits.samples) {
        sample = static_cast<std::uint16_t>(sample << 4U);
    }
    return of_12_bits;
}

image photograph_of(const char* file)
{
    kx::images::image_16 page = kx::images::open_image(file)->read_page();
    if (page.layout != kx::images::arrangement::interleaved_rgb || page.width < 1920 || page.height < 1200) {
        throw std::runtime_error(std::string(file) + ": needed are interleaved samples of 1920 x 1200 pixels or more");
    }
    return {"photograph", page.width, page.height, std::move(page.samples)};
}

images all_images(const char* file, bool quick)
{
    images all;
    const std::size_t rows = quick ? 200 : 2000;
    all.noise = {"noise", 4000, rows, noise_image(static_cast<std::int32_t>(4000 * rows))};
    all.small_noise = {"noise", 128, 128, noise_image(128 * 128)};
    all.photograph = photograph_of(file);
    all.frame = part_of(all.photograph, "frame", 640, 480);
    all.large_frame = part_of(all.photograph, "frame", 1920, 1200);
    all.photograph_16 = in_high_bits(all.photograph);
    all.frame_16 = in_high_bits(all.frame);
    return all;
}

} // namespace

int main(int argc, char** argv)
try {
    const bool quick = argc == 4 && std::strcmp(argv[3], "--quick") == 0;
    if (argc != 3 && !quick) {
        std::fprintf(stderr, "usage: %s PHOTOGRAPH RESULTS [--quick]\n", argv[0]);
        return 2;
    }
    const effort how = quick ? effort{3, 0.0005, 20} : effort{15, 0.01, 1000};
    const images all = all_images(argv[1], quick);
    json results = {{"quick", quick}, {"rounds", how.rounds}};
    std::fputs("Conversions\n", stderr);
    results["conversions"] = measure_conversions(all, how);
    std::fputs("Empty calls\n", stderr);
    results["empty call"] = measure_empty_calls(how);
    std::fputs("Threads\n", stderr);
    results["threads"] = measure_threads(all, how);
    std::fputs("Live frames\n", stderr);
    results["live frames"] = measure_live_frames(all, how);
    std::ofstream file(argv[2]);
    file.exceptions(std::ios::badbit | std::ios::failbit);
    file << results << '\n';
    file.close();
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
