// A camera profile: how one camera's pixels become colours. docs/profiles.md has the file format and the arithmetic.
#pragma once

#include "profile_error.h"
#include "tone_curve.h"

#include <array>
#include <filesystem>
#include <string>
#include <string_view>

namespace kx::profile {

// One value for each channel: red, green, blue.
template <typename Value>
using per_channel = std::array<Value, 3>;

using channel_values = per_channel<double>;

// Row by row; rows are output, columns input red, green, blue.
using color_matrix = std::array<std::array<double, 3>, 3>;

inline constexpr color_matrix identity_matrix{{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}};

// The members of a profile, not checked.
struct profile_values {
    std::string description{};             // free text, UTF-8
    int bits = 16;                         // that the camera delivers, 8..16: samples from 0 to 2^bits - 1
    channel_values black_level{0, 0, 0};   // what the camera delivers without light, below 2^bits - 1
    channel_values white_balance{1, 1, 1}; // gains, above 0, at most 1000
    color_matrix matrix = identity_matrix; // from balanced camera to linear output, -1000..1000
    profile::tone_curve tone_curve{};      // from linear light to output samples
    int output_depth = 16;                 // bits of an output sample, 8 or 16

    bool operator==(const profile_values&) const = default;
};

// A profile whose members were checked; an immutable value.
class camera_profile {
public:
    // Throws profile_error with the path of the first wrong member.
    explicit camera_profile(profile_values values = {});

    [[nodiscard]] const profile_values& values() const { return values_; }

    bool operator==(const camera_profile&) const = default;

private:
    profile_values values_;
};

// A profile as JSON text and back: what is read equals what was written. Reading throws profile_error for all that is
// not a profile: unknown, repeated, missing and wrong members.
std::string to_json(const camera_profile& profile);
camera_profile from_json(std::string_view text);

// The same with a file; both throw profile_error, with the file's name in front. A file that exists is replaced
// only when the new one is complete.
camera_profile load_profile(const std::filesystem::path& file);
void save_profile(const camera_profile& profile, const std::filesystem::path& file);

} // namespace kx::profile
