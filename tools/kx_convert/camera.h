// The camera that the command line amounts to: a profile with overrides.
#pragma once

#include "settings.h"

namespace kx::convert {

struct camera {
    profile::profile_values values; // checked for pages of 16-bit samples
    bool bits_are_given = false;    // or else they are the file's
    bool matrix_is_given = false;   // so that its results have the output's primaries
};

// Reads the profile. Throws option_error.
camera make_camera(const settings& wanted);

// The camera's profile for pages of 8- or 16-bit samples: 8-bit samples have 8 bits whatever the camera delivers, and
// its black level is brought to their range. Throws option_error.
profile::camera_profile profile_for(const camera& from, unsigned sample_bits);

// The camera with the white balance that an area of a page of a file has. Throws images::image_error.
camera balance_camera(camera from, const profile::pixel_area& area, images::image_reader& reader, std::uint32_t page,
                      const std::filesystem::path& file);

// The curve of this name; nothing if it is a file's. Throws profile_error for a curve that cannot be.
std::optional<profile::tone_curve> find_curve(const std::string& name);

} // namespace kx::convert
