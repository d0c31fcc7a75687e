// Pixels a second of the main kinds of transform, at every vector level, for an image in the cache and one far
// beyond it, and a memcpy of the same bytes for comparison. A case's runs stand side by side, so that their ratios
// are those of one moment of a noisy machine.
#include "workload.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <exception>
#include <map>
#include <memory>
#include <string>

namespace {

using namespace kx::benchmarks;

constexpr auto planar = kc::pixel_layout::planar_bgr;
constexpr auto bgr = kc::pixel_layout::interleaved_bgr;
constexpr auto rgb = kc::pixel_layout::interleaved_rgb;

constexpr transform_case cases[] = {
    {"48 to 48, interleaved, matrix", 48, bgr, bgr, correction, 0, false, false},
    {"48 to 24, interleaved, matrix, shift -8", 24, bgr, bgr, correction, -8, false, false},
    {"48 to 64, interleaved, matrix", 64, bgr, bgr, correction, 0, false, false},
    {"48 to 32, interleaved, matrix, shift -8", 32, bgr, bgr, correction, -8, false, false},
    {"48 to 48, planar, matrix", 48, planar, planar, correction, 0, false, false},
    {"48 to 48, planar to interleaved, matrix", 48, planar, bgr, correction, 0, false, false},
    {"48 to 24, matrix, three output LUTs", 24, bgr, bgr, correction, 0, false, true},
    {"48 to 48, matrix, six LUTs", 48, bgr, bgr, correction, 0, true, true},
    {"48 to 48, bgr to rgb, identity", 48, bgr, rgb, identity, 0, false, false},
    {"48 to 24, bgr to rgb, identity, shift -8", 24, bgr, rgb, identity, -8, false, false},
    {"48 to 48, planar to interleaved, identity", 48, planar, bgr, identity, 0, false, false},
    {"48 to 24, identity, three output LUTs", 24, bgr, bgr, identity, 0, false, true},
};

constexpr std::int32_t image_sizes[] = {1 << 14, 8'000'000};
const char* const level_names[] = {"scalar", "SSE", "AVX2"};

// Bytes a call reads and writes.
std::int64_t bytes_of(const transform_case& what, std::int64_t pixels)
{
    return pixels * (48 + what.output_bits) / 8;
}

// The output begins where its address, modulo the page size, differs from the input's: two streams at the same place of
// their pages slow many machines down, memcpy most of all.
class buffers {
public:
    explicit buffers(std::int32_t pixels)
        : input_(noise_image(pixels)), output_(static_cast<std::size_t>(pixels) * 4 + output_offset)
    {
    }

    [[nodiscard]] const std::vector<std::uint16_t>& input() const { return input_; }
    [[nodiscard]] std::uint16_t* output() { return output_.data() + output_offset; }

private:
    static constexpr std::size_t output_offset = 800; // samples; keeps the alignment

    std::vector<std::uint16_t> input_;
    std::vector<std::uint16_t> output_;
};

buffers& buffers_of(std::int32_t pixels)
{
    static std::map<std::int32_t, std::unique_ptr<buffers>> all;
    auto& found = all[pixels];
    if (found == nullptr) {
        found = std::make_unique<buffers>(pixels);
    }
    return *found;
}

void finish(benchmark::State& state, const transform_case& what, std::int32_t pixels)
{
    state.SetItemsProcessed(state.iterations() * pixels);
    state.SetBytesProcessed(state.iterations() * bytes_of(what, pixels));
}

void run_transform(benchmark::State& state, const transform_case& what, kc::processor& with, std::int32_t pixels)
{
    buffers& images = buffers_of(pixels);
    configure(with, what);
    while (state.KeepRunning()) {
        transform(with, what, images.input(), images.output());
        benchmark::ClobberMemory();
    }
    finish(state, what, pixels);
}

// As many bytes read and written together as the transform does, half of them each way.
void run_memcpy(benchmark::State& state, const transform_case& what, std::int32_t pixels)
{
    buffers& images = buffers_of(pixels);
    const auto half = static_cast<std::size_t>(bytes_of(what, pixels) / 2);
    while (state.KeepRunning()) {
        std::memcpy(images.output(), images.input().data(), std::min(half, images.input().size() * 2));
        benchmark::ClobberMemory();
    }
    finish(state, what, pixels);
}

} // namespace

int main(int argc, char** argv)
try {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    const kc::library library;
    kc::processor processors[] = {make_processor(library, 0), make_processor(library, 1), make_processor(library, 2)};
    for (const std::int32_t pixels : image_sizes) {
        for (const transform_case& what : cases) {
            const std::string name = std::string(what.name) + "/" + std::to_string(pixels) + "/";
            for (int level = 0; level < 3; ++level) {
                benchmark::RegisterBenchmark((name + level_names[level]).c_str(), run_transform, what,
                                             std::ref(processors[level]), pixels);
            }
            benchmark::RegisterBenchmark((name + "memcpy").c_str(), run_memcpy, what, pixels);
        }
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
