#include "comparison.h"

#include <algorithm>

namespace kx::chart {

namespace {

constexpr int reduction = 4;
constexpr int half_width = frame_width / reduction;
constexpr int half_height = frame_height / reduction;
constexpr int divider = 16; // a white strip between the halves

template <typename Sample>
void draw_half(images::image_8& target, int left, const picture<Sample>& source)
{
    const srgb_encoder encode;
    for (int y = 0; y < half_height; ++y) {
        for (int x = 0; x < half_width; ++x) {
            const auto pixel = encode(source.mean({x * reduction, y * reduction, reduction, reduction}));
            const std::size_t position =
                static_cast<std::size_t>(y) * target.width + static_cast<std::size_t>(left + x);
            std::copy(pixel.begin(), pixel.end(), target.samples.begin() + static_cast<std::ptrdiff_t>(3 * position));
        }
    }
}

} // namespace

images::image_8 before_and_after(const camera_picture& before, const srgb_picture& after)
{
    images::image_8 both;
    both.width = 2 * half_width + divider;
    both.height = half_height;
    both.samples.assign(3 * both.pixel_count(), 255);
    draw_half(both, 0, before);
    draw_half(both, half_width + divider, after);
    return both;
}

} // namespace kx::chart
