// What microscopy programs write into TIFF's ImageDescription: OME-XML, and the notes of ImageJ and of tifffile. They
// speak of the whole file, its pages and its samples, so that they must change with them.
#pragma once

#include "ledger.h"
#include "metadata.h"

#include <cstdint>
#include <optional>
#include <string>

namespace kx::images {

struct described_stack {
    std::uint64_t pages = 1;
    bool without_directories = false; // the text says that the pages behind the first have none
};

// What a text says of the file's pages, of that many samples each.
described_stack describe_stack(const std::string& description, std::uint64_t page_samples);

// Takes from the first page's metadata what is the whole file's: such a description, and what else those programs write
// once for all pages.
metadata take_file_notes(metadata& first_page);

// What a file's description has to agree with.
struct described_output {
    bool same_pages;   // all of the input's, in their order
    bool same_samples; // none has another value or another type
    std::uint64_t input_pages;
    std::uint64_t pages;
    std::uint32_t width;
    std::uint32_t height;
    unsigned channels;
    bool planar;
    unsigned bits;
};

// Corrects a page's description so that it holds for the output. What cannot hold is entered for the input's page.
void correct_description(metadata& about, const described_output& output, ledger& losses, std::uint32_t page);

// Puts what take_file_notes() took on the output's first page, as far as it holds.
void add_file_notes(metadata& first_page, const metadata& notes, const described_output& output, ledger& losses);

// The length in metres that ImageJ's resolution counts pixels for; nothing if its description names no length.
std::optional<double> imagej_unit(const std::string& description);

} // namespace kx::images
