#include "path_check.h"

#include "korvex_kvi_color_processing.h"
#include "vector_spy.h"

#include <algorithm>

namespace kx_test {

namespace {

// The largest vector of pixels that a module may work in.
constexpr std::int64_t most_left_over = 32;

vector_spy& spy_of(int level)
{
    return level == KX_COLOR_VECTOR_LEVEL_AVX2 ? kx_vector_spy_avx2() : kx_vector_spy_sse();
}

} // namespace

bool machine_supports(int level)
{
    if (level == KX_COLOR_VECTOR_LEVEL_AVX2) {
        return __builtin_cpu_supports("avx2") != 0 && __builtin_cpu_supports("fma") != 0;
    }
    return level != KX_COLOR_VECTOR_LEVEL_SSE || __builtin_cpu_supports("sse4.1") != 0;
}

testing::AssertionResult vector_module_is_usable(int level)
{
    if (level == KX_COLOR_VECTOR_LEVEL_SCALAR) {
        return testing::AssertionSuccess();
    }
    kx_color_processor* const processor = kx_color_create_color_processor_test(0, 0, level);
    if (processor == nullptr) {
        return testing::AssertionFailure() << "no processor was created";
    }
    kx_color_destroy_color_processor(processor);
    const vector_spy& spy = spy_of(level);
    if (!spy.module_found) {
        return testing::AssertionFailure() << "the vector module of level " << level << " is missing or incomplete";
    }
    return spy.initialize_result == 0 ? testing::AssertionSuccess()
                                      : testing::AssertionFailure()
                                            << "the vector module of level " << level << " refuses this machine with "
                                            << spy.initialize_result;
}

path_check::path_check(int level, int output_bits) : level_(level), output_bits_(output_bits)
{
    for (vector_spy* spy : {&kx_vector_spy_sse(), &kx_vector_spy_avx2()}) {
        spy->transforms_8_bit = 0;
        spy->transforms_16_bit = 0;
    }
}

std::string path_check::what_is_wrong(std::int32_t pixel_count) const
{
    for (const int level : {KX_COLOR_VECTOR_LEVEL_SSE, KX_COLOR_VECTOR_LEVEL_AVX2}) {
        const vector_spy& spy = spy_of(level);
        const bool meant = level == level_;
        if (spy.transforms_8_bit != (meant && output_bits_ == 8 ? 1 : 0)
            || spy.transforms_16_bit != (meant && output_bits_ == 16 ? 1 : 0)) {
            return "the vector module of level " + std::to_string(level) + " was called "
                   + std::to_string(spy.transforms_8_bit) + " times for 8-bit and "
                   + std::to_string(spy.transforms_16_bit) + " times for 16-bit output";
        }
        const std::int64_t pixels = std::max(pixel_count, 0);
        if (meant && (spy.converted > pixels || pixels - spy.converted > most_left_over)) {
            return "the vector module converted " + std::to_string(spy.converted) + " pixels";
        }
    }
    return {};
}

void stand_in_converts(int level, std::uint32_t converted)
{
    spy_of(level).stand_in = converted;
}

void no_stand_ins()
{
    kx_vector_spy_sse().stand_in.reset();
    kx_vector_spy_avx2().stand_in.reset();
}

} // namespace kx_test
