/*
 * Images in the host's memory, as korvex_kvi_color_processing.hpp takes them: views of any strides, and their parts.
 */
#ifndef KORVEX_KVI_COLOR_PROCESSING_IMAGES_HPP
#define KORVEX_KVI_COLOR_PROCESSING_IMAGES_HPP

#include "korvex_kvi_color_processing.h"

#include <algorithm> // std::min and std::max stand in parentheses: <windows.h> may define macros of these names
#include <array>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <type_traits>

// The namespace of this header's version. Parts of a program that were compiled with headers of different versions have
// different classes, and do not take each other's.
#define KX_COLOR_JOINED(major, minor, patch) v##major##_##minor##_##patch
#define KX_COLOR_JOIN(major, minor, patch) KX_COLOR_JOINED(major, minor, patch)
#define KX_COLOR_VERSION_NAMESPACE                                                                                     \
    KX_COLOR_JOIN(KX_COLOR_PROCESSING_VERSION_MAJOR, KX_COLOR_PROCESSING_VERSION_MINOR,                                \
                  KX_COLOR_PROCESSING_VERSION_PATCH)

namespace korvex::color {
inline namespace KX_COLOR_VERSION_NAMESPACE {

// How the samples of an image lie in memory.
enum class pixel_layout : std::int32_t {
    planar_bgr = KX_COLOR_PLANAR_BGR,           // planes: blue, green, red (, fourth)
    interleaved_bgr = KX_COLOR_INTERLEAVED_BGR, // side by side: blue, green, red (, fourth)
    interleaved_rgb = KX_COLOR_INTERLEAVED_RGB  // side by side: red, green, blue (, fourth)
};

// Which channel comes first, where strides say how far it is to the next. A fourth is the last in both.
enum class channel_order { bgr, rgb };

// Distances in bytes, of any sign: to the same channel's sample in the next row and in the next column, and to the next
// channel's sample of the same pixel.
struct image_strides {
    std::ptrdiff_t row;
    std::ptrdiff_t column;
    std::ptrdiff_t channel;
};

namespace detail {

inline void require(bool condition, const char* otherwise)
{
    if (!condition) {
        throw std::invalid_argument(otherwise);
    }
}

inline constexpr std::size_t most_bytes = PTRDIFF_MAX / 8; // of an image: sums of a few such sizes do not overflow

inline std::size_t distance(std::ptrdiff_t stride)
{
    return stride < 0 ? 0 - static_cast<std::size_t>(stride) : static_cast<std::size_t>(stride);
}

// Throws when the product is larger than any image.
inline std::size_t checked_product(std::size_t one, std::size_t other)
{
    require(other == 0 || one <= most_bytes / other, "the image is too large");
    return one * other;
}

// A dimension of an image.
struct extent {
    std::size_t distance; // in bytes
    std::size_t count;
};

// Whether each dimension steps over all that the smaller ones reach, so that no two samples share memory.
template <typename Extents>
bool are_apart(Extents dimensions, std::size_t sample_bytes)
{
    std::sort(dimensions.begin(), dimensions.end(),
              [](const extent& one, const extent& other) { return one.distance < other.distance; });
    std::size_t reach = sample_bytes;
    for (const extent& each : dimensions) {
        if (each.count > 1 && each.distance < reach) {
            return false;
        }
        reach += each.count > 1 ? each.distance * (each.count - 1) : 0;
    }
    return true;
}

// Where the samples of one channel are: rows and columns counted from the lowest address.
struct sample_grid {
    std::uintptr_t lowest;
    extent rows;
    extent columns;
    std::size_t sample_bytes;

    [[nodiscard]] std::size_t row_bytes() const { return columns.distance * (columns.count - 1) + sample_bytes; }
    [[nodiscard]] std::uintptr_t end() const { return lowest + rows.distance * (rows.count - 1) + row_bytes(); }
};

// False when no sample of one lies where a sample of the other does. True when some may: what is told apart are images
// that lie one behind the other, and images whose rows or samples alternate.
inline bool may_overlap(const sample_grid& one, const sample_grid& other)
{
    if (one.end() <= other.lowest || other.end() <= one.lowest) {
        return false;
    }
    // When all of their distances are multiples of a period, each has its place in it.
    const auto alternate = [&](std::size_t period, std::size_t bytes, std::size_t other_bytes) {
        if (period == 0) {
            return false;
        }
        const std::size_t after = other.lowest >= one.lowest ? (other.lowest - one.lowest) % period
                                                             : period - (one.lowest - other.lowest) % period;
        return after >= bytes && after + other_bytes <= period;
    };
    const auto period_of = [](const extent& dimension) { return dimension.count > 1 ? dimension.distance : 0; };
    const std::size_t rows = std::gcd(period_of(one.rows), period_of(other.rows));
    const std::size_t samples = std::gcd(rows, std::gcd(period_of(one.columns), period_of(other.columns)));
    return !alternate(rows, one.row_bytes(), other.row_bytes())
           && !alternate(samples, one.sample_bytes, other.sample_bytes);
}

} // namespace detail

// An image, or a part of one, at any strides: bottom up, planes in any order and place, every second column. Sample is
// std::uint16_t or std::uint8_t, const for images that are only read; it may lie at any address. A view owns nothing
// and is copied like a pointer.
//
// Constructors throw std::invalid_argument for what cannot be an image: more bytes than memory has, pixels without
// data, and, unless it is only read from strides or planes, samples that share memory.
template <typename Sample>
class image_view {
    using byte = std::conditional_t<std::is_const_v<Sample>, const unsigned char, unsigned char>;
    static_assert(std::is_same_v<std::remove_const_t<Sample>,
                                 std::uint16_t> || std::is_same_v<std::remove_const_t<Sample>, std::uint8_t>,
                  "samples have 16 or 8 bits");
    static constexpr auto sample_bytes = static_cast<std::ptrdiff_t>(sizeof(Sample));

public:
    image_view() = default; // no pixels

    // An image of width x height pixels with 3 or 4 channels in one of the library's layouts.
    //   data         the top row's first sample.
    //   pitch        bytes from a row (of a plane) to the next, negative when it lies above it in memory; 0: rows
    //                follow one another without a gap.
    //   plane_pitch  planar: bytes from a plane to the next; 0: planes follow one another without a gap. Planes may
    //                also alternate row by row.
    image_view(Sample* data, pixel_layout layout, std::size_t width, std::size_t height, int channels = 3,
               std::ptrdiff_t pitch = 0, std::ptrdiff_t plane_pitch = 0)
        : image_view(data, layout == pixel_layout::interleaved_rgb ? channel_order::rgb : channel_order::bgr, width,
                     height, channels, strides_of(layout, width, height, channels, pitch, plane_pitch))
    {
        require_apart(strides_of(layout, width, height, channels, pitch, plane_pitch));
    }

    // An image at any strides. `data` is the first channel's sample of the top left pixel.
    image_view(Sample* data, channel_order order, std::size_t width, std::size_t height, int channels,
               const image_strides& strides)
        : image_view(width, height, channels, strides)
    {
        detail::require(data != nullptr || empty(), "the image's data is null");
        for (std::size_t channel = 0; channel < channels_ && data != nullptr; ++channel) {
            const std::size_t place = order == channel_order::rgb && channel < 3 ? 2 - channel : channel;
            first_[channel] = reinterpret_cast<byte*>(data) + static_cast<std::ptrdiff_t>(place) * strides.channel;
        }
        if (!std::is_const_v<Sample>) {
            require_apart(strides);
        }
    }

    // An image of three planes, wherever they are, with the same pitch.
    image_view(Sample* blue, Sample* green, Sample* red, std::size_t width, std::size_t height,
               std::ptrdiff_t pitch = 0)
        : image_view(width, height, 3, strides_of(pixel_layout::planar_bgr, width, height, 1, pitch, 0))
    {
        Sample* const planes[] = {blue, green, red};
        for (std::size_t channel = 0; channel < channels_; ++channel) {
            detail::require(planes[channel] != nullptr || empty(), "the image's data is null");
            first_[channel] = reinterpret_cast<byte*>(planes[channel]);
        }
        if (!std::is_const_v<Sample> && !empty()) {
            require_apart({row_, column_, 0}, 1);
            detail::require(!may_overlap(grid(0), grid(1)) && !may_overlap(grid(0), grid(2))
                                && !may_overlap(grid(1), grid(2)),
                            "the image's planes overlap");
        }
    }

    // Whatever may be written may also be read.
    template <typename Other, typename = std::enable_if_t<std::is_same_v<const Other, Sample>>>
    image_view(const image_view<Other>& other) // NOLINT(google-explicit-constructor)
        : width_(other.width_), height_(other.height_), channels_(other.channels_), row_(other.row_),
          column_(other.column_)
    {
        std::copy(other.first_.begin(), other.first_.end(), first_.begin());
    }

    [[nodiscard]] std::size_t width() const { return width_; }
    [[nodiscard]] std::size_t height() const { return height_; }
    [[nodiscard]] int channels() const { return static_cast<int>(channels_); }
    [[nodiscard]] bool empty() const { return width_ == 0 || height_ == 0; }

    // Bytes from a sample to the same channel's in the next row, and in the next column.
    [[nodiscard]] std::ptrdiff_t row_stride() const { return row_; }
    [[nodiscard]] std::ptrdiff_t column_stride() const { return column_; }

    // The address of a sample. Channels count blue, green, red, fourth in every order.
    [[nodiscard]] Sample* at(std::size_t x, std::size_t y, std::size_t channel) const
    {
        return reinterpret_cast<Sample*>(first_[channel] + offset(x, y));
    }

    struct contiguous_samples {
        Sample* data;
        pixel_layout layout;
    };
    // The samples as the library takes them, if they lie one after another in one of its layouts, and aligned.
    [[nodiscard]] std::optional<contiguous_samples> contiguous() const
    {
        for (const auto layout :
             {pixel_layout::interleaved_bgr, pixel_layout::interleaved_rgb, pixel_layout::planar_bgr}) {
            byte* const data = first_[layout == pixel_layout::interleaved_rgb ? 2 : 0];
            if (reinterpret_cast<std::uintptr_t>(data) % alignof(Sample) == 0 && has_contiguous(layout)) {
                return contiguous_samples{reinterpret_cast<Sample*>(data), layout};
            }
        }
        return {};
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
        for (std::size_t channel = 0; channel < channels_ && !part.empty(); ++channel) {
            part.first_[channel] += offset(x, y);
        }
        return part;
    }
    [[nodiscard]] image_view rows(std::size_t first, std::size_t count) const
    {
        return rectangle(0, first, width_, count);
    }

    // The image cut into `count` bands of nearly as many pixels each: band number `index`. Bands are of rows; an image
    // with fewer rows than that, which is wider than high, is cut into bands of columns. Some are empty where there are
    // fewer of these as well. Throws std::out_of_range unless index < count.
    [[nodiscard]] image_view band(std::size_t index, std::size_t count) const
    {
        if (index >= count) {
            throw std::out_of_range("there is no band of this number");
        }
        const bool of_rows = height_ >= count || height_ >= width_;
        const std::size_t all = of_rows ? height_ : width_;
        const auto start = [&](std::size_t i) { return all / count * i + (std::min)(i, all % count); };
        const std::size_t size = start(index + 1) - start(index);
        return of_rows ? rows(start(index), size) : rectangle(start(index), 0, size, height_);
    }

    // For the tests for overlaps: one channel's samples.
    [[nodiscard]] detail::sample_grid grid(std::size_t channel) const
    {
        const auto reach = [](std::ptrdiff_t stride, std::size_t count) {
            return stride < 0 ? static_cast<std::uintptr_t>(stride) * (count - 1) : 0; // modulo 2^64
        };
        return {reinterpret_cast<std::uintptr_t>(first_[channel]) + reach(row_, height_) + reach(column_, width_),
                {detail::distance(row_), height_},
                {detail::distance(column_), width_},
                sizeof(Sample)};
    }

private:
    template <typename>
    friend class image_view;

    image_view(std::size_t width, std::size_t height, int channels, const image_strides& strides)
        : width_(width), height_(height), channels_(static_cast<std::size_t>(channels)), row_(strides.row),
          column_(strides.column)
    {
        detail::require(channels == 3 || channels == 4, "an image has 3 or 4 channels");
        (void)detail::checked_product(detail::checked_product(width, height), channels_ * sizeof(Sample));
        (void)detail::checked_product(detail::distance(strides.row), height);
        (void)detail::checked_product(detail::distance(strides.column), width);
        (void)detail::checked_product(detail::distance(strides.channel), channels_);
    }

    static image_strides strides_of(pixel_layout layout, std::size_t width, std::size_t height, int channels,
                                    std::ptrdiff_t pitch, std::ptrdiff_t plane_pitch)
    {
        const bool planar = layout == pixel_layout::planar_bgr;
        detail::require(planar || layout == pixel_layout::interleaved_bgr || layout == pixel_layout::interleaved_rgb,
                        "an image's layout is one of three");
        const std::ptrdiff_t column = planar ? sample_bytes : channels * sample_bytes;
        const std::size_t row_bytes = detail::checked_product(width, detail::distance(column));
        const std::ptrdiff_t row = pitch != 0 ? pitch : static_cast<std::ptrdiff_t>(row_bytes);
        const std::size_t plane_bytes = detail::checked_product(detail::distance(row), height);
        const std::ptrdiff_t plane = plane_pitch != 0 ? plane_pitch : static_cast<std::ptrdiff_t>(plane_bytes);
        return {row, column, planar ? plane : sample_bytes};
    }

    void require_apart(const image_strides& strides, std::size_t channels) const
    {
        const std::array<detail::extent, 3> dimensions{{{detail::distance(strides.row), height_},
                                                        {detail::distance(strides.column), width_},
                                                        {detail::distance(strides.channel), channels}}};
        detail::require(empty() || detail::are_apart(dimensions, sizeof(Sample)),
                        "the image's rows, columns or channels overlap");
    }
    void require_apart(const image_strides& strides) const { require_apart(strides, channels_); }

    [[nodiscard]] std::ptrdiff_t offset(std::size_t x, std::size_t y) const
    {
        return static_cast<std::ptrdiff_t>(y) * row_ + static_cast<std::ptrdiff_t>(x) * column_;
    }

    [[nodiscard]] bool has_contiguous(pixel_layout layout) const
    {
        const bool planar = layout == pixel_layout::planar_bgr;
        const auto width = static_cast<std::ptrdiff_t>(width_);
        const auto height = static_cast<std::ptrdiff_t>(height_);
        const std::ptrdiff_t column = planar ? sample_bytes : channels() * sample_bytes;
        const std::ptrdiff_t channel = planar ? width * height * sample_bytes : sample_bytes;
        if ((width > 1 && column_ != column) || (height > 1 && row_ != width * column)) {
            return false;
        }
        const auto at_place = [&](std::size_t which, std::ptrdiff_t place) {
            const std::size_t first = layout == pixel_layout::interleaved_rgb ? 2 : 0;
            return reinterpret_cast<std::uintptr_t>(first_[which]) - reinterpret_cast<std::uintptr_t>(first_[first])
                   == static_cast<std::uintptr_t>(place * channel);
        };
        return at_place(1, 1) && at_place(layout == pixel_layout::interleaved_rgb ? 0 : 2, 2)
               && (channels_ == 3 || at_place(3, 3));
    }

    std::array<byte*, 4> first_{}; // each channel's sample of the top left pixel: blue, green, red, fourth
    std::size_t width_ = 0;
    std::size_t height_ = 0;
    std::size_t channels_ = 3;
    std::ptrdiff_t row_ = 0;
    std::ptrdiff_t column_ = 0;
};

namespace detail {

// Throws std::invalid_argument when a sample of one may lie where one of the other does.
template <typename Sample>
void require_apart(const image_view<const std::uint16_t>& input, const image_view<Sample>& output)
{
    for (std::size_t from = 0; from < 3 && !input.empty(); ++from) {
        for (std::size_t to = 0; to < static_cast<std::size_t>(output.channels()); ++to) {
            require(!may_overlap(input.grid(from), output.grid(to)), "input and output image overlap");
        }
    }
}

} // namespace detail
} // namespace KX_COLOR_VERSION_NAMESPACE
} // namespace korvex::color

#endif // KORVEX_KVI_COLOR_PROCESSING_IMAGES_HPP
