#include "tone_curve.h"

#include "profile_error.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <utility>

namespace kx::profile {

namespace {

double encode_srgb(double light)
{
    return light <= 0.0031308 ? 12.92 * light : 1.055 * std::pow(light, 1.0 / 2.4) - 0.055;
}

double decode_srgb(double value)
{
    return value <= 0.04045 ? value / 12.92 : std::pow((value + 0.055) / 1.055, 2.4);
}

double encode_rec709(double light)
{
    return light < 0.018 ? 4.5 * light : 1.099 * std::pow(light, 0.45) - 0.099;
}

double decode_rec709(double value)
{
    return value < 0.081 ? value / 4.5 : std::pow((value + 0.099) / 1.099, 1.0 / 0.45);
}

std::optional<double> gamma_of(std::string_view text)
{
    double gamma = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), gamma);
    const bool number = error == std::errc{} && end == text.data() + text.size();
    return number && gamma >= 0.01 && gamma <= 100.0 ? std::optional(gamma) : std::nullopt;
}

} // namespace

tone_curve tone_curve::named(const std::string& name)
{
    tone_curve curve;
    curve.name_ = name;
    std::ranges::transform(curve.name_, curve.name_.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    constexpr std::string_view inverse_mark = "inverse:";
    constexpr std::string_view gamma_mark = "gamma:";
    std::string_view kind = curve.name_;
    const bool inverse = kind.starts_with(inverse_mark);
    if (inverse) {
        kind.remove_prefix(inverse_mark.size());
    }
    if (kind == "srgb") {
        curve.shape_ = inverse ? decode_srgb : encode_srgb;
    } else if (kind == "rec709") {
        curve.shape_ = inverse ? decode_rec709 : encode_rec709;
    } else if (kind.starts_with(gamma_mark)) {
        const auto gamma = gamma_of(kind.substr(gamma_mark.size()));
        if (!gamma) {
            throw profile_error("", "'" + name + "' needs a number from 0.01 to 100 after 'gamma:'");
        }
        curve.shape_ = [exponent = inverse ? *gamma : 1.0 / *gamma](double x) { return std::pow(x, exponent); };
    } else if (kind != "linear") {
        throw profile_error("", "'" + name
                                    + "' is no curve: there are linear, srgb, rec709 and gamma:G, with 'inverse:' in "
                                      "front or without");
    }
    return curve;
}

tone_curve tone_curve::from_table(std::vector<double> table)
{
    if (table.size() < 2 || table.size() > 65536) {
        throw profile_error("", "a table has 2 to 65536 values, not " + std::to_string(table.size()));
    }
    for (std::size_t index = 0; index < table.size(); ++index) {
        if (!(table[index] >= 0.0 && table[index] <= 1.0)) {
            throw profile_error(element_path("", index), "must be a number from 0 to 1");
        }
    }
    tone_curve curve;
    curve.name_.clear();
    curve.table_ = std::move(table);
    return curve;
}

double tone_curve::operator()(double x) const
{
    x = std::clamp(x, 0.0, 1.0);
    if (table_.empty()) {
        return shape_ == nullptr ? x : std::clamp(shape_(x), 0.0, 1.0);
    }
    const double place = x * static_cast<double>(table_.size() - 1);
    const auto before = std::min(static_cast<std::size_t>(place), table_.size() - 2);
    return std::lerp(table_[before], table_[before + 1], place - static_cast<double>(before));
}

} // namespace kx::profile
