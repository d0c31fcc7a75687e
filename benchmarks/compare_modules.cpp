// Compares two builds of a vector module, called in turn so that both meet the same moments of a noisy machine.
//     compare_modules MODULE MODULE PIXELS [--sweep | NAME]
// MODULEs are paths. Prints how many times as fast the second one is (the median over the rounds) and its best speed,
// for the cases whose name contains NAME; with --sweep the worst of all combinations of choices.
#include "workload.h"

#include "companion_interfaces/vector_module.h"
#include "platform/dynamic_module.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

namespace {

namespace kc = korvex::color;
using kx::pixel_format;

// A vector module that is initialized, whichever of the two it is.
class vector_module {
public:
    explicit vector_module(std::string path)
    {
        const std::string suffix = KX_MODULE_SUFFIX;
        if (path.ends_with(suffix)) {
            path.resize(path.size() - suffix.size());
        }
        void* const module = kx::platform::load_module(path.c_str()); // never unloaded
        for (const kx::vector_module_names& names : {kx::sse_module_names, kx::avx2_module_names}) {
            kx::vector_module_initialize_function* initialize = nullptr;
            if (module != nullptr && kx::platform::find_entry_point(module, names.initialize, initialize)
                && kx::platform::find_entry_point(module, names.transform_8_bit_output, transform_8_)
                && kx::platform::find_entry_point(module, names.transform_16_bit_output, transform_16_)
                && initialize() == 0) {
                return;
            }
        }
        throw std::runtime_error(path + " is no vector module for this machine");
    }

    [[nodiscard]] double seconds(const kx::transform_parameters& record, int output_bits) const
    {
        const auto start = std::chrono::steady_clock::now();
        (output_bits == 8 ? transform_8_ : transform_16_)(&record);
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    }

private:
    kx::vector_transform_function* transform_8_ = nullptr;
    kx::vector_transform_function* transform_16_ = nullptr;
};

// What the LUTs hold: every sample itself; as of a camera's profile lines that take off a black level and balance the
// white, and one curve for all outputs; or a curve for each, which is no line and no other's equal.
enum class contents { identity, profile, curves };

struct choices {
    int output_bits;
    pixel_format input_format;
    pixel_format output_format;
    bool fourth_sample;
    kc::matrix matrix;
    int LUTs; // one bit for each: blue, green and red input, then output
    std::int32_t shift[3];
    int depth; // of samples and LUTs, in bits
    contents LUT_contents = contents::identity;
};

struct named_choices {
    std::string name;
    choices what;
};

constexpr kc::matrix diagonal = {1.5F, 0, 0, 0, 1, 0, 0, 0, 1.7F};

std::vector<named_choices> main_cases()
{
    using kx::benchmarks::correction;
    using kx::benchmarks::identity;
    const auto planar = pixel_format::planar_bgr;
    const auto bgr = pixel_format::interleaved_bgr;
    const auto rgb = pixel_format::interleaved_rgb;
    std::vector<named_choices> all;
    for (const auto& [matrix_name, matrix] : {std::pair{"matrix", correction}, std::pair{"identity", identity}}) {
        for (const auto& [layout_name, from, to] :
             {std::tuple{"bgr-bgr", bgr, bgr}, std::tuple{"bgr-rgb", bgr, rgb}, std::tuple{"planar", planar, planar},
              std::tuple{"planar-bgr", planar, bgr}, std::tuple{"bgr-planar", bgr, planar}}) {
            for (const bool fourth : {false, true}) {
                for (const int bits : {16, 8}) {
                    const std::int32_t shift = bits == 8 ? -8 : 0;
                    all.push_back(
                        {"48-" + std::to_string(bits * (fourth ? 4 : 3)) + " " + layout_name + " " + matrix_name,
                         {bits, from, to, fourth, matrix, 0, {shift, shift, shift}, 16}});
                }
            }
        }
    }
    for (const auto& [LUT_name, LUT_contents] :
         {std::pair{"LUTs", contents::identity}, std::pair{"profile's LUTs", contents::profile},
          std::pair{"curved LUTs", contents::curves}}) {
        for (const int depth : {12, 16}) {
            for (const auto& [matrix_name, matrix] :
                 {std::pair{"matrix", correction}, std::pair{"identity", identity}, std::pair{"diagonal", diagonal}}) {
                for (const int LUTs : {0x07, 0x38, 0x3F, 0x01, 0x08, 0x09}) {
                    for (const int bits : {16, 8}) {
                        char text[60];
                        std::snprintf(text, sizeof text, "%s 0x%02x %d bits %d out %s", LUT_name,
                                      static_cast<unsigned>(LUTs), depth, bits, matrix_name);
                        all.push_back({text, {bits, bgr, bgr, false, matrix, LUTs, {0, 0, 0}, depth, LUT_contents}});
                    }
                }
            }
        }
    }
    return all;
}

std::vector<named_choices> all_combinations()
{
    std::vector<named_choices> all;
    for (const int bits : {16, 8}) {
        for (int layouts = 0; layouts < 9; ++layouts) {
            for (const bool fourth : {false, true}) {
                for (int LUTs = 0; LUTs < 64; ++LUTs) {
                    for (int shifts = 0; shifts < 27; ++shifts) {
                        for (const kc::matrix& matrix : {kx::benchmarks::correction, kx::benchmarks::identity}) {
                            constexpr std::int32_t distances[] = {0, 3, -8};
                            choices what{bits,
                                         pixel_format{layouts / 3},
                                         pixel_format{layouts % 3},
                                         fourth,
                                         matrix,
                                         LUTs,
                                         {distances[shifts % 3], distances[shifts / 3 % 3], distances[shifts / 9]},
                                         16};
                            char text[100];
                            std::snprintf(text, sizeof text,
                                          "%d bits, layouts %d %d, %s samples, LUTs 0x%02x, shifts "
                                          "%d %d %d, %s",
                                          bits, layouts / 3, layouts % 3, fourth ? "four" : "three",
                                          static_cast<unsigned>(LUTs), what.shift[0], what.shift[1], what.shift[2],
                                          matrix == kx::benchmarks::identity ? "identity" : "matrix");
                            all.push_back({text, what});
                        }
                    }
                }
            }
        }
    }
    return all;
}

// Both modules' subject: images and LUTs.
class comparison {
public:
    comparison(const char* first, const char* second, std::int32_t pixels)
        : modules_{vector_module(first), vector_module(second)}, pixels_(pixels),
          noise_(kx::benchmarks::noise_image(pixels)), samples_(noise_.size()),
          output_(static_cast<std::size_t>(pixels) * 4 + 1000)
    {
    }

