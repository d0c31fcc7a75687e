// Conversions with LUTs, block by block: look the inputs up into a buffer, convert from there to another
// buffer, look those up into the output. Look-ups are scalar loads; everything else stays in registers.
#pragma once

#include "convert.h"
#include "layouts.h"
#include "tables.h"

#include "companion_interfaces/transform_parameters.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kx::vector {

// Pixels of a block: the buffers of all stages together fit the first-level cache.
inline constexpr std::ptrdiff_t block_pixels = 512;

struct channel_buffers {
    alignas(32) std::array<std::uint16_t, block_pixels> blue;
    alignas(32) std::array<std::uint16_t, block_pixels> green;
    alignas(32) std::array<std::uint16_t, block_pixels> red;

    planes<std::uint16_t> all() { return {blue.data(), green.data(), red.data(), nullptr}; }
};

constexpr std::ptrdiff_t step_of(pixel_format layout, bool fourth_sample)
{
    if (layout != pixel_format::interleaved_bgr && layout != pixel_format::interleaved_rgb) {
        return 1;
    }
    return fourth_sample ? 4 : 3;
}

template <typename sample>
planes<sample> advanced(const planes<sample>& from, std::ptrdiff_t samples)
{
    return {from.blue + samples, from.green + samples, from.red + samples, from.fourth + samples};
}

template <std::ptrdiff_t from_step, std::ptrdiff_t to_step, typename input, typename output, typename mapping>
void map_samples_by(const input* from, output* to, std::ptrdiff_t count, mapping map)
{
    constexpr std::ptrdiff_t unroll = 8; // divides every register's and so every block's pixels
    for (std::ptrdiff_t i = 0; i < count; i += unroll) {
        for (std::ptrdiff_t k = i; k < i + unroll; ++k) {
            to[k * to_step] = map(from[k * from_step]);
        }
    }
}

// Maps every sample of one channel. The steps, from pixel to pixel, are those of the layouts: 1, 3 or 4; the loops
// know them at compile time.
template <typename input, typename output, typename mapping>
void map_samples(const input* from, std::ptrdiff_t from_step, output* to, std::ptrdiff_t to_step, std::ptrdiff_t count,
                 mapping map)
{
    const auto choose_to_step = [&]<std::ptrdiff_t known_from_step>() {
        switch (to_step) {
        case 1:
            return map_samples_by<known_from_step, 1>(from, to, count, map);
        case 3:
            return map_samples_by<known_from_step, 3>(from, to, count, map);
        default:
            return map_samples_by<known_from_step, 4>(from, to, count, map);
        }
    };
    if (from_step == 1) {
        choose_to_step.template operator()<1>();
    } else {
        choose_to_step.template operator()<3>();
    }
}

template <typename sample>
void clear_samples(sample* to, std::ptrdiff_t step, std::ptrdiff_t count)
{
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        to[k * step] = 0;
    }
}

// A channel's samples through its input table, if it has one, into a buffer.
template <typename entry>
void look_up_inputs(const entry* table, const std::uint16_t* from, std::ptrdiff_t step, std::uint16_t* to,
                    std::ptrdiff_t count)
{
    if (table != nullptr) {
        map_samples(from, step, to, 1, count,
                    [table](std::uint16_t x) { return static_cast<std::uint16_t>(table[x]); });
    } else {
        map_samples(from, step, to, 1, count, [](std::uint16_t x) { return x; });
    }
}

// A channel's values through its output table and shift, if it has a table, into the output.
template <typename entry, typename sample>
void look_up_outputs(const entry* table, const channel_settings& settings, const std::uint16_t* from, sample* to,
                     std::ptrdiff_t step, std::ptrdiff_t count)
{
    const auto map = [&](auto mapping) { map_samples(from, 1, to, step, count, mapping); };
    if (table == nullptr) {
        map([](std::uint16_t v) { return static_cast<sample>(v); });
    } else if constexpr (std::is_same_v<entry, sample>) {
        map([table](std::uint16_t v) { return table[v]; });
    } else {
        map([table, settings](std::uint16_t v) { return shifted_entry<sample>(table[v], settings); });
    }
}

