// What else a host meets: small calls, threads, live frames. With the modules that ship.
#include "modules.h"
#include "sections.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <thread>

namespace kx::benchmarks {

namespace {

constexpr auto rgb = kc::pixel_layout::interleaved_rgb;
constexpr std::int32_t highest_level = KX_COLOR_VECTOR_LEVEL_AVX2;

constexpr transform_case plain = {"48 to 24, matrix, shift -4", 24, rgb, rgb, correction, -4, false, false, 12};
constexpr transform_case with_tables = {
    "48 to 24, input LUTs, matrix, output LUTs", 24, rgb, rgb, correction, 0, true, true, 12};

contestant empty_call(const char* name, const std::string& logger_module)
{
    return {name, [logger_module]() -> call {
                std::unique_ptr<module_in_front> in_front;
                if (!logger_module.empty()) {
                    in_front = std::make_unique<module_in_front>(logger_module);
                }
                const auto with = std::make_shared<kc::processor>(make_processor(kc::library(), highest_level, plain));
                return [with] {
                    const std::uint16_t input[3] = {};
                    std::uint8_t output[3];
                    if (kx_color_transform_48_to_24(with->handle(), input, KX_COLOR_INTERLEAVED_RGB, 0, 65535, 0, 65535,
                                                    0, 65535, 0, 0, 0, output, KX_COLOR_INTERLEAVED_RGB, 0)
                        != KX_COLOR_SUCCESS) {
                        throw std::runtime_error("an empty call failed");
                    }
                };
            }};
}

// The image by bands of rows, each on a thread of its own, that the call starts.
contestant on_threads(std::size_t threads, const transform_case& what, const image& input, std::uint16_t* output)
{
    const std::string name = threads == 1 ? "one thread" : "two threads";
    return {name, [=, &what, &input]() -> call {
                const auto with =
                    std::make_shared<const kc::processor>(make_processor(kc::library(), highest_level, what));
                return [=, &what, &input] {
                    const kc::image_view from(input.samples.data(), rgb, input.width, input.height);
                    const kc::image_view to(reinterpret_cast<std::uint8_t*>(output), rgb, input.width, input.height);
                    kc::transform_options options;
                    options.shift = what.shift;
                    const auto convert = [&](std::size_t band) {
                        with->transform(from.band(band, threads), to.band(band, threads), options);
                    };
                    std::vector<std::jthread> others;
                    for (std::size_t band = 1; band < threads; ++band) {
                        others.emplace_back(convert, band);
                    }
                    convert(0);
                };
            }};
}

double seconds_of(const call& timed)
{
    const auto start = std::chrono::steady_clock::now();
    timed();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// While it waits for the next frame the camera writes it.
json live_frames(const image& camera, const effort& how)
{
    std::fprintf(stderr, "  %zu x %zu\n", camera.width, camera.height);
    const kc::processor with = make_processor(kc::library(), highest_level, with_tables);
    std::vector<std::uint16_t> input(camera.samples.size());
    std::vector<std::uint16_t> output(input.size());
    std::vector<double> conversions;
    std::vector<double> copies;
    auto next = std::chrono::steady_clock::now();
    for (int frame = 0; frame < how.frames; ++frame) {
        input = camera.samples;
        next += std::chrono::milliseconds(10);
        std::this_thread::sleep_until(next);
        conversions.push_back(seconds_of(
            [&] { transform(with, with_tables, input.data(), output.data(), camera.width, camera.height); }));
        const std::size_t half = camera.pixels() * (6 + 3) / 2; // of the bytes that the conversion reads and writes
        copies.push_back(seconds_of([&] { std::memcpy(output.data(), input.data(), half); }));
    }
    return {{"conversion", with_tables.name},
            {"width", camera.width},
            {"height", camera.height},
            {"seconds", {{"conversion", conversions}, {"memcpy", copies}}}};
}

} // namespace

json measure_empty_calls(const effort& how)
{
    return measured({empty_call("with the logger module", ""), empty_call("without", empty_logger_module())}, how);
}

json measure_threads(const images& all, const effort& how)
{
    json rows = json::array();
    std::vector<std::uint16_t> output(all.photograph.samples.size());
    for (const transform_case* const what : {&plain, &with_tables}) {
        std::fprintf(stderr, "  %s\n", what->name);
        rows.push_back({{"conversion", what->name},
                        {"pixels", all.photograph.pixels()},
                        {"seconds", measured({on_threads(1, *what, all.photograph, output.data()),
                                              on_threads(2, *what, all.photograph, output.data())},
                                             how)}});
    }
    return rows;
}

json measure_live_frames(const images& all, const effort& how)
{
    return {live_frames(all.frame, how), live_frames(all.large_frame, how)};
}

} // namespace kx::benchmarks
