#include "camera.h"

namespace kx::convert {

namespace {

// Which option is to blame for a member of the profile.
std::string option_for(const std::string& path)
{
    for (const auto& [member, option] : {std::pair{"/black_level", "--black-level"},
                                         {"/white_balance", "--white-balance"},
                                         {"/matrix", "--matrix"},
                                         {"/bits", "--input-bits"}}) {
        if (path.starts_with(member)) {
            return option;
        }
    }
    return "--profile";
}

} // namespace

std::optional<profile::tone_curve> find_curve(const std::string& name)
{
    try {
        return profile::tone_curve::named(name);
    } catch (const profile::profile_error&) {
        if (name.starts_with("gamma:") || name.starts_with("inverse:")) {
            throw;
        }
        return std::nullopt;
    }
}

camera make_camera(const settings& wanted)
{
    camera made;
    profile::profile_values& values = made.values;
    if (!wanted.profile.empty()) {
        try {
            values = profile::load_profile(wanted.profile).values();
        } catch (const profile::profile_error& error) {
            throw option_error("--profile", error.what());
        }
    }
    made.bits_are_given = wanted.bits || !wanted.profile.empty();
    made.matrix_is_given = wanted.matrix || values.matrix != profile::identity_matrix;
    values.bits = wanted.bits.value_or(values.bits);
    values.black_level = wanted.black_level.value_or(values.black_level);
    values.white_balance = wanted.white_balance.value_or(values.white_balance);
    values.matrix = wanted.matrix.value_or(values.matrix);
    values.output_depth = wanted.depth.value_or(values.output_depth);
    try {
        values.tone_curve = find_curve(wanted.output_LUTs.all.value_or("")).value_or(values.tone_curve);
    } catch (const profile::profile_error& error) {
        throw option_error("--output-lut", error.reason());
    }
    static_cast<void>(profile_for(made, 16));
    return made;
}

profile::camera_profile profile_for(const camera& from, unsigned sample_bits)
{
    profile::profile_values values = from.values;
    if (sample_bits == 8 && values.bits != 8) {
        for (double& black : values.black_level) {
            black = from.bits_are_given ? black * 255 / ((1 << values.bits) - 1) : black;
        }
        values.bits = 8;
    }
    try {
        return profile::camera_profile(values);
    } catch (const profile::profile_error& error) {
        throw option_error(option_for(error.path()), error.what());
    }
}

camera balance_camera(camera from, const profile::pixel_area& area, images::image_reader& reader, std::uint32_t page,
                      const std::filesystem::path& file)
{
    const images::image_16 picture = reader.read_page(page);
    try {
        from.values.white_balance =
            profile::balance_from_area(picture, area, profile_for(from, picture.was_8_bit ? 8 : 16));
        static_cast<void>(profile::camera_profile(from.values)); // gains may be too large
        return from;
    } catch (const profile::profile_error& error) {
        throw images::image_error(file, error.reason());
    }
}

} // namespace kx::convert