// What one call with LUTs needs besides its buffers.
template <typename sample>
struct LUT_conversion {
    pixel_format input_layout;
    pixel_format output_layout;
    bool fourth_sample;
    planes<const std::uint16_t> input;
    planes<sample> output;
    std::ptrdiff_t count;
    conversion_settings settings;
};

// Converts with tables whose entries are the LUTs' own (32 bits) or compact ones.
template <typename vectors, typename sample, typename input_entry, typename output_entry>
void convert_blocks(const LUT_conversion<sample>& call, const table_set<input_entry>& inputs,
                    const table_set<output_entry>& outputs)
{
    const std::ptrdiff_t input_step = step_of(call.input_layout, false);
    const std::ptrdiff_t output_step = step_of(call.output_layout, call.fourth_sample);

    // Where an output table follows, the shift is the look-up's.
    conversion_settings before_tables = call.settings;
    const auto leave_shift_to = [](const output_entry* table, channel_settings& channel) {
        if (table != nullptr) {
            channel.left_shift = channel.right_shift = 0;
        }
    };
    leave_shift_to(outputs.blue, before_tables.blue);
    leave_shift_to(outputs.green, before_tables.green);
    leave_shift_to(outputs.red, before_tables.red);

    channel_buffers looked_up;
    channel_buffers converted;
    for (std::ptrdiff_t i = 0; i < call.count; i += block_pixels) {
        const std::ptrdiff_t block = call.count - i < block_pixels ? call.count - i : block_pixels;
        planes<const std::uint16_t> from = advanced(call.input, i * input_step);
        pixel_format from_layout = call.input_layout;
        if (inputs.any()) {
            look_up_inputs(inputs.blue, from.blue, input_step, looked_up.blue.data(), block);
            look_up_inputs(inputs.green, from.green, input_step, looked_up.green.data(), block);
            look_up_inputs(inputs.red, from.red, input_step, looked_up.red.data(), block);
            from = {looked_up.blue.data(), looked_up.green.data(), looked_up.red.data(), nullptr};
            from_layout = pixel_format::planar_bgr;
        }
        const planes<sample> to = advanced(call.output, i * output_step);
        if (!outputs.any()) {
            convert<vectors>(from_layout, from, call.output_layout, call.fourth_sample, to, block, call.settings);
            continue;
        }
        convert<vectors>(from_layout, from, pixel_format::planar_bgr, false, converted.all(), block, before_tables);
        look_up_outputs(outputs.blue, call.settings.blue, converted.blue.data(), to.blue, output_step, block);
        look_up_outputs(outputs.green, call.settings.green, converted.green.data(), to.green, output_step, block);
        look_up_outputs(outputs.red, call.settings.red, converted.red.data(), to.red, output_step, block);
        if (call.fourth_sample) {
            clear_samples(to.fourth, output_step, block);
        }
    }
}

template <typename vectors, typename sample>
void convert_with_LUTs(const LUT_conversion<sample>& call, const table_set<std::uint32_t>& input_LUTs,
                       const table_set<std::uint32_t>& output_LUTs)
{
    if (call.count >= worthwhile_pixels) {
        const sample_maxima maxima =
            input_LUTs.any() ? find_maxima<vectors>(call.input_layout, call.input, call.count) : sample_maxima{};
        const auto inputs = compact_inputs(input_LUTs, maxima);
        const auto outputs = compact_outputs<sample>(output_LUTs, call.settings);
        if (inputs.complete() && outputs.complete()) {
            return convert_blocks<vectors>(call, inputs.tables(), outputs.tables());
        }
    }
    convert_blocks<vectors>(call, input_LUTs, output_LUTs);
}

} // namespace kx::vector
