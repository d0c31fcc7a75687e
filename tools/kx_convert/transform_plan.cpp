#include "transform_plan.h"

#include "lookup_table.h"

#include "profile/library_settings.h"

#include <algorithm>
#include <cmath>

namespace kx::convert {

namespace {

constexpr std::uint32_t full_scale_16 = 0xFFFF;

std::uint64_t shifted(std::uint64_t value, int distance)
{
    return distance >= 0 ? value << distance : value >> -distance;
}

// The largest value that still fits the output sample after the shift.
std::uint16_t largest_before_shift(std::uint32_t sample_maximum, int distance)
{
    return static_cast<std::uint16_t>(
        std::min<std::uint64_t>(full_scale_16, shifted(sample_maximum + std::uint64_t{1}, -distance) - 1));
}

std::string sample_limit(const settings& wanted, int distance)
{
    return " shifted by " + std::to_string(distance) + " does not fit the " + std::to_string(wanted.depth)
           + "-bit output";
}

bool any(const per_channel<std::optional<given<std::string>>>& tables)
{
    return std::ranges::any_of(tables, [](const auto& table) { return table.has_value(); });
}

void check_combination(const settings& wanted)
{
    if (wanted.camera && wanted.input_table_bits && *wanted.input_table_bits != wanted.camera->values().bits) {
        throw option_error("--input-lut-bits", "the camera delivers " + std::to_string(wanted.camera->values().bits)
                                                   + " bits, and so many its input LUTs have");
    }
    if (wanted.input_table_bits && !any(wanted.input_tables)) {
        throw option_error("--input-lut-bits", "there is no input LUT; give --input-lut or a channel's own");
    }
    if (wanted.output_table_bits && !any(wanted.output_tables) && !wanted.camera) {
        throw option_error("--output-lut-bits", "there is no output LUT; give --output-lut or a channel's own");
    }
}

clamp_range clamp_for(const settings& wanted, std::size_t channel, std::int32_t shift, std::size_t table_entries,
                      std::uint32_t sample_maximum)
{
    const auto& clamp = wanted.clamps[channel];
    if (!clamp) {
        return {0, table_entries > 0 ? static_cast<std::uint16_t>(table_entries - 1)
                                     : largest_before_shift(sample_maximum, shift)};
    }
    const clamp_range range = clamp->value;
    if (table_entries > 0 && range.maximum >= table_entries) {
        throw option_error(clamp->option, "the maximum " + std::to_string(range.maximum) + " lies beyond the "
                                              + channel_names[channel] + " output LUT, whose last entry is "
                                              + std::to_string(table_entries - 1));
    }
    if (table_entries == 0 && shifted(range.maximum, shift) > sample_maximum) {
        throw option_error(clamp->option, "the maximum " + std::to_string(range.maximum) + sample_limit(wanted, shift));
    }
    return range;
}

// All channels scaled by 2^bits, which loses nothing.
matrix scale(int bits)
{
    const float factor = std::ldexp(1.0F, bits);
    return {factor, 0, 0, 0, factor, 0, 0, 0, factor};
}

// The bits of samples, by how they come about. What the camera delivers stands at the low end of 16 bits.
struct signal_bits {
    int input_table; // index
    int matrix;      // input LUTs deliver 16 bits
    int result;      // of the matrix, once scaled: what indexes an output LUT

