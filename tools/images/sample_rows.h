// Rows of samples as files hold them, turned into the 16-bit samples of an image.
#pragma once

#include "image_file.h"

#include <cstddef>
#include <optional>

namespace kx::images {

// What the fourth samples of an image say: one value, or different ones.
class fourth_samples {
public:
    void add(std::uint16_t sample)
    {
        varies_ = varies_ || (value_ && *value_ != sample);
        value_ = sample;
    }

    // The value of all samples, as 16 bits; nothing if they differ or if there are none.
    [[nodiscard]] std::optional<std::uint16_t> common_value() const { return varies_ ? std::nullopt : value_; }

private:
    std::optional<std::uint16_t> value_;
    bool varies_ = false;
};

// Takes the rows of one page from top to bottom, plane after plane. The image's memory grows as rows come, so that a
// small file that claims a huge image fails before it has used up the memory; what an earlier page left is reused.
class sample_rows {
public:
    // `components`: samples of a pixel in a row, 1, 3 or 4 of 8 or 16 bits.
    sample_rows(image_16& page, unsigned bits, unsigned components);

    // Goes on with rows whose samples count as the fourth alone and are kept nowhere.
    void begin_fourth_plane() { fourth_plane_ = true; }

    [[nodiscard]] std::size_t row_bytes() const { return row_samples_ * sample_bytes_; }

    // Room for the next rows, which are filled in and then taken.
    std::byte* next(std::size_t rows);
    void take(std::size_t rows);

    // Completes the page.
    const fourth_samples& finish();

private:
    template <typename Sample>
    void widen(const Sample* from, std::size_t rows);

    image_16& page_;
    std::size_t sample_bytes_;
    unsigned components_;
    std::size_t row_samples_;
    bool fourth_plane_ = false;
    std::vector<std::uint16_t> scratch_; // rows that cannot stand in the image as they come
    std::size_t used_ = 0;               // samples of the image that are complete
    fourth_samples fourth_;
};

} // namespace kx::images
