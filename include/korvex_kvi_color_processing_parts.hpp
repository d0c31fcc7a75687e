/*
 * Parts of images: how any two views reach a library that takes contiguous buffers, piece by piece, and what shares an
 * image among threads.
 */
#ifndef KORVEX_KVI_COLOR_PROCESSING_PARTS_HPP
#define KORVEX_KVI_COLOR_PROCESSING_PARTS_HPP

#include "korvex_kvi_color_processing_images.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <thread>
#include <type_traits>
#include <vector>

namespace korvex::color {
inline namespace KX_COLOR_VERSION_NAMESPACE {
namespace detail {

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
    const std::size_t width = from.width();
    const auto channels = static_cast<std::size_t>(from.channels());
    const auto source_row = from.rows(0, 1).contiguous();
    const auto target_row = to.rows(0, 1).contiguous();
    const bool same = source_row && target_row && source_row->layout == target_row->layout;
    const std::size_t first = same && source_row->layout == pixel_layout::interleaved_rgb ? 2 : 0;
    const bool side_by_side = from.column_stride() == sizeof(Sample) && to.column_stride() == sizeof(Sample);
    for (std::size_t y = 0; y < from.height(); ++y) {
        if (same) { // all channels at once
            std::memcpy(to.at(0, y, first), from.at(0, y, first), width * channels * sizeof(Sample));
            continue;
        }
        for (std::size_t channel = 0; channel < channels; ++channel) {
            const auto* source = reinterpret_cast<const unsigned char*>(from.at(0, y, channel));
            auto* target = reinterpret_cast<unsigned char*>(to.at(0, y, channel));
            if (side_by_side) {
                std::memcpy(target, source, width * sizeof(Sample));
                continue;
            }
            for (std::size_t x = 0; x < width; ++x) { // aligned or not
                std::memcpy(target + static_cast<std::ptrdiff_t>(x) * to.column_stride(),
                            source + static_cast<std::ptrdiff_t>(x) * from.column_stride(), sizeof(Sample));
            }
        }
    }
}

// An image of the view's size, contiguous, in the buffer: in the layout that is copied fastest.
template <typename Sample, typename Buffered = std::remove_const_t<Sample>>
image_view<Buffered> contiguous_in(std::vector<Buffered>& buffer, const image_view<Sample>& view)
{
    const auto row = view.rows(0, 1).contiguous();
    const bool side_by_side = distance(view.column_stride()) == sizeof(Sample);
    buffer.resize(view.width() * view.height() * static_cast<std::size_t>(view.channels()));
    return {buffer.data(),
            row            ? row->layout
            : side_by_side ? pixel_layout::planar_bgr
                           : pixel_layout::interleaved_bgr,
            view.width(), view.height(), view.channels()};
}

// Calls convert(input's contiguous samples, output's, pixel count) with pieces of two images of one size until all is
// converted: with the images as a whole where that is possible, otherwise row by row. What one call could not take as
// it lies, and rows for which a call takes longer than copying, go through buffers that stay in the cache.
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
    // Whether a call takes it; a plane that is cut is none.
    const auto fits = [](const auto& image) {
        const auto samples = image.contiguous();
        return samples
               && (samples->layout != pixel_layout::planar_bgr || image.height() <= most_pixels / image.width());
    };
    const auto has_rows_that_fit = [&](const auto& image) {
        return fits(image.rows(0, 1))
               && image.row_stride() % static_cast<std::ptrdiff_t>(sizeof(*image.at(0, 0, 0))) == 0;
    };
    const bool whole = fits(input) && fits(output);
    const bool by_rows = width >= short_row && has_rows_that_fit(input) && has_rows_that_fit(output);
    const std::size_t limit = whole || by_rows ? most_pixels : buffered_pixels;
    const std::size_t columns = (std::min)(width, limit);
    const std::size_t rows = by_rows && !whole ? 1 : limit / columns;

    std::vector<std::uint16_t> input_buffer;
    std::vector<Sample> output_buffer;
    for (std::size_t y = 0; y < height; y += rows) {
        for (std::size_t x = 0; x < width; x += columns) {
            const std::size_t w = (std::min)(columns, width - x);
            const std::size_t h = (std::min)(rows, height - y);
            const image_view<const std::uint16_t> source = input.rectangle(x, y, w, h);
            auto from = source.contiguous();
            if (!from) {
                const auto copy = contiguous_in(input_buffer, source);
                copy_samples(source, copy);
                from = image_view<const std::uint16_t>(copy).contiguous();
            }
            const image_view<Sample> target = output.rectangle(x, y, w, h);
            const auto to = target.contiguous();
            const image_view<Sample> result = to ? target : contiguous_in(output_buffer, target);
            convert(*from, to ? *to : *result.contiguous(), static_cast<std::int32_t>(w * h));
            if (!to) {
                copy_samples(image_view<const Sample>(result), target);
            }
        }
    }
}

// Calls work(index) for each index below count, each on a thread of its own but for the first, which is the caller's.
// When all have ended it throws what the one of the lowest index has thrown.
template <typename Work>
void run_on_threads(std::size_t count, const Work& work)
{
    if (count == 1) {
        work(std::size_t{0});
        return;
    }
    std::vector<std::exception_ptr> failures(count);
    const auto run = [&](std::size_t index) {
        try {
            work(index);
        } catch (...) {
            failures[index] = std::current_exception(); // no exception may leave a thread
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(count);
    std::size_t started = 1;
    try {
        for (; started < count; ++started) {
            threads.emplace_back(run, started);
        }
    } catch (const std::exception&) { // the system has no more threads
    }
    run(0);
    for (std::size_t index = started; index < count; ++index) {
        run(index);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    for (const std::exception_ptr& failure : failures) {
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
}

// How many threads are worth their start for so many pixels, of the most that are wanted (0: as many as there are
// cores).
inline std::size_t useful_threads(std::size_t pixels, std::size_t most)
{
    constexpr std::size_t fewest_pixels = 16384; // starting a thread takes as long as converting some thousand
    const std::size_t wanted = most != 0 ? most : std::thread::hardware_concurrency();
    return (std::max)((std::min)(wanted, pixels / fewest_pixels), std::size_t{1});
}

} // namespace detail

// Calls work(index, count) for each of the `count` bands of an image (see image_view::band) at the same time, and
// returns when all have ended:
//
//     kc::for_each_band(camera, 0, [&](std::size_t index, std::size_t count) {
//         processor.transform(camera.band(index, count), screen.band(index, count), options);
//     });
//
//   threads  the most threads, the caller's among them; 0 for as many as there are cores. Small images get fewer.
//
// When calls throw, it throws what the one of the lowest index has thrown, once all have ended.
template <typename Sample, typename Work>
void for_each_band(const image_view<Sample>& image, std::size_t threads, const Work& work)
{
    const std::size_t count = detail::useful_threads(image.width() * image.height(), threads);
    detail::run_on_threads(count, [&](std::size_t index) { work(index, count); });
}

} // namespace KX_COLOR_VERSION_NAMESPACE
} // namespace korvex::color

#endif // KORVEX_KVI_COLOR_PROCESSING_PARTS_HPP
