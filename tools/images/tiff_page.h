// What a TIFF file says about one of its pages.
#pragma once

#include "tiff_file.h"

namespace kx::images {

// Where a page's samples are that stand in one piece with other pages', as they are.
struct shared_place {
    std::uint64_t start;      // of its first plane, as the file numbers them
    std::uint64_t plane_step; // from a plane to the next
};

struct tiff_page {
    std::uint32_t number = 1; // for messages
    toff_t directory = 0;
    std::optional<shared_place> shared; // of pages that share a directory
    bool repeats_directory = false;     // all of these but the first
    image_16 image;                     // without samples
    unsigned bits = 16;
    unsigned samples = 3;              // of a pixel, in the file: 1, 3 or 4
    bool is_alpha = false;             // the fourth sample
    std::vector<std::string> oddities; // what libtiff found wrong or warned of

    // Of a file whose channels have pages of their own.
    [[nodiscard]] bool is_grey() const { return samples == 1; }

    [[nodiscard]] std::string name() const { return "page " + std::to_string(number); }
};

// What the file's current directory holds in place of a page: a smaller copy, a mask. Nothing if it holds a page.
std::optional<std::string> other_than_page(TIFF* tiff);

// The file's current page, just read. Throws image_error unless it is one that can be converted, and of the kind of the
// first page, if there is one already.
tiff_page describe_page(tiff_file& file, std::uint32_t number, const tiff_page* first);

// All pages that share the file's current page's directory, itself the first: some programs write a directory for the
// first page of a large stack only. ImageJ does so in files with `one_directory`. Throws image_error if there are more
// that cannot be read.
std::vector<tiff_page> pages_of_directory(tiff_file& file, const tiff_page& first, bool one_directory);

// Fills an image with the page's samples. Throws image_error.
void read_samples(tiff_file& file, const tiff_page& page, image_16& image);

} // namespace kx::images
