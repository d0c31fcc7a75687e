// OpenCV: transform, then convertTo and LUT.
#include "workload.h"

#include <benchmark/benchmark.h>
#include <opencv2/core.hpp>

namespace {

using namespace kx::benchmarks;

constexpr int rows = 2000;
constexpr int columns = 4000;

cv::Mat image(std::vector<std::uint16_t>& samples)
{
    return {rows, columns, CV_16UC3, samples.data()};
}

const cv::Mat matrix(3, 3, CV_32F, const_cast<float*>(correction.data()));

void matrix_to_16_bits(benchmark::State& state)
{
    cv::setNumThreads(1);
    std::vector<std::uint16_t> samples = noise_image(rows * columns);
    const cv::Mat input = image(samples);
    cv::Mat output;
    while (state.KeepRunning()) {
        cv::transform(input, output, matrix);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * rows * columns);
}

void matrix_to_8_bits(benchmark::State& state)
{
    cv::setNumThreads(1);
    std::vector<std::uint16_t> samples = noise_image(rows * columns);
    const cv::Mat input = image(samples);
    cv::Mat corrected;
    cv::Mat output;
    while (state.KeepRunning()) {
        cv::transform(input, corrected, matrix);
        corrected.convertTo(output, CV_8U, 1.0 / 256);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * rows * columns);
}

// Its LUT takes 8-bit indices only, so the table has 256 entries instead of 65,536.
void matrix_and_table_to_8_bits(benchmark::State& state)
{
    cv::setNumThreads(1);
    std::vector<std::uint16_t> samples = noise_image(rows * columns);
    const cv::Mat input = image(samples);
    cv::Mat table(1, 256, CV_8U);
    for (int i = 0; i < 256; ++i) {
        table.at<std::uint8_t>(i) = static_cast<std::uint8_t>(255 - i);
    }
    cv::Mat corrected;
    cv::Mat narrowed;
    cv::Mat output;
    while (state.KeepRunning()) {
        cv::transform(input, corrected, matrix);
        corrected.convertTo(narrowed, CV_8U, 1.0 / 256);
        cv::LUT(narrowed, table, output);
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * rows * columns);
}

BENCHMARK(matrix_to_16_bits)->Name("matrix to 16 bits/OpenCV transform")->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_to_8_bits)->Name("matrix to 8 bits/OpenCV transform, convertTo")->Unit(benchmark::kMillisecond);
BENCHMARK(matrix_and_table_to_8_bits)
    ->Name("matrix and table to 8 bits/OpenCV transform, convertTo, LUT (256 entries)")
    ->Unit(benchmark::kMillisecond);

} // namespace
