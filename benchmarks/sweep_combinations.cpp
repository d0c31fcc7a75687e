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
    transform_case transform;
    int LUTs; // one bit for each, input LUTs first
};

struct result {
    double ratio;
    combination what;
};

double seconds_of(kc::processor& with, const combination& what, const std::vector<std::uint16_t>& input,
                  std::vector<std::uint16_t>& output, int runs)
{
    const auto bit = [&what](int number) { return (what.LUTs >> number & 1) != 0; };
    with.enable_input_LUTs({bit(0), bit(1), bit(2)});
    with.enable_output_LUTs({bit(3), bit(4), bit(5)});
    double best = std::numeric_limits<double>::infinity();
    for (int run = 0; run < runs; ++run) {
        const auto start = std::chrono::steady_clock::now();
        transform(with, what.transform, input.data(), output.data(), pixels);
        best = std::min(best, std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

std::vector<combination> all_combinations(bool bytes)
{
    std::vector<combination> all;
    const auto layouts = {kc::pixel_layout::planar_bgr, kc::pixel_layout::interleaved_bgr,
                          kc::pixel_layout::interleaved_rgb};
    const std::int32_t shifts[] = {0, 3, -8};
    for (const kc::pixel_layout input : layouts) {
        for (const kc::pixel_layout output : layouts) {
            for (const int bits : {bytes ? 24 : 48, bytes ? 32 : 64}) {
                for (int LUTs = 0; LUTs < 64; ++LUTs) {
                    for (const std::int32_t blue : shifts) {
                        for (const std::int32_t green : shifts) {
                            for (const std::int32_t red : shifts) {
                                all.push_back(
                                    {{"", bits, input, output, correction, {blue, green, red}, false, false}, LUTs});
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
        const transform_case& what = results[i].what.transform;
        std::printf("  %.2f: input format %d, output format %d, %d bits, LUTs 0x%02x, shifts %d %d %d\n",
                    results[i].ratio, static_cast<int>(what.input_layout), static_cast<int>(what.output_layout),
                    what.output_bits, static_cast<unsigned>(results[i].what.LUTs), what.shift.blue, what.shift.green,
                    what.shift.red);
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
    const kc::library library;
    const std::vector<combination> all = all_combinations(bytes);
    kc::processor scalar = make_processor(library, 0, all.front().transform);
    kc::processor sse = make_processor(library, 1, all.front().transform);
    kc::processor avx2 = make_processor(library, 2, all.front().transform);
    const std::vector<std::uint16_t> input = noise_image(pixels);
    std::vector<std::uint16_t> output(static_cast<std::size_t>(pixels) * 4);

    const auto ratio_of = [&](kc::processor& with, const combination& what, int runs) {
        const double scalar_seconds = seconds_of(scalar, what, input, output, runs);
        return scalar_seconds / seconds_of(with, what, input, output, runs);
    };

    std::printf("%d-bit output, %d pixels\n", bytes ? 8 : 16, pixels);
    for (const auto& [name, with] : {std::pair{"SSE", &sse}, std::pair{"AVX2", &avx2}}) {
        std::vector<result> results;
        results.reserve(all.size());
        for (const combination& what : all) {
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
