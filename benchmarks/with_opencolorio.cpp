// OpenColorIO: a matrix transform, and one followed by a table of 4,096 entries a channel.
#include "workload.h"

#include <OpenColorIO/OpenColorIO.h>
#include <benchmark/benchmark.h>

namespace {

namespace ocio = OCIO_NAMESPACE;
using namespace kx::benchmarks;

constexpr long columns = 4000;
constexpr long rows = 2000;

ocio::ConstCPUProcessorRcPtr make_processor(bool with_table, ocio::BitDepth output_depth)
{
    double elements[16] = {};
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            elements[4 * row + column] = static_cast<double>(correction[3 * row + column]);
        }
    }
    elements[15] = 1.0;
    const auto matrix = ocio::MatrixTransform::Create();
    matrix->setMatrix(elements);
    const auto group = ocio::GroupTransform::Create();
    group->appendTransform(matrix);
    if (with_table) {
        const auto table = ocio::Lut1DTransform::Create(4096, false);
        for (unsigned long i = 0; i < 4096; ++i) {
            const float value = 1.0F - static_cast<float>(i) / 4095.0F;
            table->setValue(i, value, value, value);
        }
        group->appendTransform(table);
    }
    return ocio::Config::CreateRaw()->getProcessor(group)->getOptimizedCPUProcessor(
        ocio::BIT_DEPTH_UINT16, output_depth, ocio::OPTIMIZATION_DEFAULT);
}

template <typename sample>
void run(benchmark::State& state, bool with_table, ocio::BitDepth depth)
{
    const auto processor = make_processor(with_table, depth);
    std::vector<std::uint16_t> input = noise_image(rows * columns);
    std::vector<sample> output(input.size());
    const ocio::PackedImageDesc from(input.data(), columns, rows, ocio::CHANNEL_ORDERING_RGB, ocio::BIT_DEPTH_UINT16,
                                     sizeof(std::uint16_t), 3 * sizeof(std::uint16_t),
                                     3 * columns * static_cast<long>(sizeof(std::uint16_t)));
    ocio::PackedImageDesc to(output.data(), columns, rows, ocio::CHANNEL_ORDERING_RGB, depth, sizeof(sample),
                             3 * sizeof(sample), 3 * columns * static_cast<long>(sizeof(sample)));
    while (state.KeepRunning()) {
        processor->apply(from, to);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * rows * columns);
}

void matrix_to_16_bits(benchmark::State& state)
{
    run<std::uint16_t>(state, false, ocio::BIT_DEPTH_UINT16);
}

void matrix_to_8_bits(benchmark::State& state)
{
    run<std::uint8_t>(state, false, ocio::BIT_DEPTH_UINT8);
}

void matrix_and_table_to_8_bits(benchmark::State& state)
{
    run<std::uint8_t>(state, true, ocio::BIT_DEPTH_UINT8);
}

BENCHMARK(matrix_to_16_bits)->Name("matrix to 16 bits/OpenColorIO")->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_to_8_bits)->Name("matrix to 8 bits/OpenColorIO")->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_and_table_to_8_bits)
    ->Name("matrix and table to 8 bits/OpenColorIO (4,096 entries)")
    ->Unit(benchmark::kMillisecond);

} // namespace
