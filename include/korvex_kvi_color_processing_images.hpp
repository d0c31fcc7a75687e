/*
 * Images in the host's memory, as korvex_kvi_color_processing.hpp takes them: views with layout and pitch, their parts,
 * and how any two of them reach a library that takes contiguous buffers.
 */
#ifndef KORVEX_KVI_COLOR_PROCESSING_IMAGES_HPP
#define KORVEX_KVI_COLOR_PROCESSING_IMAGES_HPP

#include "korvex_kvi_color_processing.h"

#include <algorithm> // std::min stands in parentheses: <windows.h> may define a macro of its name
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace korvex::color {

// How the samples of an image lie in memory.
enum class pixel_layout : std::int32_t {
    planar_bgr = KX_COLOR_PLANAR_BGR,           // planes: blue, green, red (, fourth)
    interleaved_bgr = KX_COLOR_INTERLEAVED_BGR, // side by side: blue, green, red (, fourth)
    interleaved_rgb = KX_COLOR_INTERLEAVED_RGB  // side by side: red, green, blue (, fourth)
};

namespace detail {

inline void require(bool condition, const char* otherwise)
{
    if (!condition) {
        throw std::invalid_argument(otherwise);
    }
}

} // namespace detail

// An image, or a part of one. Sample is std::uint16_t or std::uint8_t, const for images that are only read. A view owns
// nothing and is copied like a pointer.
template <typename Sample>
class image_view {
    using byte = std::conditional_t<std::is_const_v<Sample>, const unsigned char, unsigned char>;
    using plain_sample = std::remove_const_t<Sample>;
    static_assert(std::is_same_v<plain_sample, std::uint16_t> || std::is_same_v<plain_sample, std::uint8_t>,
                  "samples have 16 or 8 bits");

public:
    image_view() = default; // no pixels

    // An image of width x height pixels with 3 or 4 channels.
    //   pitch        bytes from a row (of a plane) to the next; 0: rows follow one another without a gap.
    //   plane_pitch  planar: bytes from a plane to the next; 0: planes follow one another without a gap. Planes may
    //                also alternate row by row.
    // Throws std::invalid_argument when rows or planes overlap, when there are pixels but data is null, or when data or
    // a pitch is no multiple of the sample's size.
    image_view(Sample* data, pixel_layout layout, std::size_t width, std::size_t height, int channels = 3,
               std::size_t pitch = 0, std::size_t plane_pitch = 0)
        : data_(data), width_(width), height_(height), channels_(static_cast<std::size_t>(channels)), layout_(layout)
    {
        using detail::require;
        constexpr std::size_t most = PTRDIFF_MAX / 8; // keeps the sums of sizes below from overflowing
        require(layout == pixel_layout::planar_bgr || layout == pixel_layout::interleaved_bgr
                    || layout == pixel_layout::interleaved_rgb,
                "an image's layout is one of three");
        require(channels == 3 || channels == 4, "an image has 3 or 4 channels");
        require(width <= most / sizeof(Sample) / channels_, "the image is too large");
        pitch_ = pitch != 0 ? pitch : row_bytes();
        require(pitch_ >= row_bytes(), "the image's pitch is smaller than a row");
        require(height == 0 || pitch_ <= most / height, "the image is too large");
        plane_pitch_ = plane_pitch != 0 ? plane_pitch : pitch_ * height;
        require(plane_pitch_ <= most, "the image is too large");
        const bool one_by_one = plane_pitch_ >= plane_bytes();
        const bool row_by_row = plane_pitch_ >= row_bytes() && pitch_ >= plane_pitch_ * (planes() - 1) + row_bytes();
        require(planes() == 1 || one_by_one || row_by_row, "the image's planes overlap");
        require(reinterpret_cast<std::uintptr_t>(data) % alignof(Sample) == 0 && pitch_ % sizeof(Sample) == 0
                    && plane_pitch_ % sizeof(Sample) == 0,
                "the image's data or pitch is not aligned to its samples");
        require(data != nullptr || empty(), "the image's data is null");
    }

    // Whatever may be written may also be read.
    template <typename Other, typename = std::enable_if_t<std::is_same_v<const Other, Sample>>>
    image_view(const image_view<Other>& other) // NOLINT(google-explicit-constructor)
        : image_view(other.data(), other.layout(), other.width(), other.height(), other.channels(), other.pitch(),
                     other.plane_pitch())
    {
    }

    [[nodiscard]] Sample* data() const { return data_; }
    [[nodiscard]] pixel_layout layout() const { return layout_; }
    [[nodiscard]] std::size_t width() const { return width_; }
    [[nodiscard]] std::size_t height() const { return height_; }
    [[nodiscard]] int channels() const { return static_cast<int>(channels_); }
    [[nodiscard]] std::size_t pitch() const { return pitch_; }
    [[nodiscard]] std::size_t plane_pitch() const { return plane_pitch_; }

    [[nodiscard]] bool empty() const { return width_ == 0 || height_ == 0; }
    [[nodiscard]] bool is_planar() const { return layout_ == pixel_layout::planar_bgr; }
    [[nodiscard]] std::size_t planes() const { return is_planar() ? channels_ : 1; }

    // From a sample to the same channel's next one in the row, in samples.
    [[nodiscard]] std::size_t step() const { return is_planar() ? 1 : channels_; }

    // The bytes of a row (of a plane) without what pads them up to the pitch.
    [[nodiscard]] std::size_t row_bytes() const { return width_ * step() * sizeof(Sample); }

    // From the first of the view's bytes to the last.
    [[nodiscard]] std::size_t extent() const { return empty() ? 0 : (planes() - 1) * plane_pitch_ + plane_bytes(); }

    // Whether rows follow one another without a gap; whether all samples do.
    [[nodiscard]] bool has_contiguous_rows() const { return height_ <= 1 || pitch_ == row_bytes(); }
    [[nodiscard]] bool is_contiguous() const
    {
        return has_contiguous_rows() && (planes() == 1 || plane_pitch_ == row_bytes() * height_);
    }

    // The first sample of a row (of a plane).
    [[nodiscard]] Sample* row(std::size_t y, std::size_t plane = 0) const
    {
        return reinterpret_cast<Sample*>(reinterpret_cast<byte*>(data_) + plane * plane_pitch_ + y * pitch_);
    }

    // A part of the image, in the same memory. Throws std::out_of_range unless it lies within the image.
    [[nodiscard]] image_view rectangle(std::size_t x, std::size_t y, std::size_t width, std::size_t height) const
    {
        if (x > width_ || width > width_ - x || y > height_ || height > height_ - y) {
            throw std::out_of_range("the rectangle does not lie within the image");
        }
        image_view part = *this;
        part.width_ = width;
        part.height_ = height;
        if (!part.empty()) {
            part.data_ = row(y) + x * step();
        }
        return part;
    }
    [[nodiscard]] image_view rows(std::size_t first, std::size_t count) const
    {
        return rectangle(0, first, width_, count);
    }

    // The image cut into `count` bands of nearly as many rows each: band number `index`. Where there are fewer rows
    // than bands, some are empty. Throws std::out_of_range unless index < count.
    [[nodiscard]] image_view band(std::size_t index, std::size_t count) const
    {
        if (index >= count) {
            throw std::out_of_range("there is no band of this number");
        }
        const auto start = [&](std::size_t i) { return height_ / count * i + (std::min)(i, height_ % count); };
        return rows(start(index), start(index + 1) - start(index));
    }

private:
    [[nodiscard]] std::size_t plane_bytes() const { return height_ == 0 ? 0 : (height_ - 1) * pitch_ + row_bytes(); }

    Sample* data_ = nullptr;
    std::size_t width_ = 0;
    std::size_t height_ = 0;
    std::size_t pitch_ = 0;
    std::size_t plane_pitch_ = 0;
    std::size_t channels_ = 3;
    pixel_layout layout_ = pixel_layout::interleaved_bgr;
};

namespace detail {

// Throws std::invalid_argument unless input can be converted into output.
template <typename Sample>
void require_convertible(const image_view<const std::uint16_t>& input, const image_view<Sample>& output)
{
    require(input.channels() == 3, "the input image has a fourth channel");
    require(input.width() == output.width() && input.height() == output.height(),
            "input and output image differ in size");
    const auto from = reinterpret_cast<std::uintptr_t>(input.data());
    const auto to = reinterpret_cast<std::uintptr_t>(output.data());
    const bool crossing = from < to + output.extent() && to < from + input.extent();
    bool side_by_side = false; // two rectangles of one image
    const std::size_t pitch = input.pitch();
    const auto rows_lie_on_a_grid = [pitch](const auto& image) {
        return image.pitch() == pitch && (image.planes() == 1 || image.plane_pitch() % pitch == 0);
    };
    if (crossing && pitch > 0 && rows_lie_on_a_grid(input) && rows_lie_on_a_grid(output)) {
        const std::size_t distance = to >= from ? (to - from) % pitch : pitch - (from - to) % pitch;
        side_by_side = distance >= input.row_bytes() && distance + output.row_bytes() <= pitch;
    }
    require(!crossing || side_by_side, "input and output image overlap");
}

// The bits that any of the samples has.
inline std::uint16_t bits_of(const std::uint16_t* samples, std::size_t count)
{
    std::uint64_t all = 0;
    std::size_t i = 0;
    for (; count - i >= 4; i += 4) {
        std::uint64_t four;
        std::memcpy(&four, samples + i, sizeof(four));
        all |= four;
    }
    for (; i < count; ++i) {
        all |= samples[i];
    }
    return static_cast<std::uint16_t>(all | all >> 16U | all >> 32U | all >> 48U);
}

template <typename Sample>
void copy_samples(const image_view<const Sample>& from, const image_view<Sample>& to)
{
    for (std::size_t plane = 0; plane < from.planes(); ++plane) {
        for (std::size_t y = 0; y < from.height(); ++y) {
            std::memcpy(to.row(y, plane), from.row(y, plane), from.row_bytes());
        }
    }
}

// An image like the view, but contiguous, in the buffer.
template <typename Sample, typename Buffered = std::remove_const_t<Sample>>
image_view<Buffered> contiguous_in(const image_view<Sample>& view, std::vector<Buffered>& buffer)
{
    buffer.resize(view.width() * view.height() * static_cast<std::size_t>(view.channels()));
    return {buffer.data(), view.layout(), view.width(), view.height(), view.channels()};
}

// Calls convert(from, to, pixel count) with contiguous pieces of two images of one size until all is converted: with
// the images as a whole where that is possible, otherwise row by row. What one call could not take as it lies (parts of
// planar images), and rows for which a call takes longer than copying, go through buffers that stay in the cache.
template <typename Sample, typename Convert>
void convert_in_pieces(const image_view<const std::uint16_t>& input, const image_view<Sample>& output,
                       const Convert& convert)
{
    constexpr std::size_t most_pixels = INT32_MAX; // in a call
    constexpr std::size_t buffered_pixels = 4096;
    constexpr std::size_t short_row = 1024;

    const std::size_t width = input.width();
    const std::size_t height = input.height();
    if (input.empty()) {
        return;
    }
    const bool contiguous_rows = input.has_contiguous_rows() && output.has_contiguous_rows();
    std::size_t columns = width;
    std::size_t rows = height;
    if (!input.is_contiguous() || !output.is_contiguous() || height > most_pixels / width) {
        const bool buffered = input.is_planar() || output.is_planar() || (!contiguous_rows && width < short_row);
        const std::size_t limit = buffered ? buffered_pixels : most_pixels;
        columns = (std::min)(width, limit);
        rows = contiguous_rows || buffered ? limit / columns : 1;
    }
    std::vector<std::uint16_t> input_buffer;
    std::vector<Sample> output_buffer;
    for (std::size_t y = 0; y < height; y += rows) {
        for (std::size_t x = 0; x < width; x += columns) {
            const std::size_t w = (std::min)(columns, width - x);
            const std::size_t h = (std::min)(rows, height - y);
            image_view<const std::uint16_t> from = input.rectangle(x, y, w, h);
            if (!from.is_contiguous()) {
                const auto copy = contiguous_in(from, input_buffer);
                copy_samples(from, copy);
                from = copy;
            }
            const image_view<Sample> target = output.rectangle(x, y, w, h);
            const image_view<Sample> to = target.is_contiguous() ? target : contiguous_in(target, output_buffer);
            convert(from.data(), to.data(), static_cast<std::int32_t>(w * h));
            if (to.data() != target.data()) {
                copy_samples(image_view<const Sample>(to), target);
            }
        }
    }
}

} // namespace detail

} // namespace korvex::color

#endif // KORVEX_KVI_COLOR_PROCESSING_IMAGES_HPP
