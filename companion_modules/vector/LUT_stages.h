// Runs a call with LUTs by its plan, block by block: looks the inputs up into a buffer, converts from there to another
// buffer, looks those up into the output. Look-ups are scalar loads; everything else is done in vectors.
#pragma once

#include "LUT_plan.h"
#include "constants.h"
#include "convert.h"
#include "image.h"
#include "loads_and_stores.h"
#include "tables.h"

#include "layouts.h"
#include "per_channel.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kx::vector {
namespace {

// Pixels of a block: the buffers of all stages together fit the first-level cache.
inline constexpr std::ptrdiff_t block_pixels = 512;

// A block's samples on their way.
struct block_buffer {
    alignas(64) std::array<std::uint16_t, 3 * block_pixels> samples;

    image<std::uint16_t> as(sample_layout layout) { return image_of(samples.data(), layout, false, block_pixels); }
};

// A function of its own for each loop: inlined into many places they are slower.
template <std::ptrdiff_t from_step, std::ptrdiff_t to_step, typename input, typename output, typename mapping>
__attribute__((noinline)) void map_samples_by(const input* from, output* to, std::ptrdiff_t count, mapping map)
{
    constexpr std::ptrdiff_t unroll = 8; // divides every register's and so every block's pixels
    for (std::ptrdiff_t i = 0; i < count; i += unroll) {
        // Keeps the compiler from scattering with AVX-512 what is stored here, at two thirds of the speed.
        __asm__ volatile("");
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

// A block of an image, or where the bound asks for it a copy with every sample beyond the bound moved there.
//
// Samples may change at any time: the image may be live, or the output may overlap it. A table has entries for the
// samples of an earlier moment. So what a table is entered with was read once, and bounded after that.
template <register_vectors vectors>
image<const std::uint16_t> bounded(const image<const std::uint16_t>& from, std::ptrdiff_t count, std::uint16_t bound,
                                   block_buffer& buffer)
{
    if (bound == unbounded) {
        return from;
    }
    const typename vectors::words limit = vectors::all(bound);
    const auto copy = [limit](const std::uint16_t* source, std::uint16_t* target, std::ptrdiff_t samples) {
        for (std::ptrdiff_t i = 0; i < samples; i += vectors::pixel_count) {
            vectors::prefetch(reinterpret_cast<const char*>(source + i) + prefetched_bytes);
            vectors::store(target + i, vectors::min(vectors::load(source + i), limit));
        }
    };
    const image<std::uint16_t> to = buffer.as(from.layout);
    if (from.layout == sample_layout::planar_bgr) {
        for_each_channel([&](const auto* source, auto* target) { copy(source, target, count); }, from.channel,
                         to.channel);
    } else {
        copy(beginning_of(from.layout, from.channel), buffer.samples.data(), 3 * count);
    }
    return to;
}

template <typename sample>
void clear_fourth(const image<sample>& of, std::ptrdiff_t count)
{
    if (of.fourth_sample) {
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            of.fourth[i * of.step] = 0;
        }
    }
}

// A block's channels in a planar buffer, looked up where they have a table. If some have none, all of them get there in
// vectors first.
template <register_vectors vectors, typename entry>
void load_block(const tables<entry>& inputs, std::uint16_t bound, const image<const std::uint16_t>& from,
                const image<std::uint16_t>& to, std::ptrdiff_t count)
{
    const auto look_up = [&](const auto& source, std::ptrdiff_t step) {
        const auto look_up_channel = [&](const entry* table, const std::uint16_t* samples, std::uint16_t* target) {
            if (table != nullptr) {
                map_samples(samples, step, target, 1, count,
                            [table](std::uint16_t x) { return static_cast<std::uint16_t>(table[x]); });
            }
        };
        for_each_channel(look_up_channel, inputs, source.channel, to.channel);
    };
    if (all(inputs)) {
        block_buffer buffer;
        look_up(bounded<vectors>(from, count, bound, buffer), from.step);
    } else {
        const auto settings = [bound](const entry* table) {
            return channel_settings{0, table != nullptr ? bound : unbounded, 0, 0};
        };
        convert<vectors>(from, to, count, {nullptr, map_channels(settings, inputs)});
        look_up(to, 1);
    }
}

// The same in the other direction, with the shift of the channels that have a table. Compact tables include it.
template <register_vectors vectors, typename entry, typename sample>
void store_block(const tables<entry>& outputs, const per_channel<channel_settings>& settings,
                 const image<std::uint16_t>& from, const image<sample>& to, std::ptrdiff_t count)
{
    const auto look_up_into = [&](const auto& target, std::ptrdiff_t step) {
        const auto look_up_channel = [&](const entry* table, [[maybe_unused]] const channel_settings& finish,
                                         const std::uint16_t* values, auto* samples) {
            if (table == nullptr) {
                return;
            }
            if constexpr (std::is_same_v<entry, sample>) {
                map_samples(values, 1, samples, step, count, [table](std::uint16_t v) { return table[v]; });
            } else {
                map_samples(values, 1, samples, step, count,
                            [table, finish](std::uint16_t v) { return shifted_entry<sample>(table[v], finish); });
            }
        };
        for_each_channel(look_up_channel, outputs, settings, from.channel, target.channel);
    };
    if (all(outputs)) {
        look_up_into(to, to.step);
        clear_fourth(to, count);
    } else {
        look_up_into(from, 1);
        convert<vectors>(from, to, count, {nullptr, {unchanged, unchanged, unchanged}});
    }
}

// Where an output table follows, the shift is the look-up's.
template <typename entry>
conversion_settings before_look_up(const tables<entry>& outputs, const conversion_settings& settings)
{
    const auto without_shift = [](const entry* table, const channel_settings& of) {
        return table == nullptr ? of : channel_settings{of.clamp_min, of.clamp_max, 0, 0};
    };
    return {settings.matrix, map_channels(without_shift, outputs, settings.channels), settings.input_lines, nullptr};
}

// With tables whose entries are the LUTs' own (32 bits) or compact ones.
template <register_vectors vectors, typename sample, typename input_entry, typename output_entry>
void convert_blocks(const conversion<sample>& call, const tables<input_entry>& inputs, std::uint16_t bound,
                    const tables<output_entry>& outputs)
{
    const conversion_settings before_outputs = before_look_up(outputs, call.settings);
    block_buffer looked_up_samples;
    block_buffer converted_samples;
    const image<std::uint16_t> looked_up = looked_up_samples.as(sample_layout::planar_bgr);
    const image<const std::uint16_t> looked_up_input = looked_up;
    const image<std::uint16_t> converted = converted_samples.as(sample_layout::planar_bgr);
    for (std::ptrdiff_t i = 0; i < call.count; i += block_pixels) {
        const std::ptrdiff_t count = std::min(call.count - i, block_pixels);
        const image<const std::uint16_t> input = call.input.from_pixel(i);
        const image<sample> output = call.output.from_pixel(i);
        if (any(inputs)) {
            load_block<vectors>(inputs, bound, input, looked_up, count);
        }
        const image<const std::uint16_t>& from = any(inputs) ? looked_up_input : input;
        if (any(outputs)) {
            convert<vectors>(from, converted, count, before_outputs);
            store_block<vectors>(outputs, call.settings.channels, converted, output, count);
        } else {
            convert<vectors>(from, output, count, call.settings);
        }
    }
}

// With one table for all that happens to a channel.
template <register_vectors vectors, typename sample>
void convert_by_tables(const conversion<sample>& call, const tables<sample>& whole, std::uint16_t bound)
{
    block_buffer buffer;
    for (std::ptrdiff_t i = 0; i < call.count; i += block_pixels) {
        const std::ptrdiff_t count = std::min(call.count - i, block_pixels);
        const image<const std::uint16_t> from = bounded<vectors>(call.input.from_pixel(i), count, bound, buffer);
        const image<sample> to = call.output.from_pixel(i);
        const auto look_up = [&](const sample* table, const std::uint16_t* source, sample* target) {
            map_samples(source, from.step, target, to.step, count, [table](std::uint16_t x) { return table[x]; });
        };
        for_each_channel(look_up, whole, from.channel, to.channel);
        clear_fourth(to, count);
    }
}

// Does what the plan says, for samples that are no larger than it knows.
template <register_vectors vectors, typename sample>
void run(const LUT_plan<sample>& plan, conversion<sample> call)
{
    if (any(plan.whole)) {
        return convert_by_tables<vectors>(call, plan.whole, plan.last_in_tables);
    }
    if (plan.input_lines) {
        call.settings.input_lines = &*plan.input_lines;
        call.input_LUTs = {};
    }
    if (plan.output_lines) {
        call.settings.output_lines = &*plan.output_lines;
        call.output_LUTs = {};
    }
    const auto with_outputs = [&](const auto& inputs, std::uint16_t bound) {
        if (any(plan.outputs)) {
            convert_blocks<vectors>(call, inputs, bound, plan.outputs);
        } else {
            convert_blocks<vectors>(call, inputs, bound, call.output_LUTs);
        }
    };
    if (any(plan.inputs)) {
        with_outputs(plan.inputs, plan.last_in_tables);
    } else if (any(call.input_LUTs) || any(call.output_LUTs)) {
        with_outputs(call.input_LUTs, unbounded);
    } else {
        convert<vectors>(call.input, call.output, call.count, call.settings);
    }
}

template <typename sample>
conversion<sample> part_of(const conversion<sample>& call, std::ptrdiff_t first, std::ptrdiff_t count)
{
    conversion<sample> part = call;
    part.input = call.input.from_pixel(first);
    part.output = call.output.from_pixel(first);
    part.count = count;
    return part;
}

// Plans and runs a call. The lines of a plan hold up to a sample; where larger ones begin, the rest gets a plan of its
// own. Should samples become larger after they were looked at, then their entry is that of the last one on the line.
template <register_vectors vectors, typename sample>
void convert_with_LUTs(const conversion<sample>& call)
{
    const LUT_plan<sample> plan = plan_of<vectors>(call);
    if (any(plan.whole) || !plan.input_lines || plan.last_on_lines == unbounded) {
        return run<vectors>(plan, call);
    }
    for (std::ptrdiff_t i = 0; i < call.count; i += pixels_at_once) {
        const auto part = part_of(call, i, std::min(call.count - i, pixels_at_once));
        if (greatest_looked_up<vectors>(part, part.count) > plan.last_on_lines) {
            return convert_with_LUTs<vectors>(part_of(call, i, call.count - i));
        }
        run<vectors>(plan, part);
    }
}

} // namespace
} // namespace kx::vector
