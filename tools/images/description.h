// What microscopy programs write into TIFF's ImageDescription: OME-XML, and the notes of ImageJ and of tifffile. They
// speak of the pages and of the samples, so that they must change with them.
#pragma once

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

// The description as it holds for the output. Nothing if it cannot hold. Texts of other programs stay as they are.
std::optional<std::string> corrected_description(const std::string& text, const described_output& output);

} // namespace kx::images
