// Images at awkward places in memory, and where their samples are by hand.
#pragma once

#include "korvex_kvi_color_processing.hpp"

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

namespace kx_test {

namespace kc = korvex::color;

inline constexpr auto bgr = kc::pixel_layout::interleaved_bgr;

template <typename Sample>
struct placed_image {
    kc::image_view<Sample> view;
    // In samples from the start of the memory, as the distances that follow.
    std::ptrdiff_t top_left;
    std::ptrdiff_t row;
    std::ptrdiff_t column;
    std::array<std::ptrdiff_t, 4> channels; // blue, green, red, fourth

    // Calls visit(sample's place in memory, its number in an image of interleaved bgr pixels).
    template <typename Visit>
    void for_each_sample(const Visit& visit) const
    {
        std::size_t number = 0;
        for (std::size_t y = 0; y < view.height(); ++y) {
            for (std::size_t x = 0; x < view.width(); ++x) {
                const auto pixel =
                    top_left + static_cast<std::ptrdiff_t>(y) * row + static_cast<std::ptrdiff_t>(x) * column;
                for (std::size_t channel = 0; channel < static_cast<std::size_t>(view.channels()); ++channel) {
                    visit(static_cast<std::size_t>(pixel + channels[channel]), number++);
                }
            }
        }
    }
};

// An image of each constructor, layout and kind of strides, all in the same memory.
template <typename Sample>
std::vector<placed_image<Sample>> placed_images(std::vector<Sample>& memory, std::size_t width, std::size_t height,
                                                std::size_t channels)
{
    constexpr auto planar = kc::pixel_layout::planar_bgr;
    constexpr auto rgb = kc::pixel_layout::interleaved_rgb;
    constexpr auto bytes = static_cast<std::ptrdiff_t>(sizeof(Sample));
    const auto w = static_cast<std::ptrdiff_t>(width);
    const auto h = static_cast<std::ptrdiff_t>(height);
    const auto n = static_cast<std::ptrdiff_t>(channels);
    const auto count = static_cast<int>(channels);
    const std::ptrdiff_t plane = w * h;
    const std::ptrdiff_t wide = w + 7;
    const std::ptrdiff_t wide_plane = wide * (h + 4);
    memory.resize(2 * (width + 7) * (height + 4) * channels);
    Sample* const start = memory.data();
    const auto part_of_larger = [&](kc::pixel_layout layout) {
        return kc::image_view<Sample>(start, layout, width + 7, height + 4, count).rectangle(3, 2, width, height);
    };
    const std::ptrdiff_t pitch = w * n + 5;
    const kc::image_view<Sample> bottom_up(start + (h - 1) * pitch, bgr, width, height, count, -pitch * bytes);
    const kc::image_view<Sample> alternating(start, planar, width, height, count, wide * n * bytes, wide * bytes);
    const std::ptrdiff_t last = 2 * w * h * n - 1;
    const kc::image_strides every_second_column{-2 * w * n * bytes, -2 * n * bytes, -bytes};
    const kc::image_view<Sample> mirrored(start + last, kc::channel_order::rgb, width, height, count,
                                          every_second_column);
    const kc::image_strides back{-w * bytes, -bytes, plane * bytes};
    const kc::image_view<Sample> turned(start + plane - 1, kc::channel_order::bgr, width, height, count, back);
    std::vector<placed_image<Sample>> all = {
        {{start, planar, width, height, count}, 0, w, 1, {0, plane, 2 * plane, 3 * plane}},
        {{start, bgr, width, height, count}, 0, w * n, n, {0, 1, 2, 3}},
        {{start, rgb, width, height, count}, 0, w * n, n, {2, 1, 0, 3}},
        {part_of_larger(planar), 2 * wide + 3, wide, 1, {0, wide_plane, 2 * wide_plane, 3 * wide_plane}},
        {part_of_larger(rgb), (2 * wide + 3) * n, wide * n, n, {2, 1, 0, 3}},
        {bottom_up, (h - 1) * pitch, -pitch, n, {0, 1, 2, 3}},
        {alternating, 0, wide * n, 1, {0, wide, 2 * wide, 3 * wide}}, // planes, row by row
        {mirrored, last, -2 * w * n, -2 * n, {-2, -1, 0, -3}},
        {turned, plane - 1, -w, -1, {0, plane, 2 * plane, 3 * plane}},
    };
    if (channels == 3) { // planes of their own, of which red comes first
        const kc::image_view<Sample> planes(start + 2 * wide_plane, start + wide_plane, start, width, height,
                                            wide * bytes);
        all.push_back({planes, 0, wide, 1, {2 * wide_plane, wide_plane, 0, 0}});
    }
    return all;
}

} // namespace kx_test
