// Images at awkward places in memory, and plain arithmetic for where their samples are.
#pragma once

#include "korvex_kvi_color_processing.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <ostream>
#include <vector>

namespace kx_test {

namespace kc = korvex::color;

enum class place { alone, bottom_up, in_a_larger_image, planes_row_by_row, three_planes, scattered };

inline constexpr place places[] = {
    place::alone,        place::bottom_up, place::in_a_larger_image, place::planes_row_by_row,
    place::three_planes, place::scattered};
inline constexpr kc::pixel_layout layouts[] = {kc::pixel_layout::planar_bgr, kc::pixel_layout::interleaved_bgr,
                                               kc::pixel_layout::interleaved_rgb};

struct image_kind {
    kc::pixel_layout layout;
    place where;
    std::size_t width;
    std::size_t height;
    std::size_t channels;
};

inline std::ostream& operator<<(std::ostream& stream, const image_kind& kind)
{
    return stream << "layout " << static_cast<int>(kind.layout) << ", place " << static_cast<int>(kind.where) << ", "
                  << kind.width << " x " << kind.height << " x " << kind.channels;
}

template <typename Sample>
class placed_image {
public:
    explicit placed_image(const image_kind& kind) : kind_(kind)
    {
        const bool planar = kind.layout == kc::pixel_layout::planar_bgr;
        const auto width = static_cast<std::ptrdiff_t>(kind.width);
        const auto height = static_cast<std::ptrdiff_t>(kind.height);
        const auto channels = static_cast<std::ptrdiff_t>(kind.channels);
        column_ = planar ? 1 : channels;
        row_ = width * column_;
        std::ptrdiff_t rows = height;
        if (kind.where == place::in_a_larger_image) {
            row_ += 7 * column_;
            rows += 4;
            origin_ = 2 * row_ + 3 * column_;
        } else if (kind.where == place::bottom_up) {
            row_ = -row_ - 5;
            origin_ = (1 - height) * row_;
        }
        channel_ = planar ? std::max(row_, -row_) * rows : 1;
        if (kind.where == place::planes_row_by_row && planar) {
            channel_ = width + 1;
            row_ = channel_ * channels;
        } else if (kind.where == place::three_planes && kind.channels == 3) { // of which red comes first
            column_ = 1;
            row_ = width + 2;
            channel_ = -row_ * height - 3;
            origin_ = -2 * channel_;
        } else if (kind.where == place::scattered) { // mirrored, and every second column
            channel_ = planar ? -2 * width * height : -1;
            column_ = planar ? -2 : -2 * channels;
            row_ = width * -column_;
            origin_ = row_ + column_ / 2 - (channels - 1) * channel_;
        }
        memory_.assign(static_cast<std::size_t>(height * width * channels * 2 + std::abs(row_) * (height + 6) * 4),
                       untouched);
    }

    [[nodiscard]] kc::image_view<Sample> view()
    {
        const auto bytes = [](std::ptrdiff_t samples) { return samples * static_cast<std::ptrdiff_t>(sizeof(Sample)); };
        const auto channels = static_cast<int>(kind_.channels);
        if (kind_.where == place::in_a_larger_image) {
            return kc::image_view<Sample>(memory_.data(), kind_.layout, kind_.width + 7, kind_.height + 4, channels)
                .rectangle(3, 2, kind_.width, kind_.height);
        }
        if (kind_.where == place::three_planes && kind_.channels == 3) {
            return {&at(0, 0, 0), &at(0, 0, 1), &at(0, 0, 2), kind_.width, kind_.height, bytes(row_)};
        }
        if (kind_.where == place::scattered) {
            const bool rgb = kind_.layout == kc::pixel_layout::interleaved_rgb;
            return {&at(0, 0, rgb ? 2 : 0),
                    rgb ? kc::channel_order::rgb : kc::channel_order::bgr,
                    kind_.width,
                    kind_.height,
                    channels,
                    {bytes(row_), bytes(column_), bytes(channel_)}};
        }
        const bool row_by_row = kind_.where == place::planes_row_by_row;
        return {memory_.data() + origin_,
                kind_.layout,
                kind_.width,
                kind_.height,
                channels,
                kind_.where == place::alone ? 0 : bytes(row_),
                row_by_row ? bytes(channel_) : 0};
    }

    // Channels count blue, green, red, fourth in every layout.
    Sample& at(std::size_t x, std::size_t y, std::size_t channel)
    {
        const bool swapped = kind_.layout == kc::pixel_layout::interleaved_rgb && channel < 3
                             && !(kind_.where == place::three_planes && kind_.channels == 3);
        return memory_.at(static_cast<std::size_t>(
            origin_ + static_cast<std::ptrdiff_t>(y) * row_ + static_cast<std::ptrdiff_t>(x) * column_
            + static_cast<std::ptrdiff_t>(swapped ? 2 - channel : channel) * channel_));
    }

    // Calls visit(sample, its number in an image of interleaved bgr pixels).
    template <typename Visit>
    void for_each_sample(const Visit& visit)
    {
        std::size_t number = 0;
        for (std::size_t y = 0; y < kind_.height; ++y) {
            for (std::size_t x = 0; x < kind_.width; ++x) {
                for (std::size_t channel = 0; channel < kind_.channels; ++channel) {
                    visit(at(x, y, channel), number++);
                }
            }
        }
    }

    // Whether the image has these samples, in that order, and nothing else in its memory was written.
    [[nodiscard]] bool holds_just(const std::vector<Sample>& expected)
    {
        bool right = true;
        for_each_sample([&](Sample& sample, std::size_t number) {
            right = right && sample == expected[number];
            sample = untouched;
        });
        return right && is_untouched();
    }

    [[nodiscard]] bool is_untouched() const
    {
        return std::all_of(memory_.begin(), memory_.end(), [](Sample sample) { return sample == untouched; });
    }

private:
    static constexpr auto untouched = static_cast<Sample>(0xA5A5);

    image_kind kind_;
    std::ptrdiff_t origin_ = 0; // in samples, as the distances that follow
    std::ptrdiff_t row_ = 0;
    std::ptrdiff_t column_ = 0;
    std::ptrdiff_t channel_ = 0;
    std::vector<Sample> memory_;
};

} // namespace kx_test
