// Drives the exports with random requests, valid and not, on processors of all vector levels, and compares status
// and pixels with the reference. Buffers and LUTs are heap blocks of exact size: the sanitizers see what leaves them.
#include "pixels/pixel_case.h"
#include "reference.h"
#include "support/color_processing_exports.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

namespace kx_test {

namespace {

using data_provider = FuzzedDataProvider;

constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
constexpr int level_count = 3;
constexpr int most_requests = 4; // of one input
constexpr std::uint8_t untouched = 0xA5;

// The library and its companions, for as long as the program runs: instrumented code must not be unloaded.
const color_processing_exports& kx()
{
    static const shared_library libraries[] = {
        shared_library("korvex_kvi_color_processing.so"),
        shared_library("korvex_kvi_logger.so"),
        shared_library("korvex_kvi_LUT.so"),
        shared_library("korvex_kvi_color_processing_vector_sse.so"),
        shared_library("korvex_kvi_color_processing_vector_avx2.so"),
    };
    static const color_processing_exports exports{libraries[0]};
    return exports;
}

[[noreturn]] void fail(const std::string& what)
{
    std::fprintf(stderr, "%s\n", what.c_str());
    std::abort();
}

void require_success(std::int32_t status)
{
    if (status != KX_COLOR_SUCCESS) {
        fail("A call failed with status " + std::to_string(status) + '.');
    }
}

// One call of a transform, which need not be valid.
struct request {
    const transform_export* transform = nullptr;
    pixel_case wanted;
    std::int32_t input_format = 0;
    std::int32_t output_format = 0;
    bool no_processor = false;
    bool no_input = false;
    bool no_output = false;
    bool one_buffer = false; // input and output overlap or are the same
};

// Few inputs should end at a check: most are to get further.
bool take_rarely(data_provider& data)
{
    return data.ConsumeIntegral<std::uint8_t>() == 0xFF;
}

matrix_values take_matrix(data_provider& data)
{
    constexpr float infinity = std::numeric_limits<float>::infinity();
    matrix_values matrix = identity;
    for (float& element : matrix) {
        switch (data.ConsumeIntegralInRange(0, 3)) {
        case 0:
            break;
        case 1:
            element = data.PickValueInArray({0.0F, -0.0F, 1.0F, 0.5F, -1.0F, 65536.0F, 1e30F, -1e30F, 0x1p-149F,
                                             infinity, -infinity, std::numeric_limits<float>::quiet_NaN()});
            break;
        case 2:
            element = data.ConsumeFloatingPointInRange(-1.0F, 2.0F);
            break;
        default:
            element = std::bit_cast<float>(data.ConsumeIntegral<std::uint32_t>());
        }
    }
    return matrix;
}

std::int32_t take_pixel_count(data_provider& data)
{
    switch (data.ConsumeIntegral<std::uint8_t>()) {
    case 0xFE:
        return data.ConsumeIntegralInRange(lowest, 0);
    case 0xFF: // so many that the vector modules make tables of their own
        return (1 << 18) + data.ConsumeIntegralInRange(0, 40);
    default:
        return data.ConsumeIntegralInRange(0, 300);
    }
}

void take_channel(data_provider& data, request& made, std::size_t channel, int output_depth)
{
    pixel_case& wanted = made.wanted;
    wanted.choices.input_LUT[channel] = data.ConsumeBool();
    wanted.choices.output_LUT[channel] = data.ConsumeBool();
    channel_settings& settings = wanted.channels[channel];
    settings.shift_distance =
        take_rarely(data) ? data.ConsumeIntegral<std::int32_t>() : data.ConsumeIntegralInRange(-15, 15);
    settings.clamp_min = data.ConsumeIntegral<std::uint16_t>();
    settings.clamp_max = data.ConsumeIntegral<std::uint16_t>();
    if (!take_rarely(data)) { // else valid by chance only
        if (wanted.choices.output_LUT[channel]) {
            settings.clamp_max &= static_cast<std::uint16_t>((1 << output_depth) - 1);
        }
        settings.clamp_min = std::min(settings.clamp_min, settings.clamp_max);
    }
}

// The first samples as they come, the others scattered.
void take_samples(data_provider& data, pixel_case& wanted, int input_depth)
{
    const std::int32_t count = std::max(wanted.pixel_count, 0);
    wanted.samples.resize(3 * static_cast<std::size_t>(count));
    std::minstd_rand random(data.ConsumeIntegral<std::uint8_t>() + 1U);
    for (std::uint16_t& sample : wanted.samples) {
        sample = data.remaining_bytes() > 64 ? data.ConsumeIntegral<std::uint16_t>()
                                             : static_cast<std::uint16_t>(random() >> 8);
    }
    // A sample beyond an enabled input LUT would be the host's fault.
    for (int channel = 0; channel < 3; ++channel) {
        if (wanted.choices.input_LUT[static_cast<std::size_t>(channel)]) {
            for (std::int32_t pixel = 0; pixel < count; ++pixel) {
                wanted.samples[static_cast<std::size_t>(
                    reference_sample_index(wanted.choices.input_layout, count, 3, pixel, channel))] &=
                    static_cast<std::uint16_t>((1 << input_depth) - 1);
            }
        }
    }
}

request take_request(data_provider& data, int input_depth, int output_depth)
{
    request made;
    pixel_case& wanted = made.wanted;
    made.transform = &transform_exports[data.ConsumeIntegralInRange<std::size_t>(0, std::size(transform_exports) - 1)];
    wanted.choices.output_bits = static_cast<int>(8 * made.transform->sample_bytes);
    wanted.choices.fourth_sample = made.transform->samples_per_pixel == 4;
    for (auto [format, layout] : {std::pair{&made.input_format, &wanted.choices.input_layout},
                                  std::pair{&made.output_format, &wanted.choices.output_layout}}) {
        *format = data.PickValueInArray<std::int32_t>({0, 1, 2, 0, 1, 2, 0, 1, 2, -1, lowest, 3, highest});
        *layout = std::max(*format, 0);
    }
    wanted.matrices.resize(data.ConsumeIntegralInRange<std::size_t>(0, 2));
    std::generate(wanted.matrices.begin(), wanted.matrices.end(), [&data] { return take_matrix(data); });
    for (std::size_t channel = 0; channel < 3; ++channel) {
        take_channel(data, made, channel, output_depth);
    }
    for (bool* fault : {&made.no_processor, &made.no_input, &made.no_output, &made.one_buffer}) {
        *fault = take_rarely(data);
    }
    // Not 0: an empty vector has no address.
    wanted.input = {false, data.ConsumeIntegralInRange<std::size_t>(1, 32)};
    wanted.output = {false, data.ConsumeIntegralInRange<std::size_t>(1, 32)};
    wanted.pixel_count = take_pixel_count(data);
    take_samples(data, wanted, input_depth);
    return made;
}

// The first of the checks that the request fails. `same` says that input and output begin at one address.
std::int32_t expected_status(const request& made, bool same, int output_depth)
{
    const auto any_channel = [](auto fails) {
        return fails(std::size_t{0}) || fails(std::size_t{1}) || fails(std::size_t{2});
    };
    const auto& channels = made.wanted.channels;
    const auto& output_LUT = made.wanted.choices.output_LUT;
    return made.no_processor       ? KX_COLOR_NULL_PROCESSOR
           : made.no_input         ? KX_COLOR_NULL_INPUT_BUFFER
           : made.no_output        ? KX_COLOR_NULL_OUTPUT_BUFFER
           : same                  ? KX_COLOR_IDENTICAL_BUFFERS
           : made.input_format > 2 ? KX_COLOR_INVALID_INPUT_FORMAT
           : any_channel(
                 [&](std::size_t i) { return channels[i].shift_distance < -15 || channels[i].shift_distance > 15; })
               ? KX_COLOR_INVALID_SHIFT_DISTANCE
           : any_channel([&](std::size_t i) {
                 return channels[i].clamp_min > channels[i].clamp_max
                        || (output_LUT[i] && channels[i].clamp_max >= 1 << output_depth);
             })
               ? KX_COLOR_INVALID_CLAMP_RANGE
           : made.output_format > 2 ? KX_COLOR_INVALID_OUTPUT_FORMAT
                                    : KX_COLOR_SUCCESS;
}

std::size_t output_bytes(const pixel_case& wanted)
{
    return wanted.samples.size() / 3 * static_cast<std::size_t>(wanted.choices.bytes_per_pixel());
}

class processor {
public:
    // Without a handle if none was created.
    processor(int input_depth, int output_depth, int level)
        : handle_(kx().create_color_processor_test(input_depth, output_depth, level)),
          LUTs_{
              input_depth,
              output_depth,
              {kx().get_blue_input_LUT(handle_), kx().get_green_input_LUT(handle_), kx().get_red_input_LUT(handle_)},
              {kx().get_blue_output_LUT(handle_), kx().get_green_output_LUT(handle_), kx().get_red_output_LUT(handle_)}}
    {
    }
    processor(const processor&) = delete;
    processor& operator=(const processor&) = delete;
    ~processor() { kx().destroy_color_processor(handle_); }

