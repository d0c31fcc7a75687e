// Images at awkward places in memory, and plain arithmetic for where their samples are.
#pragma once

#include "korvex_kvi_color_processing.hpp"

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <vector>

namespace kx_test {

namespace kc = korvex::color;

enum class place { alone, pitched, in_a_larger_image, planes_row_by_row };

inline constexpr place places[] = {place::alone, place::pitched, place::in_a_larger_image, place::planes_row_by_row};
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
    explicit placed_image(const image_kind& kind)
        : kind_(kind), planar_(kind.layout == kc::pixel_layout::planar_bgr), step_(planar_ ? 1 : kind.channels)
    {
        std::size_t rows = kind.height;
        pitch_ = kind.width * step_;
        if (kind.where == place::pitched) {
            pitch_ += 5;
        } else if (kind.where == place::in_a_larger_image) {
            first_column_ = 3;
            first_row_ = 2;
            rows += 4;
            pitch_ += 7 * step_;
        }
        plane_pitch_ = pitch_ * rows;
        if (kind.where == place::planes_row_by_row && planar_) {
            plane_pitch_ = kind.width + 1;
            pitch_ = plane_pitch_ * kind.channels;
        }
        memory_.assign(pitch_ * rows * kind.channels, untouched);
    }

    [[nodiscard]] kc::image_view<Sample> view()
    {
        const auto make = [&](std::size_t w, std::size_t h, std::size_t pitch = 0, std::size_t plane_pitch = 0) {
            return kc::image_view<Sample>(memory_.data(), kind_.layout, w, h, static_cast<int>(kind_.channels),
                                          pitch * sizeof(Sample), plane_pitch * sizeof(Sample));
        };
        const std::size_t width = kind_.width;
        const std::size_t height = kind_.height;
        switch (kind_.where) {
        case place::pitched:
            return make(width, height, pitch_);
        case place::in_a_larger_image:
            return make(width + 7, height + 4).rectangle(3, 2, width, height);
        case place::planes_row_by_row:
            return make(width, height, pitch_, plane_pitch_);
        default:
            return make(width, height);
        }
    }

    // Channels count blue, green, red, fourth in every layout.
    Sample& at(std::size_t x, std::size_t y, std::size_t channel)
    {
        const std::size_t row = (y + first_row_) * pitch_ + (x + first_column_) * step_;
        if (planar_) {
            return memory_[channel * plane_pitch_ + row];
        }
        const bool swapped = kind_.layout == kc::pixel_layout::interleaved_rgb && channel < 3;
        return memory_[row + (swapped ? 2 - channel : channel)];
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
    bool planar_;
    std::size_t step_;
    std::size_t pitch_; // in samples, like the others
    std::size_t plane_pitch_;
    std::size_t first_row_ = 0;
    std::size_t first_column_ = 0;
    std::vector<Sample> memory_;
};

} // namespace kx_test
