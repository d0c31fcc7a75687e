#include "camera_profile.h"

#include "images/utf8.h"

#include <utility>

namespace kx::profile {

namespace {

void require(bool condition, const std::string& path, const char* rule)
{
    if (!condition) {
        throw profile_error(path, std::string("must be ") + rule);
    }
}

} // namespace

// The conditions are such that NaN meets none.
camera_profile::camera_profile(profile_values values) : values_(std::move(values))
{
    require(images::is_utf8(values_.description), "/description", "UTF-8");
    require(values_.bits >= 8 && values_.bits <= 16, "/bits", "a whole number from 8 to 16");
    const double largest_sample = (1 << values_.bits) - 1;
    for (std::size_t channel = 0; channel < 3; ++channel) {
        const double black = values_.black_level[channel];
        const double gain = values_.white_balance[channel];
        require(black >= 0.0 && black < largest_sample, element_path("/black_level", channel),
                "a number from 0 to below the largest sample, 2^bits - 1");
        require(gain > 0.0 && gain <= 1000.0, element_path("/white_balance", channel),
                "a number above 0, at most 1000");
        for (std::size_t column = 0; column < 3; ++column) {
            const double weight = values_.matrix[channel][column];
            require(weight >= -1000.0 && weight <= 1000.0, element_path(element_path("/matrix", channel), column),
                    "a number from -1000 to 1000");
        }
    }
    require(values_.output_depth == 8 || values_.output_depth == 16, "/output_depth", "8 or 16");
}

} // namespace kx::profile