    [[nodiscard]] bool exists() const { return handle_ != nullptr; }
    [[nodiscard]] const LUT_set& LUTs() const { return LUTs_; }

    // New entries for the LUTs whose bits are set.
    void fill_LUTs(unsigned which, std::uint32_t seed) const
    {
        const auto fill = [&](std::uint32_t* LUT, int depth) {
            if (which % 2 != 0) {
                const std::size_t size = std::size_t{1} << depth;
                std::size_t filled = std::min(size, std::size_t{509}); // a period that no fault is likely to have
                std::generate_n(LUT, filled, [&seed] { return seed = seed * 747796405U + 2891336453U; });
                for (; filled < size; filled = std::min(size, 2 * filled)) {
                    std::copy_n(LUT, std::min(filled, size - filled), LUT + filled);
                }
            }
            which /= 2;
        };
        for (std::size_t channel = 0; channel < 3; ++channel) {
            fill(LUTs_.input[channel], LUTs_.input_depth);
            fill(LUTs_.output[channel], LUTs_.output_depth);
        }
    }

    std::int32_t transform(const request& made, const std::uint16_t* input, void* output) const
    {
        const auto& [blue, green, red] = made.wanted.channels;
        const auto& in = made.wanted.choices.input_LUT;
        const auto& out = made.wanted.choices.output_LUT;
        require_success(kx().clear_matrix(handle_));
        for (const matrix_values& matrix : made.wanted.matrices) {
            require_success(kx().append_matrix(handle_, matrix.data()));
        }
        require_success(kx().enable_input_LUTs(handle_, in[0], in[1], in[2]));
        require_success(kx().enable_output_LUTs(handle_, out[0], out[1], out[2]));
        return made.transform->call(kx(), made.no_processor ? nullptr : handle_,
                                    {.input = made.no_input ? nullptr : input,
                                     .input_format = made.input_format,
                                     .blue_min = blue.clamp_min,
                                     .blue_max = blue.clamp_max,
                                     .green_min = green.clamp_min,
                                     .green_max = green.clamp_max,
                                     .red_min = red.clamp_min,
                                     .red_max = red.clamp_max,
                                     .blue_shift = blue.shift_distance,
                                     .green_shift = green.shift_distance,
                                     .red_shift = red.shift_distance,
                                     .output = made.no_output ? nullptr : output,
                                     .output_format = made.output_format,
                                     .pixel_count = made.wanted.pixel_count});
    }

private:
    kx_color_processor* handle_;
    LUT_set LUTs_;
};

// Buffers of their own: status, output and all around it must be as expected. Returns what is wrong, or null.
const char* run_apart(const processor& tested, const request& made)
{
    const pixel_case& wanted = made.wanted;
    const std::size_t output_begin = wanted.output.distance * made.transform->sample_bytes;
    std::vector<std::uint16_t> input(wanted.input.distance);
    input.insert(input.end(), wanted.samples.begin(), wanted.samples.end());
    input.shrink_to_fit();
    const std::vector<std::uint16_t> input_before = input;
    std::vector<std::uint8_t> output(output_begin + output_bytes(wanted), untouched);
    std::vector<std::uint8_t> expected = output;

    const std::int32_t status = expected_status(made, false, tested.LUTs().output_depth);
    if (status == KX_COLOR_SUCCESS) {
        reference_convert(wanted, tested.LUTs(), expected.data() + output_begin);
    }
    if (tested.transform(made, input.data() + wanted.input.distance, output.data() + output_begin) != status) {
        return "the status is wrong";
    }
    return output != expected ? "the output is wrong" : input != input_before ? "the input was changed" : nullptr;
}

// Overlapping buffers, the output some bytes after the input: what becomes of the pixels is open, but no look-up may
// leave its LUT and no access the buffers.
const char* run_overlapping(const processor& tested, const request& made)
{
    const pixel_case& wanted = made.wanted;
    const auto& in = wanted.choices.input_LUT;
    if (tested.LUTs().input_depth < 16 && (in[0] || in[1] || in[2])) {
        return nullptr; // samples that the transform itself writes may lie beyond the LUT
    }
    const std::size_t begin = (wanted.output.distance - 1) * made.transform->sample_bytes;
    std::vector<std::uint16_t> both(wanted.samples);
    both.resize(std::max({both.size(), (begin + output_bytes(wanted) + 1) / 2, std::size_t{1}}));
    both.shrink_to_fit();
    auto* const output = reinterpret_cast<std::uint8_t*>(both.data()) + begin;
    const std::int32_t status = expected_status(made, begin == 0, tested.LUTs().output_depth);
    return tested.transform(made, both.data(), output) != status ? "the status is wrong" : nullptr;
}

void run(data_provider& data)
{
    const int input_depth =
        take_rarely(data) ? data.ConsumeIntegral<std::int32_t>() : data.ConsumeIntegralInRange(0, 16);
    const int output_depth =
        take_rarely(data) ? data.ConsumeIntegral<std::int32_t>() : data.ConsumeIntegralInRange(0, 16);
    const auto valid = [](int depth) { return depth >= 0 && depth <= 16; };
    const processor processors[level_count] = {
        {input_depth, output_depth, 0}, {input_depth, output_depth, 1}, {input_depth, output_depth, 2}};
    for (const processor& tested : processors) {
        if (tested.exists() != (valid(input_depth) && valid(output_depth))) {
            fail("The bit depths " + std::to_string(input_depth) + " and " + std::to_string(output_depth)
                 + " were judged wrongly.");
        }
    }
    if (!processors[0].exists()) {
        return;
    }
    unsigned changed_LUTs = 63; // at first all
    for (int i = 0; i < most_requests && data.remaining_bytes() > 0; ++i) {
        const auto seed = data.ConsumeIntegral<std::uint32_t>();
        const request made = take_request(data, input_depth, output_depth);
        for (int level = 0; level < level_count; ++level) {
            processors[level].fill_LUTs(changed_LUTs, seed);
            if (const char* wrong = (made.one_buffer ? run_overlapping : run_apart)(processors[level], made)) {
                fail("Level " + std::to_string(level) + ": " + wrong + "\n  " + describe(made.wanted));
            }
        }
        changed_LUTs = data.ConsumeIntegralInRange(0U, 63U);
    }
}

} // namespace

} // namespace kx_test

extern "C" int LLVMFuzzerInitialize(int* /*argument_count*/, char*** /*arguments*/)
{
    setenv("KVI_LOG_FILE", "/dev/null", 0); // refusals are logged
    kx_test::require_success(kx_test::kx().module_initialize());
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider provider(data, size);
    kx_test::run(provider);
    return 0;
}
