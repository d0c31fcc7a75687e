// Drives the transforms with random requests on processors of all vector levels, and compares pixels with the
// reference. Buffers and LUTs are heap blocks of exact size: the sanitizers see what leaves them.
#include "pixels/test_processor.h"
#include "platform/architecture.h"
#include "reference.h"
#include "support/environment.h"
#include "support/shared_library.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <string_view>
#include <vector>

namespace kx_test {

namespace {

constexpr std::uint8_t untouched = 0xA5;

std::int32_t pick_pixel_count(random_source& random)
{
    switch (pick(random, 0, 255)) {
    case 0:
        return pick(random, std::numeric_limits<std::int32_t>::min(), 0);
    case 1: // so many that the vector modules make tables of their own
        return (1 << 18) + pick(random, 0, 40);
    default:
        return pick(random, 0, 300);
    }
}

// Status, output and all around it must be as expected. Returns what is wrong, or null.
const char* what_is_wrong(const test_processor& processor, const pixel_case& made)
{
    // Not 0: an empty vector has no address.
    const std::size_t input_begin = made.input.distance + 1;
    const std::size_t output_begin =
        (made.output.distance + 1) * static_cast<std::size_t>(made.choices.output_bits / 8);
    std::vector<std::uint16_t> input(input_begin);
    input.insert(input.end(), made.samples.begin(), made.samples.end());
    input.shrink_to_fit();
    const std::vector<std::uint16_t> input_before = input;
    std::vector<std::uint8_t> output(
        output_begin + made.samples.size() / 3 * static_cast<std::size_t>(made.choices.bytes_per_pixel()), untouched);
    std::vector<std::uint8_t> expected = output;
    reference_convert(made, processor.LUTs(), expected.data() + output_begin);
    if (processor.transform(made, input.data() + input_begin, output.data() + output_begin) != KX_COLOR_SUCCESS) {
        return "the status is wrong";
    }
    return output != expected ? "the output is wrong" : input != input_before ? "the input was changed" : nullptr;
}

void run(random_source random)
{
    // Large LUTs less often: they take long to fill.
    const int input_depth = std::min(pick(random, 0, 16), pick(random, 0, 16));
    const int output_depth = std::min(pick(random, 0, 16), pick(random, 0, 16));
    random_source entries(static_cast<std::uint64_t>(input_depth + output_depth));
    const test_processor processors[] = {{input_depth, output_depth, entries, 0},
                                         {input_depth, output_depth, entries, 1},
                                         {input_depth, output_depth, entries, 2}};
    for (int requests = pick(random, 1, 4); requests > 0; --requests) {
        const LUT_set& LUTs = processors[0].LUTs();
        const combination choices = combination_at(pick(random, 0, combination_count - 1));
        const bool other_LUTs = pick(random, 0, 3) == 0;
        const pixel_case made = random_case(choices, LUTs, pick_pixel_count(random), random);
        for (const test_processor& processor : processors) {
            if (other_LUTs) {
                processor.fill_LUTs(entries);
            }
            processor.configure(made);
            if (const char* wrong = what_is_wrong(processor, made)) {
                std::fprintf(stderr, "Level %d: %s\n  %s\n", static_cast<int>(&processor - processors), wrong,
                             describe(made).c_str());
                std::abort();
            }
        }
    }
}

} // namespace

} // namespace kx_test

extern "C" int LLVMFuzzerInitialize(int* /*argument_count*/, char*** /*arguments*/)
{
    kx_test::set_environment("KVI_LOG_FILE", "/dev/null"); // refusals are logged
    // For as long as the program runs: instrumented code must not be unloaded.
    static const kx_test::shared_library companions[] = {
        kx_test::shared_library("korvex_kvi_logger.so"),
        kx_test::shared_library("korvex_kvi_LUT.so"),
#if defined(KX_ARM64)
        kx_test::shared_library("korvex_kvi_color_processing_vector_neon.so"),
#else
        kx_test::shared_library("korvex_kvi_color_processing_vector_sse.so"),
        kx_test::shared_library("korvex_kvi_color_processing_vector_avx2.so"),
#endif
    };
    if (kx_color_processing_module_initialize() != KX_COLOR_SUCCESS) {
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    kx_test::run(kx_test::random_source(std::hash<std::string_view>()(bytes), {data, size}));
    return 0;
}
