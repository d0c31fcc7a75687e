// The same conversions with what one would take instead, on the same image in the same run. Each of the other
// libraries has a file of its own that registers its benchmarks; those not installed are missing. None of them promises
// the same bytes.
#include "workload.h"

#include <benchmark/benchmark.h>

namespace {

using namespace kx::benchmarks;

constexpr auto rgb = kc::pixel_layout::interleaved_rgb;
constexpr std::int32_t pixels = 8'000'000;

void run(benchmark::State& state, const transform_case& what)
{
    kc::processor with = make_processor(kc::library(), static_cast<std::int32_t>(state.range(0)));
    configure(with, what);
    const std::vector<std::uint16_t> input = noise_image(pixels);
    std::vector<std::uint16_t> output(static_cast<std::size_t>(pixels) * 4);
    while (state.KeepRunning()) {
        transform(with, what, input, output.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * pixels);
}

void matrix_to_16_bits(benchmark::State& state)
{
    run(state, {"", 48, rgb, rgb, correction, 0, false, false});
}

void matrix_to_8_bits(benchmark::State& state)
{
    run(state, {"", 24, rgb, rgb, correction, -8, false, false});
}

void matrix_and_table_to_8_bits(benchmark::State& state)
{
    run(state, {"", 24, rgb, rgb, correction, 0, false, true});
}

// At the AVX2 level.
BENCHMARK(matrix_to_16_bits)->Name("matrix to 16 bits/this library")->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_to_8_bits)->Name("matrix to 8 bits/this library")->Arg(2)->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_and_table_to_8_bits)
    ->Name("matrix and table to 8 bits/this library")
    ->Arg(2)
    ->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
