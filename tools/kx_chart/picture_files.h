// Pictures of the chart as files.
#pragma once

#include "images/image_file.h"

#include <filesystem>
#include <initializer_list>

namespace kx::chart {

// The first page of an RGB file, its samples as they are in the file, 8-bit ones from a camera of 8 bits; and an 8-bit
// RGB PNG. Both throw images::image_error.
images::image_16 read_photograph(const std::filesystem::path& file, int bits);
images::image_8 read_srgb_picture(const std::filesystem::path& file);

template <typename Sample>
void write_picture(const std::filesystem::path& file, const images::image<Sample>& samples)
{
    const auto writer = images::create_image(file);
    writer->write_page(samples);
    writer->commit();
}

// Throws images::image_error when the file to be written is one of the others; empty names are none.
void refuse_same_file(const std::filesystem::path& output, std::initializer_list<std::filesystem::path> others);

} // namespace kx::chart
