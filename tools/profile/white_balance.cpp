#include "white_balance.h"

#include <algorithm>

namespace kx::profile {

channel_values balance_from_area(const images::image_16& picture, const pixel_area& area, const camera_profile& profile)
{
    constexpr double tolerated_share = 0.01; // of over-exposed samples
    const auto refuse = [](const std::string& reason) -> void {
        throw profile_error("/white_balance", "the area for it " + reason);
    };
    if (area.width == 0 || area.height == 0 || area.left >= picture.width || area.width > picture.width - area.left
        || area.top >= picture.height || area.height > picture.height - area.top) {
        refuse("lies beyond the picture's " + std::to_string(picture.width) + " x " + std::to_string(picture.height)
               + " pixels, or is empty");
    }
    const bool interleaved = picture.layout == images::arrangement::interleaved_rgb;
    const int largest = (1 << profile.values().bits) - 1;
    const double count = static_cast<double>(area.width) * area.height;
    channel_values light{};
    for (std::size_t channel = 0; channel < 3; ++channel) {
        double sum = 0;
        double saturated = 0;
        for (std::uint32_t y = area.top; y < area.top + area.height; ++y) {
            for (std::uint32_t x = area.left; x < area.left + area.width; ++x) {
                const std::size_t pixel = std::size_t{y} * picture.width + x;
                const std::uint16_t sample =
                    picture.samples[interleaved ? pixel * picture.channels + channel
                                                : (2 - channel) * picture.pixel_count() + pixel];
                sum += sample;
                saturated += sample >= largest ? 1 : 0;
            }
        }
        if (saturated > tolerated_share * count) {
            refuse("is over-exposed");
        }
        const double black = profile.values().black_level.at(channel);
        light.at(channel) = (sum / count - black) / (largest - black);
        if (!(light.at(channel) > 0.0)) {
            refuse("is no brighter than the black level");
        }
    }
    const double brightest = std::ranges::max(light);
    channel_values gains{};
    std::ranges::transform(light, gains.begin(), [brightest](double channel) { return brightest / channel; });
    return gains;
}

} // namespace kx::profile
