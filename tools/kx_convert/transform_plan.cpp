#include "transform_plan.h"

#include "lookup_table.h"

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

bool any(const channel_option<std::string>& LUTs)
{
    return LUTs.all || std::ranges::any_of(LUTs.own, [](const auto& own) { return own.has_value(); });
}

// Whether a channel's output LUT stands in the way of the profile's curve.
bool replaces_curve(const channel_option<std::string>& LUTs, std::size_t channel)
{
    return LUTs.own.at(channel) || (LUTs.all && !find_curve(*LUTs.all));
}

// The option that gave a channel's value, for messages.
template <typename Value>
std::string option_name(const channel_option<Value>& option, std::size_t channel, const std::string& name)
{
    return option.own.at(channel) ? std::string("--") + channel_names.at(channel) + "-" + name : "--" + name;
}

std::vector<std::uint32_t> read_LUT(const channel_option<std::string>& LUTs, std::size_t channel,
                                    const std::string& name, int bits, std::uint32_t full_scale)
{
    try {
        return make_lookup_table(LUTs[channel].value(), channel, bits, full_scale);
    } catch (const std::runtime_error& error) {
        throw option_error(option_name(LUTs, channel, name), error.what());
    }
}

// A channel's shift and clamp, and that its results fit the output.
void limit_channel(profile::library_settings& library, const settings& wanted, std::size_t channel)
{
    const std::uint32_t sample_maximum = library.output_depth == 8 ? 0xFF : full_scale_16;
    const int shift = wanted.shifts[channel].value_or(0);
    const std::string limit = " shifted by " + std::to_string(shift) + " does not fit the "
                              + std::to_string(library.output_depth) + "-bit output";
    library.shifts.at(channel) = shift;
    const auto& entries = library.output_LUTs.at(channel);
    const auto& clamp = wanted.clamps[channel];
    if (clamp) {
        const auto& [minimum, maximum] = *clamp;
        const std::string option = option_name(wanted.clamps, channel, "clamp");
        if (minimum > maximum) {
            throw option_error(option, "the minimum " + std::to_string(minimum) + " is above the maximum "
                                           + std::to_string(maximum));
        }
        if (!entries.empty() && static_cast<std::size_t>(maximum) >= entries.size()) {
            throw option_error(option, "the maximum " + std::to_string(maximum) + " lies beyond the "
                                           + channel_names.at(channel) + " output LUT, whose last entry is "
                                           + std::to_string(entries.size() - 1));
        }
        if (entries.empty() && shifted(static_cast<std::uint64_t>(maximum), shift) > sample_maximum) {
            throw option_error(option, "the maximum " + std::to_string(maximum) + limit);
        }
        library.clamps.at(channel) = {static_cast<std::uint16_t>(minimum), static_cast<std::uint16_t>(maximum)};
    } else if (entries.empty()) {
        auto& maximum = library.clamps.at(channel).maximum;
        maximum = std::min(maximum, largest_before_shift(sample_maximum, shift));
    }
    for (const std::uint32_t entry : entries) {
        if (shifted(entry, shift) > sample_maximum) {
            const bool from_table = replaces_curve(wanted.output_LUTs, channel);
            throw from_table
                ? option_error(option_name(wanted.output_LUTs, channel, "output-lut"),
                               *wanted.output_LUTs[channel] + ": the entry " + std::to_string(entry) + limit)
                : option_error(option_name(wanted.shifts, channel, "shift"),
                               "the curve's entry " + std::to_string(entry) + limit);
        }
    }
}

// The profile on one line, to be made a file again; a curve's long table would weigh more than the picture.
std::string on_one_line(const profile::camera_profile& profile)
{
    constexpr std::size_t long_table = 256;
    profile::profile_values values = profile.values();
    const bool left_out = values.tone_curve.table().size() > long_table;
    if (left_out) {
        values.tone_curve = {};
    }
    const std::string text = profile::to_json(profile::camera_profile(values));
    std::string line;
    for (std::size_t place = 0; place < text.size(); ++place) {
        if (text[place] == '\n') {
            place = std::min(text.find_first_not_of(' ', place + 1), text.size()) - 1;
        } else {
            line += text[place];
        }
    }
    return line + (left_out ? " and a table as tone_curve" : "");
}

std::string record_of(const settings& wanted, const profile::camera_profile& profile, bool keeps_samples)
{
    std::string text = "kx_convert " KX_VERSION;
    if (keeps_samples) {
        return text;
    }
    text += ' ' + on_one_line(profile);
    const auto add = [&text](const char* name, const auto& option) {
        if (option[0] || option[1] || option[2]) {
            text += std::string(" --") + name;
        }
    };
    add("input-lut", wanted.input_LUTs);
    add("output-lut", wanted.output_LUTs);
    add("clamp", wanted.clamps);
    add("shift", wanted.shifts);
    return text;
}

} // namespace

transform_plan make_plan(const settings& wanted, const camera& from, unsigned sample_bits)
{
    const profile::camera_profile profile = profile_for(from, sample_bits);
    const profile::profile_values& values = profile.values();
    const std::uint32_t full_scale = values.output_depth == 8 ? 0xFF : full_scale_16;
    if (wanted.output_LUT_bits && values.tone_curve.is_linear() && !any(wanted.output_LUTs)) {
        throw option_error("--output-lut-bits", "there is no output LUT; give --output-lut or a channel's own");
    }
    per_channel<bool> replaced{};
    for (std::size_t channel = 0; channel < replaced.size(); ++channel) {
        replaced.at(channel) = replaces_curve(wanted.output_LUTs, channel);
    }
    const bool any_replaced = replaced != per_channel<bool>{};
    std::optional<int> output_bits = wanted.output_LUT_bits;
    if (any_replaced && !output_bits) {
        output_bits = profile::default_output_LUT_bit_depth(profile);
    }

    transform_plan plan{};
    plan.library = profile::make_settings(profile, output_bits);
    plan.output_is_srgb = from.matrix_is_given;
    for (std::size_t channel = 0; channel < replaced.size(); ++channel) {
        if (wanted.input_LUTs[channel]) {
            plan.library.input_LUT_bit_depth = values.bits;
            plan.library.input_LUTs.at(channel) =
                read_LUT(wanted.input_LUTs, channel, "input-lut", values.bits, full_scale_16);
        }
        if (replaced.at(channel)) {
            plan.library.output_LUTs.at(channel) =
                read_LUT(wanted.output_LUTs, channel, "output-lut", *output_bits, full_scale);
        }
        const auto curve = replaced.at(channel) ? find_curve(*wanted.output_LUTs[channel]) : values.tone_curve;
        plan.output_is_srgb = plan.output_is_srgb && curve && curve->name() == "srgb";
        limit_channel(plan.library, wanted, channel);
    }
    const profile::camera_profile plain({.description = values.description,
                                         .bits = values.bits,
                                         .tone_curve = {},
                                         .output_depth = values.output_depth});
    plan.changes_colors = profile != plain || wanted.matrix || any(wanted.input_LUTs) || any_replaced;
    const profile::clamp_range whole{0, static_cast<std::uint16_t>(full_scale)};
    plan.keeps_samples = !plan.changes_colors && values.bits == static_cast<int>(sample_bits)
                         && values.output_depth == values.bits && plan.library.shifts == per_channel<int>{}
                         && plan.library.clamps == per_channel<profile::clamp_range>{whole, whole, whole};
    plan.record = record_of(wanted, profile, plan.keeps_samples);
    return plan;
}

} // namespace kx::convert
