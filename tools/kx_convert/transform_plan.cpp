#include "transform_plan.h"

#include "lookup_table.h"

#include "profile/library_settings.h"

#include <algorithm>

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

template <typename Table>
bool any(const per_channel<std::optional<Table>>& tables)
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
    if (images::type_from_suffix(wanted.output) == images::file_type::png) {
        if (wanted.channels == 4) {
            throw option_error("--channels", "PNG would take the fourth sample, 0, for its alpha and show nothing: "
                                             "write a TIFF, or three channels");
        }
        if (wanted.planar) {
            throw option_error("--planar", "PNG has no separate planes: write a TIFF");
        }
        if (wanted.tiff_compression) {
            throw option_error("--compression", "is for TIFF; PNG has its own");
        }
    } else if (wanted.level
               && wanted.tiff_compression.value_or(images::compression::none) == images::compression::none) {
        throw option_error("--level", "there is nothing to compress: give --compression, or write a PNG");
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

// Matrices and tables as the options give them, or as the camera's profile does, whose curve and balance options for
// tables override.
transform_plan start_plan(const settings& wanted)
{
    transform_plan plan{};
    if (!wanted.camera) {
        plan.matrices = wanted.matrices;
        plan.input_table_bits = wanted.input_table_bits.value_or(16);
        plan.output_table_bits = wanted.output_table_bits.value_or(16);
        return plan;
    }
    std::optional<int> output_bits = wanted.output_table_bits;
    if (any(wanted.output_tables) && !output_bits) {
        output_bits = profile::default_output_LUT_bit_depth(*wanted.camera);
    }
    profile::library_settings from_profile = profile::make_settings(*wanted.camera, output_bits);
    plan.matrices = {from_profile.matrix};
    plan.input_table_bits = wanted.camera->values().bits;
    plan.output_table_bits = from_profile.output_LUT_bit_depth;
    plan.input_tables = std::move(from_profile.input_LUTs);
    plan.output_tables = std::move(from_profile.output_LUTs);
    return plan;
}

} // namespace

transform_plan make_plan(const settings& wanted)
{
    check_combination(wanted);
    const std::uint32_t sample_maximum = wanted.depth == 8 ? 0xFF : full_scale_16;
    transform_plan plan = start_plan(wanted);
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
        // Without a profile or a table that delivers 8-bit samples, their high byte is what there is to see.
        const bool high_byte = wanted.depth == 8 && output_table.empty() && !wanted.camera;
        const std::int32_t default_shift = high_byte ? -8 : 0;
        const auto& shift = wanted.shifts[channel];
        plan.shifts[channel] = shift ? shift->value : default_shift;
        plan.clamps[channel] = clamp_for(wanted, channel, plan.shifts[channel], output_table.size(), sample_maximum);
        for (const std::uint32_t entry : output_table) {
            if (shifted(entry, plan.shifts[channel]) > sample_maximum) {
                throw option_error(output_source ? output_source->option : shift->option,
                                   (output_source ? output_source->value : "the profile's curve") + ": the entry "
                                       + std::to_string(entry) + sample_limit(wanted, plan.shifts[channel]));
            }
        }
    }
    return plan;
}

} // namespace kx::convert
