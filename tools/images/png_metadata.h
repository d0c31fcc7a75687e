// What a PNG says beside its samples as metadata, and back.
#pragma once

#include "metadata.h"

#include <set>

#include <png.h>

namespace kx::images {

// All that has been read so far: texts may also stand behind the samples.
metadata read_metadata(png_structp png, png_infop info);

// Metadata in the form of libpng, made before its functions are called: they may leave by a jump.
class png_metadata {
public:
    // Adds the names of what a PNG cannot hold to `left_out`.
    png_metadata(const metadata& about, std::set<std::string>& left_out);

    // Returns whether libpng took all of it.
    bool set(png_structp png, png_infop info);

private:
    const metadata& about_;
    std::vector<std::pair<std::string, std::string>> texts_; // what `entries_` points to
    std::vector<png_text> entries_;
};

} // namespace kx::images
