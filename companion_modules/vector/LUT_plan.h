// Decides what a call with LUTs looks its samples up in, and makes those tables.
#pragma once

#include "convert.h"
#include "image.h"
#include "lines.h"
#include "loads_and_stores.h"
#include "tables.h"

#include "per_channel.h"

#include <algorithm>
#include <bit>
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

// What takes the place of the LUTs. Either tables of whole conversions; or on each side lines or compact tables, and on
// a side without any of them the LUTs themselves.
template <typename sample>
struct LUT_plan {
    tables<sample> whole{};
    tables<std::uint16_t> inputs{};
    tables<sample> outputs{};
    std::uint16_t last_in_tables = unbounded; // the largest sample that `whole` or `inputs` have an entry for
    std::optional<per_channel<line>> input_lines{};
    std::optional<per_channel<line>> output_lines{};
    std::uint16_t last_on_lines = unbounded; // the largest sample whose entries are known to be on the input lines

    own_tables<sample, whole_function<sample>> whole_memory{};
    own_tables<std::uint16_t, input_function> input_memory{};
    own_tables<sample, output_function<sample>> output_memory{};
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

// Up to this value the entries of LUTs are well in the caches as they are.
inline constexpr std::uint16_t small_LUT = 8192;

template <typename sample>
void make_whole(LUT_plan<sample>& plan, const conversion<sample>& call, const per_channel<std::uint16_t>& maxima)
{
    plan.last_in_tables = greatest(maxima);
    const bool all_have_LUTs = all(call.input_LUTs);
    const auto make = [&](const std::uint32_t* input_LUT, float factor, const channel_settings& finish,
                          const std::uint32_t* output_LUT, std::uint16_t maximum) {
        // A channel without a LUT may have larger samples than there are entries in the others' LUTs.
        const std::uint16_t last = all_have_LUTs || input_LUT == nullptr ? plan.last_in_tables : maximum;
        return plan.whole_memory.make({input_LUT, factor, finish, output_LUT}, last,
                                      plan.last_in_tables + std::size_t{1});
    };
    const per_channel<float> diagonal{call.matrix[8], call.matrix[4], call.matrix[0]};
    plan.whole = plan.whole_memory.if_complete(
        map_channels(make, call.input_LUTs, diagonal, call.settings.channels, call.output_LUTs, maxima));
}

template <typename sample>
void make_inputs(LUT_plan<sample>& plan, const conversion<sample>& call, const per_channel<std::uint16_t>& maxima)
{
    plan.last_in_tables = greatest(maxima);
    const auto make = [&](const std::uint32_t* LUT, std::uint16_t maximum) -> const std::uint16_t* {
        const std::uint16_t last = all(call.input_LUTs) ? plan.last_in_tables : maximum;
        return LUT != nullptr ? plan.input_memory.make({LUT}, last, plan.last_in_tables + std::size_t{1}) : nullptr;
    };
    plan.inputs = plan.input_memory.if_complete(map_channels(make, call.input_LUTs, maxima));
}

template <typename sample>
void make_outputs(LUT_plan<sample>& plan, const conversion<sample>& call)
{
    const auto make = [&](const std::uint32_t* LUT, const channel_settings& finish) -> const sample* {
        const std::uint16_t last = finish.clamp_max;
        return LUT != nullptr ? plan.output_memory.make({LUT, finish}, last, last + std::size_t{1}) : nullptr;
    };
    plan.outputs = plan.output_memory.if_complete(map_channels(make, call.output_LUTs, call.settings.channels));
}

// Pixels between looks at the samples' size, where a plan depends on it and the image is not searched as a whole.
inline constexpr std::ptrdiff_t pixels_at_once = 4096;

// The largest sample that meets a LUT in the first of so many pixels.
template <register_vectors vectors, typename sample>
std::uint16_t greatest_looked_up(const conversion<sample>& call, std::ptrdiff_t count)
{
    const auto if_looked_up = [](const std::uint32_t* LUT, std::uint16_t maximum) {
        return LUT != nullptr ? maximum : std::uint16_t{0};
    };
    return greatest(map_channels(if_looked_up, call.input_LUTs, find_maxima<vectors>(call.input, count)));
}

// The largest value that meets an output LUT.
template <typename sample>
std::uint16_t greatest_value_looked_up(const conversion<sample>& call)
{
    const auto if_looked_up = [](const std::uint32_t* LUT, const channel_settings& finish) {
        return LUT != nullptr ? finish.clamp_max : std::uint16_t{0};
    };
    return greatest(map_channels(if_looked_up, call.output_LUTs, call.settings.channels));
}

// Whether it is worth looking for lines in tables of the values up to `last`: for a line takes some nanoseconds an
// entry.
constexpr bool is_worth_lines(std::ptrdiff_t pixel_count, std::uint16_t last)
{
    return pixel_count >= 16 * (std::ptrdiff_t{last} + 1);
}

// The lines of all LUTs, if all of them are lines from their first entry to the last that counts.
inline std::optional<per_channel<line>> lines_of(const tables<std::uint32_t>& LUTs,
                                                 const per_channel<std::uint16_t>& first,
                                                 const per_channel<std::uint16_t>& last, std::uint32_t mask)
{
    const auto line_if_any = [mask](const std::uint32_t* LUT, std::uint16_t from, std::uint16_t to) {
        return LUT != nullptr ? line_of(LUT, from, to, mask) : std::optional(identity_line);
    };
    const auto found = map_channels(line_if_any, LUTs, first, last);
    if (!all_channels([](const auto& each) { return each.has_value(); }, found)) {
        return std::nullopt;
    }
    return map_channels([](const auto& each) { return *each; }, found);
}

// Lines take arithmetic for all channels: the look-ups of one alone cost less.
inline bool are_several(const tables<std::uint32_t>& LUTs)
{
    int count = 0;
    for_each_channel([&count](const std::uint32_t* LUT) { count += LUT != nullptr ? 1 : 0; }, LUTs);
    return count > 1;
}

// Looks for the lines of all output LUTs, where that is worth it: compact tables of small ones are faster.
template <typename sample>
void find_output_lines(LUT_plan<sample>& plan, const conversion<sample>& call)
{
    const std::uint16_t greatest_value = greatest_value_looked_up(call);
    if (greatest_value >= small_LUT && is_worth_lines(call.count, greatest_value)) {
        const auto first = [](const channel_settings& of) { return of.clamp_min; };
        const auto last = [](const channel_settings& of) { return of.clamp_max; };
        plan.output_lines = lines_of(call.output_LUTs, map_channels(first, call.settings.channels),
                                     map_channels(last, call.settings.channels), ~std::uint32_t{0});
    }
}

// The same for the input LUTs, as far as the first samples tell how far they go: they have as many entries as some
// number of bits can count. In small tables narrow registers look up as fast as they compute, and so do those of 16
// words unless there is a matrix to compute anyway.
template <register_vectors vectors, typename sample>
void find_input_lines(LUT_plan<sample>& plan, const conversion<sample>& call)
{
    const auto beginning = greatest_looked_up<vectors>(call, std::min(call.count, pixels_at_once));
    const auto last = static_cast<std::uint16_t>(std::bit_ceil(beginning + 1U) - 1);
    const std::ptrdiff_t width_that_pays = is_diagonal(call.matrix) ? 32 : 16;
    if ((vectors::pixel_count >= width_that_pays || last >= small_LUT) && is_worth_lines(call.count, last)) {
        plan.input_lines = lines_of(call.input_LUTs, {0, 0, 0}, {last, last, last}, 0xFFFF);
        plan.last_on_lines = last;
    }
}

template <register_vectors vectors, typename sample>
LUT_plan<sample> plan_of(const conversion<sample>& call)
{
    LUT_plan<sample> plan;
    const bool inputs = any(call.input_LUTs);
    const bool outputs = any(call.output_LUTs);
    if (are_several(call.output_LUTs)) {
        find_output_lines(plan, call);
    }
    const bool output_tables = outputs && !plan.output_lines;

    // A table of whole conversions takes the place of two look-ups or conversions at least. Lines do better if there is
    // nothing else.
    const int replaced = (inputs ? 1 : 0) + (call.settings.matrix != nullptr ? 1 : 0) + (outputs ? 1 : 0);
    bool whole = replaced >= 2 && is_diagonal(call.matrix);
    if (are_several(call.input_LUTs) && !(whole && output_tables)) {
        find_input_lines<vectors>(plan, call);
    }
    const bool input_tables = inputs && !plan.input_lines;
    whole = whole && (input_tables || output_tables);
    if (whole || input_tables) {
        const auto maxima = find_worthwhile_maxima<vectors>(call.input, call.count, whole ? 0 : small_LUT);
        if (maxima && whole) {
            make_whole(plan, call, *maxima);
        } else if (maxima) {
            make_inputs(plan, call, *maxima);
        }
    }
    if (!any(plan.whole) && output_tables && is_worth_tables(call.count, greatest_value_looked_up(call))) {
        make_outputs(plan, call);
    }
    return plan;
}

} // namespace
} // namespace kx::vector
