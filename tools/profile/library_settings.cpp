#include "library_settings.h"

#include <algorithm>
#include <cmath>
#include <numeric>

namespace kx::profile {

namespace {

constexpr double full_scale = 65535.0; // of balanced samples, on their way into the matrix

double last_entry(int bit_depth)
{
    return static_cast<double>((1 << bit_depth) - 1);
}

std::vector<std::uint32_t> make_input_LUT(int bits, double black, double gain)
{
    const double range = last_entry(bits) - black;
    std::vector<std::uint32_t> entries(std::size_t{1} << bits);
    for (std::size_t sample = 0; sample < entries.size(); ++sample) {
        const double light = gain * (static_cast<double>(sample) - black) / range;
        entries[sample] = static_cast<std::uint32_t>(std::lround(full_scale * std::clamp(light, 0.0, 1.0)));
    }
    return entries;
}

bool is_identity(const std::vector<std::uint32_t>& entries)
{
    std::vector<std::uint32_t> same(entries.size());
    std::iota(same.begin(), same.end(), 0U);
    return entries == same;
}

} // namespace

std::vector<std::uint32_t> make_LUT(const std::function<double(double)>& curve, int bit_depth, double largest)
{
    std::vector<std::uint32_t> entries(std::size_t{1} << bit_depth);
    for (std::size_t index = 0; index < entries.size(); ++index) {
        const double value = curve(static_cast<double>(index) / last_entry(bit_depth));
        entries[index] = static_cast<std::uint32_t>(std::lround(largest * value));
    }
    return entries;
}

int default_output_LUT_bit_depth(const camera_profile& profile)
{
    return profile.values().output_depth == 16 ? 16 : std::max(profile.values().bits, 12);
}

library_settings make_settings(const camera_profile& profile, std::optional<int> output_LUT_bit_depth)
{
    const profile_values& values = profile.values();
    library_settings settings;
    settings.output_depth = values.output_depth;

    for (std::size_t channel = 0; channel < 3; ++channel) {
        auto& entries = settings.input_LUTs.at(channel);
        entries = make_input_LUT(values.bits, values.black_level.at(channel), values.white_balance.at(channel));
        if (is_identity(entries)) {
            entries.clear();
        } else {
            settings.input_LUT_bit_depth = values.bits;
        }
    }

    // The matrix delivers what the output LUT is indexed by or, where the curve is a straight line, the output sample.
    int result_bits = values.output_depth;
    if (output_LUT_bit_depth || !values.tone_curve.is_linear()) {
        result_bits = output_LUT_bit_depth.value_or(default_output_LUT_bit_depth(profile));
        settings.output_LUT_bit_depth = result_bits;
        settings.output_LUTs.fill(make_LUT(values.tone_curve, result_bits, last_entry(values.output_depth)));
    }
    settings.clamps.fill({0, static_cast<std::uint16_t>(last_entry(result_bits))});
    for (std::size_t place = 0; place < settings.matrix.size(); ++place) {
        settings.matrix.at(place) =
            static_cast<float>(values.matrix.at(place / 3).at(place % 3) * last_entry(result_bits) / full_scale);
    }
    return settings;
}

} // namespace kx::profile
