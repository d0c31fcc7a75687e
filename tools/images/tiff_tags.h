// A TIFF page's tags as metadata, and back.
#pragma once

#include "ledger.h"
#include "tiff_directory.h"

namespace kx::images {

// For people; `tiff` knows more names.
std::string tag_name(std::uint16_t tag, TIFF* tiff = nullptr);

// All that the file's current page says beside its samples' layout. What cannot be carried on is entered for the page.
metadata read_metadata(tiff_file& file, std::uint32_t page, ledger& losses);

// Whether the current page has a number that does not fit a plain TIFF's 32 bits.
bool needs_big_tiff(tiff_file& file);

// Sets the tags of the page to be written. What libtiff would round or cut short is returned: it must take the place of
// what libtiff has written.
std::vector<tiff_tag> write_metadata(tiff_file& file, const metadata& about, ledger& losses);

} // namespace kx::images
