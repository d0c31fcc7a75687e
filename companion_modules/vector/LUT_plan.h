// Decides what a call with LUTs looks its samples up in, and makes those tables.
#pragma once

#include "convert.h"
#include "image.h"
#include "loads_and_stores.h"
#include "tables.h"

#include "per_channel.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>

namespace kx::vector {
namespace {

// All that a call asks for.
template <typename sample>
struct conversion {
    image<const std::uint16_t> input;
    image<sample> output;
    std::ptrdiff_t count; // of pixels to convert, whole registers
    const float* matrix;
    conversion_settings settings; // its matrix is null for the identity
    tables<std::uint32_t> input_LUTs;
    tables<std::uint32_t> output_LUTs;
};

// A bound that no sample exceeds.
inline constexpr std::uint16_t unbounded = 0xFFFF;

// What takes the place of the LUTs: tables of whole conversions; or compact tables on either side. A side without any
// goes through the LUTs themselves.
template <typename sample>
struct LUT_plan {
    tables<sample> whole{};
    tables<std::uint16_t> inputs{};
    tables<sample> outputs{};
    std::uint16_t bound = unbounded; // the last sample that `whole` or `inputs` have an entry for

    own_tables<sample> whole_memory{};
    own_tables<std::uint16_t> input_memory{};
    own_tables<sample> output_memory{};
};

template <typename vectors, sample_layout layout>
KX_INLINE_CALLS per_channel<std::uint16_t> find_maxima(const image<const std::uint16_t>& from, std::ptrdiff_t count)
{
    using words = typename vectors::words;
    using in_words = as_words<vectors, 8>;
    auto maxima = load_pixels<vectors, layout, in_words>(from, 0);
    for (std::ptrdiff_t i = vectors::pixel_count; i < count; i += vectors::pixel_count) {
        maxima = map_channels([](words a, words b) { return vectors::max(a, b); }, maxima,
                              load_pixels<vectors, layout, in_words>(from, i));
    }
    return map_channels(
        [](words of) {
            std::uint16_t each[vectors::pixel_count];
            vectors::store(each, of);
            return *std::max_element(std::begin(each), std::end(each));
        },
        maxima);
}

template <register_vectors vectors>
per_channel<std::uint16_t> find_maxima(const image<const std::uint16_t>& from, std::ptrdiff_t count)
{
    return with_layout(from.layout, [&](auto layout) { return find_maxima<vectors, layout>(from, count); });
}

constexpr std::uint16_t greatest(const per_channel<std::uint16_t>& of)
{
    return std::max({of.blue, of.green, of.red});
}

// Whether tables of the values up to `last` are worth making for an image of so many pixels.
constexpr bool is_worth_tables(std::ptrdiff_t pixel_count, std::uint16_t last)
{
    return pixel_count >= 4 * (std::ptrdiff_t{last} + 1);
}

// From how many pixels on it pays to search an image for its largest samples and to bound them afterwards.
inline constexpr std::ptrdiff_t searched_pixels = 1 << 15;

// Each channel's largest sample, if tables up to there are worth making; not if they seem to be smaller than `least`.
template <register_vectors vectors>
std::optional<per_channel<std::uint16_t>> find_worthwhile_maxima(const image<const std::uint16_t>& from,
                                                                 std::ptrdiff_t count, std::uint16_t least)
{
    if (count < searched_pixels) {
        return std::nullopt;
    }
    // The beginning often tells.
    const std::uint16_t first = greatest(find_maxima<vectors>(from, 512));
    if (first < least || !is_worth_tables(count, first)) {
        return std::nullopt;
    }
    const auto maxima = find_maxima<vectors>(from, count);
    return is_worth_tables(count, greatest(maxima)) ? std::optional(maxima) : std::nullopt;
}

// Zeros of either sign off the diagonal add zeros to the sums, which change at most the sign of a zero: the
// rounded sum is that of the channel's own product, be it NaN or infinite.
inline bool is_diagonal(const float* matrix)
{
    for (int i = 0; i < 9; ++i) {
        if (i % 4 != 0 && matrix[i] != 0.0F) {
            return false;
        }
    }
    return true;
}

// Up to this value the entries of input LUTs are well in the caches as they are.
inline constexpr std::uint16_t small_input_LUT = 8192;

template <typename sample>
void make_whole(LUT_plan<sample>& plan, const conversion<sample>& call, const per_channel<std::uint16_t>& maxima)
{
    plan.bound = greatest(maxima);
    const auto make = [&](const std::uint32_t* input_LUT, float factor, const channel_settings& finish,
                          const std::uint32_t* output_LUT, std::uint16_t last) {
        return plan.whole_memory.make(0, last, plan.bound + std::size_t{1},
                                      channel_function<sample>{input_LUT, factor, finish, output_LUT});
    };
    const per_channel<float> diagonal{call.matrix[8], call.matrix[4], call.matrix[0]};
    plan.whole = plan.whole_memory.if_complete(
        map_channels(make, call.input_LUTs, diagonal, call.settings.channels, call.output_LUTs, maxima));
}

// The low 16 bits of the input LUTs.
template <typename sample>
void make_inputs(LUT_plan<sample>& plan, const conversion<sample>& call, const per_channel<std::uint16_t>& maxima)
{
    plan.bound = greatest(maxima);
    const auto make = [&](const std::uint32_t* LUT, std::uint16_t last) -> const std::uint16_t* {
        return LUT == nullptr ? nullptr
                              : plan.input_memory.make(0, last, plan.bound + std::size_t{1}, [LUT](std::size_t x) {
                                    return static_cast<std::uint16_t>(LUT[x]);
                                });
    };
    plan.inputs = plan.input_memory.if_complete(map_channels(make, call.input_LUTs, maxima));
}

// The samples that output LUTs and shifts lead to, from clamp to clamp.
template <typename sample>
void make_outputs(LUT_plan<sample>& plan, const conversion<sample>& call)
{
    const auto make = [&](const std::uint32_t* LUT, const channel_settings& finish) -> const sample* {
        return LUT == nullptr ? nullptr
                              : plan.output_memory.make(
                                  finish.clamp_min, finish.clamp_max, finish.clamp_max + std::size_t{1},
                                  [=](std::size_t value) { return shifted_entry<sample>(LUT[value], finish); });
    };
    plan.outputs = plan.output_memory.if_complete(map_channels(make, call.output_LUTs, call.settings.channels));
}

// A plan holds for samples up to those that the image has now; larger ones are to be bounded.
template <register_vectors vectors, typename sample>
LUT_plan<sample> plan_of(const conversion<sample>& call)
{
    LUT_plan<sample> plan;
    const bool inputs = any(call.input_LUTs);
    const bool outputs = any(call.output_LUTs);

    // A table of whole conversions takes the place of two look-ups or conversions at least.
    const int replaced = (inputs ? 1 : 0) + (call.settings.matrix != nullptr ? 1 : 0) + (outputs ? 1 : 0);
    const bool whole = replaced >= 2 && is_diagonal(call.matrix);
    if (whole || inputs) {
        const auto maxima = find_worthwhile_maxima<vectors>(call.input, call.count, whole ? 0 : small_input_LUT);
        if (maxima && whole) {
            make_whole(plan, call, *maxima);
        } else if (maxima) {
            make_inputs(plan, call, *maxima);
        }
        if (any(plan.whole)) {
            return plan;
        }
        if (!any(plan.inputs)) {
            plan.bound = unbounded;
        }
    }
    if (outputs) {
        const auto last = [](const std::uint32_t* LUT, const channel_settings& finish) {
            return LUT != nullptr ? finish.clamp_max : std::uint16_t{0};
        };
        if (is_worth_tables(call.count, greatest(map_channels(last, call.output_LUTs, call.settings.channels)))) {
            make_outputs(plan, call);
        }
    }
    return plan;
}

} // namespace
} // namespace kx::vector
