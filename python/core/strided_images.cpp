#include "strided_images.h"

#include <algorithm>
#include <cstring>
#include <vector>

namespace kx::python {

namespace {

constexpr std::size_t buffered_pixels = 8192; // of a piece that is copied: it stays in the cache

bool is_planar(const sample_places& places)
{
    return places.layout == kc::pixel_layout::planar_bgr;
}

std::ptrdiff_t row_bytes(const sample_places& places, std::ptrdiff_t width)
{
    return width * places.sample_bytes * (is_planar(places) ? 1 : places.channels);
}

// Whether a view of the library can express the images.
bool fits_a_view(const sample_places& places, std::ptrdiff_t height, std::ptrdiff_t width)
{
    const std::ptrdiff_t row = row_bytes(places, width);
    const auto is_aligned = [&places](std::ptrdiff_t distance) { return distance % places.sample_bytes == 0; };
    if (places.row < row || !is_aligned(places.row)
        || reinterpret_cast<std::uintptr_t>(places.data) % static_cast<std::uintptr_t>(places.sample_bytes) != 0) {
        return false;
    }
    const auto leading_is_aligned = std::all_of(places.leading.begin(), places.leading.end(), is_aligned);
    if (!is_planar(places)) {
        return leading_is_aligned && places.channel == places.sample_bytes
               && places.column == places.channels * places.sample_bytes;
    }
    const bool one_by_one = places.channel >= (height - 1) * places.row + row;
    const bool row_by_row = places.channel >= row && places.row >= (places.channels - 1) * places.channel + row;
    return leading_is_aligned && places.column == places.sample_bytes && is_aligned(places.channel)
           && (one_by_one || row_by_row);
}

template <typename Sample>
kc::image_view<Sample> view_of(const sample_places& places, std::byte* data, std::ptrdiff_t width, std::ptrdiff_t rows)
{
    return {reinterpret_cast<Sample*>(data),       places.layout,   static_cast<std::size_t>(width),
            static_cast<std::size_t>(rows),        places.channels, places.row,
            is_planar(places) ? places.channel : 0};
}

// The same kind of image, contiguous, in the buffer.
sample_places contiguous_in(std::vector<std::byte>& buffer, const sample_places& like, std::ptrdiff_t rows,
                            std::ptrdiff_t width)
{
    buffer.resize(static_cast<std::size_t>(rows * width * like.channels * like.sample_bytes));
    sample_places places = like;
    places.data = buffer.data();
    places.row = row_bytes(like, width);
    places.column = places.row / width;
    places.channel = is_planar(like) ? places.row * rows : like.sample_bytes;
    return places;
}

template <typename Sample>
void copy_samples(const sample_places& from, const sample_places& to, std::ptrdiff_t rows, std::ptrdiff_t width)
{
    for (std::ptrdiff_t y = 0; y < rows; ++y) {
        for (std::ptrdiff_t c = 0; c < from.channels; ++c) {
            const std::byte* source = from.data + y * from.row + c * from.channel;
            std::byte* target = to.data + y * to.row + c * to.channel;
            for (std::ptrdiff_t x = 0; x < width; ++x) {
                std::memcpy(target + x * to.column, source + x * from.column, sizeof(Sample)); // aligned or not
            }
        }
    }
}

std::ptrdiff_t offset_of_image(const conversion& wanted, const sample_places& places, std::size_t image)
{
    std::ptrdiff_t offset = 0;
    auto rest = static_cast<std::ptrdiff_t>(image);
    for (std::size_t dimension = wanted.leading_dimensions; dimension-- > 0;) {
        offset += rest % wanted.counts[dimension] * places.leading[dimension];
        rest /= wanted.counts[dimension];
    }
    return offset;
}

// Calls visit(first row's offset in the input, in the output, number of rows) for the parts of images that those rows
// are, at most `limit` rows at once.
template <typename Visit>
void for_each_part(const conversion& wanted, std::size_t first, std::size_t count, std::size_t limit,
                   const Visit& visit)
{
    const auto height = static_cast<std::size_t>(wanted.height);
    for (const std::size_t end = first + count; first < end;) {
        const std::size_t image = first / height;
        const std::size_t y = first % height;
        const std::size_t rows = std::min({end - first, height - y, limit});
        const auto offset = [&](const sample_places& places) {
            return offset_of_image(wanted, places, image) + static_cast<std::ptrdiff_t>(y) * places.row;
        };
        visit(offset(wanted.input), offset(wanted.output), static_cast<std::ptrdiff_t>(rows));
        first += rows;
    }
}

std::size_t buffered_rows(const conversion& wanted)
{
    return std::max<std::size_t>(buffered_pixels / static_cast<std::size_t>(wanted.width), 1);
}

using input_view = kc::image_view<const std::uint16_t>;

// Calls visit(view of the input's part, the output's offset, number of rows).
template <typename Visit>
void for_each_input_view(const conversion& wanted, std::size_t first, std::size_t count, bool output_is_buffered,
                         const Visit& visit)
{
    const bool buffered = wanted.crossing || !fits_a_view(wanted.input, wanted.height, wanted.width);
    std::vector<std::byte> buffer;
    for_each_part(wanted, first, count, buffered || output_is_buffered ? buffered_rows(wanted) : count,
                  [&](std::ptrdiff_t from, std::ptrdiff_t to, std::ptrdiff_t rows) {
                      sample_places places = wanted.input;
                      places.data += from;
                      if (buffered) {
                          const sample_places copy = contiguous_in(buffer, places, rows, wanted.width);
                          copy_samples<std::uint16_t>(places, copy, rows, wanted.width);
                          places = copy;
                      }
                      visit(view_of<const std::uint16_t>(places, places.data, wanted.width, rows), to, rows);
                  });
}

template <typename Sample>
void convert_into(const kc::processor& processor, const conversion& wanted, std::size_t first, std::size_t count,
                  const kc::transform_options& options)
{
    const bool buffered = !fits_a_view(wanted.output, wanted.height, wanted.width);
    std::vector<std::byte> buffer;
    for_each_input_view(
        wanted, first, count, buffered, [&](const input_view& input, std::ptrdiff_t to, std::ptrdiff_t rows) {
            sample_places target = wanted.output;
            target.data += to;
            const sample_places places = buffered ? contiguous_in(buffer, target, rows, wanted.width) : target;
            processor.transform(input, view_of<Sample>(places, places.data, wanted.width, rows), options);
            if (buffered) {
                copy_samples<Sample>(places, target, rows, wanted.width);
            }
        });
}

} // namespace

void conversion::simplify()
{
    while (leading_dimensions > 0) {
        const std::size_t last = leading_dimensions - 1;
        for (sample_places* const places : {&input, &output}) {
            if (height == 1 && counts[last] > 1) {
                places->row = places->leading[last];
            }
        }
        if (counts[last] > 1
            && (input.leading[last] != height * input.row || output.leading[last] != height * output.row)) {
            break;
        }
        height *= counts[last];
        input.leading[last] = output.leading[last] = 0;
        leading_dimensions = last;
    }
    // The strides of dimensions with one element say nothing.
    for (sample_places* const places : {&input, &output}) {
        if (width == 1) {
            places->column = row_bytes(*places, 1);
        }
        if (height == 1) {
            places->row = row_bytes(*places, width);
        }
    }
}

std::size_t conversion::images() const
{
    std::size_t product = 1;
    for (std::size_t dimension = 0; dimension < leading_dimensions; ++dimension) {
        product *= static_cast<std::size_t>(counts[dimension]);
    }
    return product;
}

void check_rows(const kc::processor& processor, const conversion& wanted, std::size_t first, std::size_t count)
{
    for_each_input_view(wanted, first, count, false, [&](const input_view& input, std::ptrdiff_t, std::ptrdiff_t) {
        processor.check_samples(input);
    });
}

void convert_rows(const kc::processor& processor, const conversion& wanted, std::size_t first, std::size_t count,
                  const kc::transform_options& options)
{
    if (wanted.output.sample_bytes == 1) {
        convert_into<std::uint8_t>(processor, wanted, first, count, options);
    } else {
        convert_into<std::uint16_t>(processor, wanted, first, count, options);
    }
}

} // namespace kx::python
