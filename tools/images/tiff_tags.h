// A TIFF page's tags as metadata, and back.
#pragma once

#include "metadata.h"
#include "tiff_file.h"

#include <set>

namespace kx::images {

// All that the file's current page says beside its samples' layout.
metadata read_metadata(tiff_file& file);

// Sets the tags of the page to be written. Adds the names of those that cannot be written to `left_out`.
void write_metadata(tiff_file& file, const metadata& about, std::set<std::string>& left_out);

} // namespace kx::images
