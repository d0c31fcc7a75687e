#include "conversion.h"

#include <algorithm>

namespace kx::python {

namespace {

template <typename Sample>
kc::image_view<Sample> view_of(const conversion& all, const sample_places& places, std::size_t image)
{
    std::byte* data = places.data;
    auto rest = static_cast<std::ptrdiff_t>(image);
    for (std::size_t dimension = all.leading_dimensions; dimension-- > 0;) {
        data += rest % all.counts[dimension] * places.leading[dimension];
        rest /= all.counts[dimension];
    }
    return {reinterpret_cast<Sample*>(data),      places.order,    static_cast<std::size_t>(all.width),
            static_cast<std::size_t>(all.height), places.channels, places.strides};
}

// Calls visit(image's number, its first row, number of rows, the same row of all images).
template <typename Visit>
void for_each_image(const conversion& all, const image_region& where, const Visit& visit)
{
    const auto height = static_cast<std::size_t>(all.height);
    for (std::size_t row = where.row, end = row + where.rows; row < end;) {
        const std::size_t y = row % height;
        const std::size_t rows = std::min(end - row, height - y);
        visit(row / height, y, rows, row);
        row += rows;
    }
}

template <typename Sample>
void convert_into(const conversion& all, const kc::processor& processor, const image_region& where,
                  const kc::transform_options& options)
{
    for_each_image(all, where, [&](std::size_t image, std::size_t y, std::size_t rows, std::size_t) {
        const auto part = [&](const auto& view) { return view.rectangle(where.column, y, where.columns, rows); };
        processor.transform(part(view_of<const std::uint16_t>(all, all.input, image)),
                            part(view_of<Sample>(all, all.output, image)), options);
    });
}

} // namespace

image_region image_region::part(std::size_t index, std::size_t count) const
{
    const bool of_rows = rows >= count || rows >= columns;
    const std::size_t all = of_rows ? rows : columns;
    const auto start = [&](std::size_t i) { return all / count * i + std::min(i, all % count); };
    image_region part = *this;
    (of_rows ? part.row : part.column) += start(index);
    (of_rows ? part.rows : part.columns) = start(index + 1) - start(index);
    return part;
}

void conversion::simplify()
{
    while (leading_dimensions > 0) {
        const std::size_t last = leading_dimensions - 1;
        for (sample_places* const places : {&input, &output}) {
            if (height == 1 && counts[last] > 1) {
                places->strides.row = places->leading[last];
            }
        }
        if (counts[last] > 1
            && (input.leading[last] != height * input.strides.row
                || output.leading[last] != height * output.strides.row)) {
            break;
        }
        height *= counts[last];
        input.leading[last] = output.leading[last] = 0;
        leading_dimensions = last;
    }
    // The strides of dimensions with one element say nothing.
    for (sample_places* const places : {&input, &output}) {
        places->strides.row = height == 1 ? 0 : places->strides.row;
        places->strides.column = width == 1 ? 0 : places->strides.column;
    }
}

image_region conversion::everything() const
{
    auto rows = static_cast<std::size_t>(height);
    for (std::size_t dimension = 0; dimension < leading_dimensions; ++dimension) {
        rows *= static_cast<std::size_t>(counts[dimension]);
    }
    return {0, rows, 0, static_cast<std::size_t>(width)};
}

void conversion::check(const kc::processor& processor, const image_region& where) const
{
    for_each_image(*this, where, [&](std::size_t image, std::size_t y, std::size_t rows, std::size_t row) {
        const auto view = view_of<const std::uint16_t>(*this, input, image);
        if (auto beyond = processor.first_sample_beyond(view.rectangle(where.column, y, where.columns, rows))) {
            beyond->x += where.column;
            throw sample_beyond_LUT{*beyond, row + beyond->y};
        }
    });
}

void conversion::convert(const kc::processor& processor, const image_region& where, kc::transform_options options) const
{
    options.check_samples = options.check_overlap = false;
    if (output.sample_bytes == 1) {
        convert_into<std::uint8_t>(*this, processor, where, options);
    } else {
        convert_into<std::uint16_t>(*this, processor, where, options);
    }
}

} // namespace kx::python