    struct outcome {
        double ratio;
        double best; // seconds of the second module
    };

    outcome run(const choices& what, int rounds)
    {
        if (what.depth != depth_) {
            depth_ = what.depth;
            std::transform(noise_.begin(), noise_.end(), samples_.begin(),
                           [&](std::uint16_t x) { return static_cast<std::uint16_t>(x >> (16 - depth_)); });
        }
        fill_LUTs(what);
        const kx::transform_parameters record = record_of(what);
        std::vector<double> ratios;
        double best = std::numeric_limits<double>::infinity();
        for (int round = 0; round < rounds; ++round) {
            double seconds[2];
            for (const int turn : {0, 1}) {
                const int module = (round + turn) % 2;
                seconds[module] = modules_[module].seconds(record, what.output_bits);
            }
            best = std::min(best, seconds[1]);
            ratios.push_back(seconds[0] / seconds[1]);
        }
        std::nth_element(ratios.begin(), ratios.begin() + rounds / 2, ratios.end());
        return {ratios[static_cast<std::size_t>(rounds) / 2], best};
    }

private:
    void fill_LUTs(const choices& what)
    {
        const std::size_t entries = std::size_t{1} << what.depth;
        const auto last = static_cast<double>(entries - 1);
        const double largest = what.output_bits == 8 ? 255 : last;
        for (int channel = 0; channel < 3; ++channel) {
            std::vector<std::uint32_t>& input = LUTs_[channel];
            std::vector<std::uint32_t>& output = LUTs_[channel + 3];
            input.resize(entries);
            output.resize(entries);
            for (std::size_t i = 0; i < entries; ++i) {
                const double x = static_cast<double>(i) / last;
                double in = x * last;
                double out = x * last;
                if (what.LUT_contents == contents::profile) {
                    in = (x - 0.0156) * (1 + 0.37 * channel) * last;
                    out = kx::benchmarks::encoded(x) * largest;
                } else if (what.LUT_contents == contents::curves) {
                    in = std::pow(x, 0.9 + 0.1 * channel + 0.01) * last;
                    out = std::pow(x, 0.4 + 0.1 * channel) * largest;
                }
                input[i] = static_cast<std::uint32_t>(std::lround(std::clamp(in, 0.0, last)));
                output[i] = static_cast<std::uint32_t>(std::lround(out));
            }
        }
    }

