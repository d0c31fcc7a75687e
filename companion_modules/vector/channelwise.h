// Images with LUTs and a diagonal matrix, large for their samples: each channel is a function of its own sample
// alone, so one table holds all of it, from input LUT to shift.
#pragma once

#include "LUT_stages.h"
#include "convert.h"
#include "layouts.h"
#include "tables.h"

#include "rounding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

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

// What happens to one channel.
struct channel_function {
    const std::uint32_t* input_LUT;
    float factor;
    channel_settings finish;
    const std::uint32_t* output_LUT;

    template <typename sample>
    [[nodiscard]] sample map(std::size_t x) const
    {
        const auto looked_up =
            input_LUT != nullptr ? static_cast<std::uint16_t>(input_LUT[x]) : static_cast<std::uint16_t>(x);
        const std::int32_t rounded = round_before_clamp(factor * static_cast<float>(looked_up));
        const std::int32_t clamped =
            std::max(std::min(rounded, std::int32_t{finish.clamp_max}), std::int32_t{finish.clamp_min});
        const auto value = static_cast<std::uint32_t>(clamped);
        return shifted_entry<sample>(output_LUT != nullptr ? output_LUT[value] : value, finish);
    }
};

// Returns whether that is worth it and memory sufficed; if not, nothing is done.
template <typename vectors, typename sample>
bool convert_channelwise(const LUT_conversion<sample>& call, const float* matrix,
                         const table_set<std::uint32_t>& input_LUTs, const table_set<std::uint32_t>& output_LUTs)
{
    // A table takes the place of two look-ups or conversions at least.
    const int replaced =
        (input_LUTs.any() ? 1 : 0) + (call.settings.matrix != nullptr ? 1 : 0) + (output_LUTs.any() ? 1 : 0);
    if (replaced < 2 || !is_diagonal(matrix)) {
        return false;
    }
    const auto found = find_worthwhile_maxima<vectors>(call.input_layout, call.input, call.count, 0);
    if (!found) {
        return false;
    }
    const sample_maxima maxima = *found;
    own_tables<sample> composed(maxima.greatest());
    const auto add = [&composed](auto channel, const channel_function& function, std::uint16_t last) {
        composed.add(channel, 0, last, [function](std::size_t x) { return function.map<sample>(x); });
    };
    using tables = table_set<sample>;
    const conversion_settings& settings = call.settings;
    add(&tables::blue, {input_LUTs.blue, matrix[8], settings.blue, output_LUTs.blue}, maxima.blue);
    add(&tables::green, {input_LUTs.green, matrix[4], settings.green, output_LUTs.green}, maxima.green);
    add(&tables::red, {input_LUTs.red, matrix[0], settings.red, output_LUTs.red}, maxima.red);
    if (!composed.complete()) {
        return false;
    }

    const std::ptrdiff_t input_step = step_of(call.input_layout, false);
    const std::ptrdiff_t output_step = step_of(call.output_layout, call.fourth_sample);
    bounded_block bounded;
    for (std::ptrdiff_t i = 0; i < call.count; i += block_pixels) {
        const std::ptrdiff_t block = std::min(call.count - i, block_pixels);
        const auto from =
            bounded.load<vectors>(call.input_layout, advanced(call.input, i * input_step), block, maxima.greatest());
        const auto to = advanced(call.output, i * output_step);
        const auto map = [&](const sample* table, const std::uint16_t* channel_from, sample* channel_to) {
            map_samples(channel_from, input_step, channel_to, output_step, block,
                        [table](std::uint16_t x) { return table[x]; });
        };
        map(composed.tables().blue, from.blue, to.blue);
        map(composed.tables().green, from.green, to.green);
        map(composed.tables().red, from.red, to.red);
        if (call.fourth_sample) {
            clear_samples(to.fourth, output_step, block);
        }
    }
    return true;
}

} // namespace
} // namespace kx::vector
