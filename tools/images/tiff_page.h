// What a TIFF file says about one of its pages.
#pragma once

#include "tiff_file.h"

namespace kx::images {

struct tiff_page {
    std::uint32_t number = 1; // for messages
    toff_t directory = 0;
    std::uint64_t skip = 0; // pages that share a directory: how far behind its first page's samples this one's are
    image_16 image;         // without samples
    unsigned bits = 16;
    unsigned samples = 3;  // of a pixel, in the file
    bool is_alpha = false; // the fourth sample
    std::string oddities;  // what libtiff complained about

    [[nodiscard]] std::string name() const { return "page " + std::to_string(number); }
};

// The file's current page, just read. Throws image_error unless it is one that can be converted.
tiff_page describe_page(tiff_file& file, std::uint32_t number);

// All pages that share the file's current page's directory, itself the first: some programs write a directory for the
// first page of a large stack only. Throws image_error if there are more that cannot be read.
std::vector<tiff_page> pages_of_directory(tiff_file& file, const tiff_page& first);

// Fills an image with the page's samples. Throws image_error.
void read_samples(tiff_file& file, const tiff_page& page, image_16& image);

} // namespace kx::images