    [[nodiscard]] kx::transform_parameters record_of(const choices& what)
    {
        kx::transform_parameters record{};
        record.input_buffer = samples_.data();
        record.input_format = what.input_format;
        record.processor = reinterpret_cast<const kx::color_correction*>(what.matrix.data());
        record.blue_clamp_max = record.green_clamp_max = record.red_clamp_max =
            static_cast<std::uint16_t>((1U << what.depth) - 1);
        record.blue_input_LUT_data = LUTs_[0].data();
        record.green_input_LUT_data = LUTs_[1].data();
        record.red_input_LUT_data = LUTs_[2].data();
        record.blue_output_LUT_data = LUTs_[3].data();
        record.green_output_LUT_data = LUTs_[4].data();
        record.red_output_LUT_data = LUTs_[5].data();
        const auto is_enabled = [&](int bit) { return static_cast<std::uint8_t>(what.LUTs >> bit & 1); };
        record.blue_input_LUT_enabled = is_enabled(0);
        record.green_input_LUT_enabled = is_enabled(1);
        record.red_input_LUT_enabled = is_enabled(2);
        record.blue_output_LUT_enabled = is_enabled(3);
        record.green_output_LUT_enabled = is_enabled(4);
        record.red_output_LUT_enabled = is_enabled(5);
        record.blue_shift_distance = what.shift[0];
        record.green_shift_distance = what.shift[1];
        record.red_shift_distance = what.shift[2];
        record.output_buffer = output_.data() + 800; // another place within the page than the input's
        record.output_format = what.output_format;
        record.has_alpha_channel = what.fourth_sample ? 1 : 0;
        record.pixel_count = pixels_;
        return record;
    }

    vector_module modules_[2];
    std::int32_t pixels_;
    std::vector<std::uint16_t> noise_;
    std::vector<std::uint16_t> samples_;
    std::vector<std::uint16_t> output_;
    std::vector<std::uint32_t> LUTs_[6]; // as in choices
    int depth_ = 0;
};

// Ratios that fall below the limit are measured again, with more rounds: many a low one was another program's doing.
void sweep(comparison& modules)
{
    std::vector<std::pair<double, std::string>> results;
    for (const auto& [name, what] : all_combinations()) {
        double ratio = modules.run(what, 7).ratio;
        for (int retry = 0; retry < 3 && ratio < 1; ++retry) {
            ratio = std::max(ratio, modules.run(what, 41).ratio);
        }
        results.emplace_back(ratio, name);
    }
    std::sort(results.begin(), results.end());
    std::printf("%zu combinations: worst %.2f, median %.2f, best %.2f\n", results.size(), results.front().first,
                results[results.size() / 2].first, results.back().first);
    for (std::size_t i = 0; i < 10; ++i) {
        std::printf("  %.3f: %s\n", results[i].first, results[i].second.c_str());
    }
}

} // namespace

int main(int argc, char** argv)
try {
    if (argc != 4 && argc != 5) {
        std::fprintf(stderr, "usage: %s MODULE MODULE PIXELS [--sweep | NAME]\n", argv[0]);
        return 2;
    }
    const std::int32_t pixels = std::max(1, std::atoi(argv[3])); // NOLINT(cert-err34-c)
    comparison modules(argv[1], argv[2], pixels);
    if (argc == 5 && std::strcmp(argv[4], "--sweep") == 0) {
        sweep(modules);
        return 0;
    }
    for (const auto& [name, what] : main_cases()) {
        if (argc == 4 || name.find(argv[4]) != std::string::npos) {
            const int rounds = std::clamp(100'000'000 / pixels, 15, 401);
            const auto [ratio, best] = modules.run(what, rounds);
            std::printf("%5.2f  %6.2f gigapixels/s  %s\n", ratio, pixels / best / 1e9, name.c_str());
        }
    }
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
}
