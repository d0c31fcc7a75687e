// Runs every combination of choices of one family (16-bit output, or 8-bit with --8-bit) with a medium image, without
// and with each vector module in turn, and prints the worst ratios: no combination should be slower with one.
#include "workload.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <exception>
#include <limits>
#include <utility>
#include <vector>

namespace {

using namespace kx::benchmarks;

constexpr std::int32_t pixels = 16'384;

struct combination {
    std::int32_t input_format;
    std::int32_t output_format;
    bool fourth_sample;
    int LUTs; // one bit for each, input LUTs first
    std::int32_t shift[3];
};

struct result {
    double ratio;
    combination what;
};

double seconds_of(const processor& with, const combination& what, bool bytes, const std::vector<std::uint16_t>& input,
                  std::vector<std::uint16_t>& output, int runs)
{
    kx_color_enable_input_LUTs(with.get(), what.LUTs & 1, what.LUTs & 2, what.LUTs & 4);
    kx_color_enable_output_LUTs(with.get(), what.LUTs & 8, what.LUTs & 16, what.LUTs & 32);
    const auto call = [&](auto function, auto* to) {
        function(with.get(), input.data(), what.input_format, 0, 65'535, 0, 65'535, 0, 65'535, what.shift[0],
                 what.shift[1], what.shift[2], to, what.output_format, pixels);
    };
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < runs; ++run) {
        const auto start = std::chrono::steady_clock::now();
        if (bytes) {
            call(what.fourth_sample ? kx_color_transform_48_to_32 : kx_color_transform_48_to_24,
                 reinterpret_cast<std::uint8_t*>(output.data()));
        } else {
            call(what.fourth_sample ? kx_color_transform_48_to_64 : kx_color_transform_48_to_48, output.data());
        }
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

std::vector<combination> all_combinations()
{
    std::vector<combination> all;
    const std::int32_t shifts[] = {0, 3, -8};
    for (std::int32_t input = 0; input < 3; ++input) {
        for (std::int32_t output = 0; output < 3; ++output) {
            for (const bool fourth : {false, true}) {
                for (int LUTs = 0; LUTs < 64; ++LUTs) {
                    for (const std::int32_t blue : shifts) {
                        for (const std::int32_t green : shifts) {
                            for (const std::int32_t red : shifts) {
                                all.push_back({input, output, fourth, LUTs, {blue, green, red}});
                            }
                        }
                    }
                }
            }
        }
    }
    return all;
}

void print(const char* module, const std::vector<result>& results)
{
    std::printf("%s: worst %.2f, median %.2f, best %.2f times the scalar kernels' speed\n", module,
                results.front().ratio, results[results.size() / 2].ratio, results.back().ratio);
    for (std::size_t i = 0; i < 5; ++i) {
        const combination& what = results[i].what;
        std::printf("  %.2f: input format %d, output format %d, %s samples, LUTs 0x%02x, shifts %d %d %d\n",
                    results[i].ratio, what.input_format, what.output_format, what.fourth_sample ? "four" : "three",
                    static_cast<unsigned>(what.LUTs), what.shift[0], what.shift[1], what.shift[2]);
    }
}

void sort_worst_first(std::vector<result>& results)
{
    std::sort(results.begin(), results.end(), [](const result& a, const result& b) { return a.ratio < b.ratio; });
}

} // namespace

int main(int argc, char** argv)
try {
    const bool bytes = argc > 1 && std::strcmp(argv[1], "--8-bit") == 0;
    const module_in_use module;
    const processor scalar(0);
    const processor sse(1);
    const processor avx2(2);
    for (const processor* each : {&scalar, &sse, &avx2}) {
        kx_color_append_matrix(each->get(), correction);
    }
    const std::vector<std::uint16_t> input = noise_image(pixels);
    std::vector<std::uint16_t> output(static_cast<std::size_t>(pixels) * 4);

    const auto ratio_of = [&](const processor& with, const combination& what, int runs) {
        const double scalar_seconds = seconds_of(scalar, what, bytes, input, output, runs);
        return scalar_seconds / seconds_of(with, what, bytes, input, output, runs);
    };

    std::printf("%d-bit output, %d pixels\n", bytes ? 8 : 16, pixels);
    for (const auto& [name, with] : {std::pair{"SSE", &sse}, std::pair{"AVX2", &avx2}}) {
        std::vector<result> results;
        for (const combination& what : all_combinations()) {
            results.push_back({ratio_of(*with, what, 3), what});
        }
        sort_worst_first(results);
        // What looks worst may only have been disturbed.
        for (std::size_t i = 0; i < 100; ++i) {
            results[i].ratio = ratio_of(*with, results[i].what, 25);
        }
        sort_worst_first(results);
        print(name, results);
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
