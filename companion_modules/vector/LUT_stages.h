// Conversions with LUTs, block by block: look the inputs up into a buffer, convert from there to another buffer, look
// those up into the output. Look-ups are scalar loads; everything else is done in vectors.
#pragma once

#include "constants.h"
#include "convert.h"
#include "layouts.h"
#include "tables.h"

#include "companion_interfaces/transform_parameters.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace kx::vector {
namespace {

// Pixels of a block: the buffers of all stages together fit the first-level cache.
inline constexpr std::ptrdiff_t block_pixels = 512;

// A bound that no sample exceeds.
inline constexpr std::uint16_t unbounded = 0xFFFF;

struct channel_buffers {
    alignas(32) std::array<std::uint16_t, block_pixels> blue;
    alignas(32) std::array<std::uint16_t, block_pixels> green;
    alignas(32) std::array<std::uint16_t, block_pixels> red;

    planes<std::uint16_t> all() { return {blue.data(), green.data(), red.data(), nullptr}; }
    [[nodiscard]] planes<const std::uint16_t> all() const { return {blue.data(), green.data(), red.data(), nullptr}; }
};

template <std::ptrdiff_t from_step, std::ptrdiff_t to_step, typename input, typename output, typename mapping>
void map_samples_by(const input* from, output* to, std::ptrdiff_t count, mapping map)
{
    constexpr std::ptrdiff_t unroll = 8; // divides every register's and so every block's pixels
    for (std::ptrdiff_t i = 0; i < count; i += unroll) {
#if defined(__GNUC__)
        // Keeps the compiler from scattering with AVX-512 what is stored here, at two thirds of the speed.
        __asm__ volatile("");
#endif
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
    constexpr std::ptrdiff_t one = 1, three = 3, four = 4;
    with_constant<one, three>(from_step, [&](auto known_from_step) {
        with_constant<one, three, four>(
            to_step, [&](auto known_to_step) { map_samples_by<known_from_step, known_to_step>(from, to, count, map); });
    });
}

// A block of the input whose samples are within a bound, be that by moving them there, in a copy.
//
// Samples may change at any time: the image may be live, or the output may overlap it. A table has entries for the
// samples of an earlier moment. So what a table is entered with was read once, and bounded after that.
class bounded_block {
public:
    template <typename vectors>
    planes<const std::uint16_t> load(pixel_format layout, planes<const std::uint16_t> from, std::ptrdiff_t count,
                                     std::uint16_t bound)
    {
        if (bound == unbounded) {
            return from;
        }
        const planes<std::uint16_t> to = planes_of(samples_.data(), layout, count);
        if (step_of(layout, false) == 1) {
            copy<vectors>(from.blue, to.blue, count, bound);
            copy<vectors>(from.green, to.green, count, bound);
            copy<vectors>(from.red, to.red, count, bound);
        } else {
            copy<vectors>(std::min(from.blue, from.red), samples_.data(), 3 * count, bound);
        }
        return {to.blue, to.green, to.red, nullptr};
    }

private:
    template <typename vectors>
    static void copy(const std::uint16_t* from, std::uint16_t* to, std::ptrdiff_t count, std::uint16_t bound)
    {
        const typename vectors::words limit = vectors::all(bound);
        for (std::ptrdiff_t i = 0; i < count; i += vectors::pixel_count) {
            vectors::prefetch(reinterpret_cast<const char*>(from + i) + prefetched_bytes);
            vectors::store(to + i, vectors::min(vectors::load(from + i), limit));
        }
    }

    alignas(64) std::array<std::uint16_t, 3 * block_pixels> samples_;
};

template <typename sample>
void clear_samples(sample* to, std::ptrdiff_t step, std::ptrdiff_t count)
{
    for (std::ptrdiff_t k = 0; k < count; ++k) {
        to[k * step] = 0;
    }
}

// What one call with LUTs needs besides its tables.
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

// A channel's samples through its input table, if it has one.
template <typename entry>
void look_up_inputs(const entry* table, const std::uint16_t* from, std::ptrdiff_t step, std::uint16_t* to,
                    std::ptrdiff_t count)
{
    if (table != nullptr) {
        map_samples(from, step, to, 1, count,
                    [table](std::uint16_t x) { return static_cast<std::uint16_t>(table[x]); });
    }
}

// A channel's values through its output table, if it has one, and with its shift unless the table includes that.
template <typename sample, typename entry, typename output>
void look_up_outputs(const entry* table, const channel_settings& settings, const std::uint16_t* from, output* to,
                     std::ptrdiff_t step, std::ptrdiff_t count)
{
    if (table == nullptr) {
        return;
    }
    if constexpr (std::is_same_v<entry, sample>) {
        map_samples(from, 1, to, step, count, [table](std::uint16_t v) { return table[v]; });
    } else {
        map_samples(from, 1, to, step, count,
                    [table, settings](std::uint16_t v) { return shifted_entry<sample>(table[v], settings); });
    }
}

// A block's channels in buffers, looked up. A channel without a table gets there in vectors, and so do the others then.
template <typename vectors, typename entry>
void load_block(const table_set<entry>& tables, std::uint16_t bound, pixel_format layout,
                planes<const std::uint16_t> from, channel_buffers& to, std::ptrdiff_t count)
{
    std::ptrdiff_t step = step_of(layout, false);
    bounded_block bounded;
    if (tables.all()) {
        from = bounded.load<vectors>(layout, from, count, bound);
    } else {
        const auto settings = [bound](const entry* table) {
            return channel_settings{0, table != nullptr ? bound : unbounded, 0, 0};
        };
        convert<vectors>(layout, from, pixel_format::planar_bgr, false, to.all(), count,
                         {nullptr, settings(tables.blue), settings(tables.green), settings(tables.red)});
        from = std::as_const(to).all();
        step = 1;
    }
    look_up_inputs(tables.blue, from.blue, step, to.blue.data(), count);
    look_up_inputs(tables.green, from.green, step, to.green.data(), count);
    look_up_inputs(tables.red, from.red, step, to.red.data(), count);
}

// The same in the other direction.
template <typename vectors, typename entry, typename sample>
void store_block(const table_set<entry>& tables, const conversion_settings& settings, channel_buffers& from,
                 pixel_format layout, bool fourth_sample, planes<sample> to, std::ptrdiff_t count)
{
    const auto look_up = [&](auto blue, auto green, auto red, std::ptrdiff_t step) {
        look_up_outputs<sample>(tables.blue, settings.blue, from.blue.data(), blue, step, count);
        look_up_outputs<sample>(tables.green, settings.green, from.green.data(), green, step, count);
        look_up_outputs<sample>(tables.red, settings.red, from.red.data(), red, step, count);
    };
    if (!tables.all()) {
        look_up(from.blue.data(), from.green.data(), from.red.data(), 1);
        return convert<vectors>(pixel_format::planar_bgr, std::as_const(from).all(), layout, fourth_sample, to, count,
                                unchanged);
    }
    const std::ptrdiff_t step = step_of(layout, fourth_sample);
    look_up(to.blue, to.green, to.red, step);
    if (fourth_sample) {
        clear_samples(to.fourth, step, count);
    }
}

// Where an output table follows, the shift is the look-up's.
template <typename entry>
conversion_settings before_look_up(const table_set<entry>& tables, conversion_settings settings)
{
    const auto leave_shift_to = [](const entry* table, channel_settings& channel) {
        if (table != nullptr) {
            channel.left_shift = channel.right_shift = 0;
        }
    };
    leave_shift_to(tables.blue, settings.blue);
    leave_shift_to(tables.green, settings.green);
    leave_shift_to(tables.red, settings.red);
    return settings;
}

// Converts with tables whose entries are the LUTs' own (32 bits) or compact ones. The input tables' last entry is that
// of `bound`.
template <typename vectors, typename sample, typename input_entry, typename output_entry>
void convert_blocks(const LUT_conversion<sample>& call, const table_set<input_entry>& inputs, std::uint16_t bound,
                    const table_set<output_entry>& outputs)
{
    const std::ptrdiff_t input_step = step_of(call.input_layout, false);
    const std::ptrdiff_t output_step = step_of(call.output_layout, call.fourth_sample);
    const conversion_settings before_outputs = before_look_up(outputs, call.settings);

    channel_buffers looked_up;
    channel_buffers converted;
    for (std::ptrdiff_t i = 0; i < call.count; i += block_pixels) {
        const std::ptrdiff_t block = std::min(call.count - i, block_pixels);
        planes<const std::uint16_t> from = advanced(call.input, i * input_step);
        pixel_format from_layout = call.input_layout;
        if (inputs.any()) {
            load_block<vectors>(inputs, bound, from_layout, from, looked_up, block);
            from = std::as_const(looked_up).all();
            from_layout = pixel_format::planar_bgr;
        }
        const planes<sample> to = advanced(call.output, i * output_step);
        if (!outputs.any()) {
            convert<vectors>(from_layout, from, call.output_layout, call.fourth_sample, to, block, call.settings);
            continue;
        }
        convert<vectors>(from_layout, from, pixel_format::planar_bgr, false, converted.all(), block, before_outputs);
        store_block<vectors>(outputs, call.settings, converted, call.output_layout, call.fourth_sample, to, block);
    }
}

// Up to this value the entries of input LUTs are well in the caches as they are.
inline constexpr std::uint16_t small_input_LUT = 8192;

// Makes compact tables where these are worth it, and memory suffices.
template <typename vectors, typename sample>
void convert_with_LUTs(const LUT_conversion<sample>& call, const table_set<std::uint32_t>& input_LUTs,
                       const table_set<std::uint32_t>& output_LUTs)
{
    const auto convert_with = [&](const auto& inputs, std::uint16_t bound) {
        if (output_LUTs.any() && is_worth_tables(call.count, call.settings.greatest_value())) {
            const auto compact = compact_outputs<sample>(output_LUTs, call.settings);
            if (compact.complete()) {
                return convert_blocks<vectors>(call, inputs, bound, compact.tables());
            }
        }
        convert_blocks<vectors>(call, inputs, bound, output_LUTs);
    };
    if (input_LUTs.any()) {
        const auto maxima = find_worthwhile_maxima<vectors>(call.input_layout, call.input, call.count, small_input_LUT);
        if (maxima) {
            const auto compact = compact_inputs(input_LUTs, *maxima);
            if (compact.complete()) {
                return convert_with(compact.tables(), maxima->greatest());
            }
        }
    }
    convert_with(input_LUTs, unbounded);
}

} // namespace
} // namespace kx::vector
