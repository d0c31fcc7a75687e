// The camera's profile and the settings worked out: every default filled in, every table made, every contradiction
// refused.
#pragma once

#include "camera.h"

#include "profile/library_settings.h"

namespace kx::convert {

struct transform_plan {
    profile::library_settings library;
    bool changes_colors; // what the input's profile says does not hold for the output
    bool output_is_srgb;
    bool keeps_samples; // every one as it was read
    std::string record; // for the output: this program's version, and the profile, if it does anything
};

// For pages of 8- or 16-bit samples. No value of a plan's transform exceeds the output samples: what would is clamped
// by default, and refused where it was asked for. Throws option_error.
transform_plan make_plan(const settings& wanted, const camera& from, unsigned sample_bits);

} // namespace kx::convert
