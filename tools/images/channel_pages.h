// Files that store colour as one grey page for each channel, as microscopy programs do.
#pragma once

#include "image_file.h"

namespace kx::images {

// A reader whose pages are red, green and blue, planar, each made of three grey pages of `grey`: those that its
// description (OME-XML, ImageJ) says are these colours, or, with `in_threes`, one group of three after the other.
// Descriptions then speak of colour pages. Throws image_error.
std::unique_ptr<image_reader> combine_channel_pages(const std::filesystem::path& file,
                                                    std::unique_ptr<image_reader> grey, bool in_threes, ledger& losses);

} // namespace kx::images
