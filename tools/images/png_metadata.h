// What a PNG says beside its samples as metadata, and back.
#pragma once

#include "ledger.h"
#include "metadata.h"

#include <png.h>

namespace kx::images {

// All that has been read so far: texts may also stand behind the samples. What cannot be carried on is entered.
metadata read_metadata(png_structp png, png_infop info, ledger& losses);

// Metadata in the form of libpng, made before its functions are called: they may leave by a jump.
class png_metadata {
public:
    // Enters what a PNG cannot hold.
    png_metadata(const metadata& about, ledger& losses);

    void set(png_structp png, png_infop info);

private:
    struct density {
        png_uint_32 x;
        png_uint_32 y;
        int unit;
    };

    [[nodiscard]] std::optional<density> to_density() const;

    const metadata& about_;
    ledger& losses_;
    std::optional<density> density_;
    std::vector<std::pair<std::string, std::string>> texts_; // what `entries_` points to
    std::vector<png_text> entries_;
};

} // namespace kx::images
