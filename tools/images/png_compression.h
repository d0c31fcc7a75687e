// A PNG's rows filtered and compressed: one zlib stream, made in bands side by side.
#pragma once

#include "image_file.h"

namespace kx::images {

// The stream in pieces, to be written one after the other. They depend on the page and the level, 0 to 9, not on the
// number of threads. The page is interleaved, with samples in this machine's byte order. Throws image_error, which
// speaks of `name`.
std::vector<std::vector<std::byte>> compress_rows(const samples_view& page, int level, unsigned threads,
                                                  const std::filesystem::path& name);

} // namespace kx::images
