// Pictures of the chart, as files and as linear light.
#pragma once

#include "color_science.h"
#include "reference_chart.h"

#include "images/image_file.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <utility>
#include <vector>

namespace kx::chart {

// A picture of frame_width x frame_height pixels with the samples' meaning.
template <typename Sample>
class picture {
public:
    picture(images::image<Sample> samples, std::vector<float> decoding)
        : image_(std::move(samples)), decoding_(std::move(decoding))
    {
    }

    // The mean color of an area, taken in linear light.
    color mean(const rectangle& area) const
    {
        color sum{};
        for (int y = area.top; y < area.top + area.height; ++y) {
            const Sample* sample =
                image_.samples.data()
                + 3 * (std::size_t{image_.width} * static_cast<std::size_t>(y) + static_cast<std::size_t>(area.left));
            for (int x = 0; x < area.width; ++x) {
                for (double& channel : sum) {
                    channel += static_cast<double>(decoding_[*sample++]);
                }
            }
        }
        for (double& channel : sum) {
            channel /= static_cast<double>(area.width) * area.height;
        }
        return sum;
    }

private:
    images::image<Sample> image_;
    std::vector<float> decoding_;
};

using camera_picture = picture<std::uint16_t>;
using srgb_picture = picture<std::uint8_t>;

using patch_colors = std::array<color, patch_count>;

template <typename Sample>
patch_colors measure_patches(const picture<Sample>& chart)
{
    patch_colors measured{};
    for (std::size_t index = 0; index < patch_count; ++index) {
        measured[index] = chart.mean(measured_area(index));
    }
    return measured;
}

// Both throw images::image_error unless the file is such a picture of the chart: linear 16-bit RGB as the
// camera gives it, or 8-bit sRGB in a PNG.
camera_picture read_camera_picture(const std::filesystem::path& file);
srgb_picture read_srgb_picture(const std::filesystem::path& file);

template <typename Sample>
void write_picture(const std::filesystem::path& file, const images::image<Sample>& samples)
{
    const auto writer = images::create_image(file);
    writer->write_page(samples);
    writer->commit();
}

} // namespace kx::chart
