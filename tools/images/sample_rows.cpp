#include "sample_rows.h"

#include <algorithm>

namespace kx::images {

sample_rows::sample_rows(image_16& page, unsigned bits, unsigned components)
    : page_(page), sample_bytes_(bits / 8), components_(components), row_samples_(std::size_t{page.width} * components)
{
}

std::byte* sample_rows::next(std::size_t rows)
{
    const std::size_t samples = rows * row_samples_;
    if (sample_bytes_ == sizeof(std::uint16_t) && components_ != 4 && !fourth_plane_) {
        page_.samples.resize(std::max(page_.samples.size(), used_ + samples));
        return reinterpret_cast<std::byte*>(&page_.samples[used_]);
    }
    scratch_.resize(std::max(scratch_.size(), samples));
    return reinterpret_cast<std::byte*>(scratch_.data());
}

void sample_rows::take(std::size_t rows)
{
    if (sample_bytes_ == 1) {
        widen(reinterpret_cast<const std::uint8_t*>(scratch_.data()), rows);
    } else if (components_ == 4 || fourth_plane_) {
        widen(scratch_.data(), rows);
    } else {
        used_ += rows * row_samples_;
    }
}

// A fourth sample is judged by the full range of 16 bits.
template <typename Sample>
void sample_rows::widen(const Sample* from, std::size_t rows)
{
    constexpr std::uint16_t factor = sizeof(Sample) == 1 ? 257 : 1;
    const auto wide = [](Sample sample) { return static_cast<std::uint16_t>(sample * factor); };
    const Sample* const end = from + rows * row_samples_;
    if (fourth_plane_) {
        std::for_each(from, end, [&](Sample sample) { fourth_.add(wide(sample)); });
        return;
    }
    const std::size_t kept = std::min(components_, 3U);
    page_.samples.resize(std::max(page_.samples.size(), used_ + rows * page_.width * kept));
    for (; from < end; from += components_) {
        for (std::size_t component = 0; component < kept; ++component) {
            page_.samples[used_++] = from[component];
        }
        if (components_ == 4) {
            fourth_.add(wide(from[3]));
        }
    }
}

const fourth_samples& sample_rows::finish()
{
    page_.samples.resize(used_); // an earlier page may have been larger
    return fourth_;
}

} // namespace kx::images
