// The entries of a TIFF directory as they stand in the file. libtiff does not tell fractions exactly, what stands
// behind a text's first NUL, tags of types that it does not know, or where values lie, and writes the first two as it
// tells them.
#pragma once

#include "tiff_file.h"

namespace kx::images {

struct tiff_entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint64_t count;
    std::uint64_t place; // of the values

    [[nodiscard]] std::size_t value_size() const; // 0: of an unknown type
    [[nodiscard]] std::uint64_t size() const { return count * value_size(); }
};

class tiff_directory {
public:
    // The one that libtiff is at, or that begins at an offset.
    explicit tiff_directory(tiff_file& file) : tiff_directory(file, TIFFCurrentDirOffset(file.get())) {}
    tiff_directory(tiff_file& file, std::uint64_t offset);

    [[nodiscard]] const std::vector<tiff_entry>& entries() const { return entries_; }

    // The first place from `start` on where the directory or values other than samples are; 2^64 - 1 if there are none.
    [[nodiscard]] std::uint64_t next_structure(std::uint64_t start) const;

    // An entry's values in this machine's byte order; nothing if they are not there.
    [[nodiscard]] std::optional<std::vector<std::byte>> values(const tiff_entry& entry) const;

    // Puts values of the same type and number in a tag's place. Throws image_error.
    void replace(const tiff_tag& tag) const;

private:
    void swap_if_needed(std::uint16_t type, std::size_t size, std::vector<std::byte>& bytes) const;

    tiff_file& file_;
    std::uint64_t offset_;
    std::vector<tiff_entry> entries_;
};

} // namespace kx::images