    explicit signal_bits(const settings& wanted)
        : input_table(wanted.input_table_bits.value_or(wanted.input_bits.value_or(16))),
          matrix(any(wanted.input_tables) ? 16 : wanted.input_bits.value_or(16)),
          result(any(wanted.output_tables) ? wanted.output_table_bits.value_or(wanted.input_bits ? matrix : 16)
                                           : matrix)
    {
    }
};

// Matrices, shifts and input tables without a camera's profile.
transform_plan plan_from_options(const settings& wanted)
{
    const signal_bits bits(wanted);
    transform_plan plan{};
    plan.matrices = wanted.matrices;
    if (wanted.input_bits && bits.result != bits.matrix) {
        plan.matrices.insert(plan.matrices.begin(), scale(bits.result - bits.matrix));
    }
    plan.input_table_bits = bits.input_table;
    plan.output_table_bits = any(wanted.output_tables) ? bits.result : 16;
    if (wanted.input_bits && any(wanted.input_tables)) { // channels without a table: as bright as the others
        plan.input_tables.fill(make_lookup_table({"--input-bits", "linear"}, 0, plan.input_table_bits, full_scale_16));
    }
    // Without a table that delivers the output's samples, their high bits are what there is to see.
    const int result_bits = wanted.input_bits ? bits.result : 16;
    for (std::size_t channel = 0; channel < channel_names.size(); ++channel) {
        plan.shifts[channel] = wanted.output_tables[channel] ? 0 : static_cast<int>(wanted.depth) - result_bits;
    }
    return plan;
}

// Matrix and tables of a camera's profile. A table that an option gives takes the place of one channel's balance or
// curve.
transform_plan plan_from_profile(const settings& wanted)
{
    std::optional<int> output_bits = wanted.output_table_bits;
    if (any(wanted.output_tables) && !output_bits) {
        output_bits = profile::default_output_LUT_bit_depth(*wanted.camera);
    }
    profile::library_settings from_profile = profile::make_settings(*wanted.camera, output_bits);
    transform_plan plan{};
    plan.matrices = {from_profile.matrix};
    plan.input_table_bits = wanted.camera->values().bits;
    plan.output_table_bits = from_profile.output_LUT_bit_depth;
    plan.input_tables = std::move(from_profile.input_LUTs);
    plan.output_tables = std::move(from_profile.output_LUTs);
    return plan;
}

// What decides about the output's metadata.
void note_changes(transform_plan& plan, const settings& wanted)
{
    plan.changes_colors =
        wanted.camera || !wanted.matrices.empty() || any(wanted.input_tables) || any(wanted.output_tables);
    const bool srgb_profile = wanted.camera && wanted.camera->values().tone_curve.name() == "srgb";
    plan.output_is_srgb = std::ranges::all_of(
        wanted.output_tables, [&](const auto& table) { return table ? table->value == "srgb" : srgb_profile; });
    const bool keeps_range = std::ranges::all_of(
        plan.clamps, [](const clamp_range& range) { return range.minimum == 0 && range.maximum == full_scale_16; });
    plan.keeps_samples = !plan.changes_colors && wanted.depth == 16 && keeps_range && plan.shifts == per_channel<int>{};
}

} // namespace

transform_plan make_plan(const settings& wanted)
{
    check_combination(wanted);
    const std::uint32_t sample_maximum = wanted.depth == 8 ? 0xFF : full_scale_16;
    transform_plan plan = wanted.camera ? plan_from_profile(wanted) : plan_from_options(wanted);
    plan.channels = wanted.channels;
    plan.vector_level = wanted.vector_level;

    for (std::size_t channel = 0; channel < channel_names.size(); ++channel) {
        if (const auto& source = wanted.input_tables[channel]) {
            plan.input_tables[channel] = make_lookup_table(*source, channel, plan.input_table_bits, full_scale_16);
        }
        auto& output_table = plan.output_tables[channel];
        const auto& output_source = wanted.output_tables[channel];
        if (output_source) {
            output_table = make_lookup_table(*output_source, channel, plan.output_table_bits, sample_maximum);
        }
        const auto& shift = wanted.shifts[channel];
        plan.shifts[channel] = shift ? shift->value : plan.shifts[channel];
        plan.clamps[channel] = clamp_for(wanted, channel, plan.shifts[channel], output_table.size(), sample_maximum);
        for (const std::uint32_t entry : output_table) {
            if (shifted(entry, plan.shifts[channel]) > sample_maximum) {
                throw option_error(output_source ? output_source->option : shift->option,
                                   (output_source ? output_source->value : "the profile's curve") + ": the entry "
                                       + std::to_string(entry) + sample_limit(wanted, plan.shifts[channel]));
            }
        }
    }
    note_changes(plan, wanted);
    return plan;
}

} // namespace kx::convert
