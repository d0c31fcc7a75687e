// A register's worth of pixels from and to memory, in each of the layouts: a register for each channel.
//
// Every lane holds consecutive pixels, and everything stays within its lane. The pixels of a lane are arranged for the
// store, which the load does on the way: `together` is pixel_in_word's, and 8 leaves them in order.
#pragma once

#include "image.h"
#include "register_vectors.h"
#include "shuffles.h"

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

// How far ahead of its use the input is asked for. The processor's own prefetching stops at page ends, of which one
// stream of interleaved pixels has three times as many as each of three planes. A prefetch beyond the image's end
// reads nothing.
inline constexpr std::ptrdiff_t prefetched_bytes = 3072;

// What a store of such pixels takes: with a fourth sample it interleaves words, and before that bytes that stand in one
// word, or pairs of words.
template <sample_layout layout, bool fourth_sample, typename sample>
inline constexpr int taken_together = layout == sample_layout::planar_bgr || !fourth_sample ? 8
                                      : sizeof(sample) == 2                                 ? 2
                                                                                            : 4;

// One channel's words from where they stand (see word_of), arranged.
template <register_vectors vectors, int together>
struct as_words {
    template <int channel>
    static typename vectors::words from(typename vectors::words words)
    {
        using shuffle = arranged_words<vectors, channel, together>;
        if constexpr (shuffle::changes_nothing) {
            return words;
        } else {
            return vectors::template pick<shuffle>(words);
        }
    }
};

// The same widened to integers: the first four of each group of eight, and the last four.
template <register_vectors vectors>
struct integers {
    typename vectors::words lower;
    typename vectors::words upper;
};

template <register_vectors vectors, int together>
struct as_integers {
    template <int channel>
    static integers<vectors> from(typename vectors::words words)
    {
        if constexpr (arranged_words<vectors, channel, together>::changes_nothing) {
            return {vectors::interleave_lower_words(words, vectors::zero()),
                    vectors::interleave_upper_words(words, vectors::zero())};
        } else {
            return {vectors::template pick<widened_words<vectors, channel, together, false>>(words),
                    vectors::template pick<widened_words<vectors, channel, together, true>>(words)};
        }
    }
};

// Words of the first one's low bytes, and the second one's behind them.
template <register_vectors vectors>
typename vectors::words low_bytes_of_both(typename vectors::words first, typename vectors::words second)
{
    return vectors::bit_or(vectors::bit_and(first, vectors::all(std::uint16_t{0x00FF})),
                           vectors::move_to_upper_bytes(second));
}

// Pixels of three samples, in the order of memory as everything here: where the platform has loads and stores for them.
template <register_vectors vectors>
struct interleaved_samples {
    template <typename target>
    static auto load(const std::uint16_t* from)
    {
        const auto [first, second, third] = vectors::load_three(from);
        return per_channel{target::template from<in_order>(first), target::template from<in_order>(second),
                           target::template from<in_order>(third)};
    }

    template <typename sample>
    static void store(sample* to, typename vectors::words first, typename vectors::words second,
                      typename vectors::words third)
    {
        vectors::store_three(to, first, second, third);
    }
};

// And where it has shuffles.
template <shuffling_vectors vectors>
class interleaved_samples<vectors> {
public:
    using words = typename vectors::words;

    template <typename target>
    static auto load(const std::uint16_t* from)
    {
        const words a = vectors::load_lanes(from, lane_bytes);
        const words b = vectors::load_lanes(from + lane, lane_bytes);
        const words c = vectors::load_lanes(from + std::ptrdiff_t{2} * lane, lane_bytes);
        return per_channel{target::template from<0>(collected<0>(a, b, c)),
                           target::template from<1>(collected<1>(a, b, c)),
                           target::template from<2>(collected<2>(a, b, c))};
    }

    static void store(std::uint16_t* to, words first, words second, words third)
    {
        first = vectors::template pick<placed_words<vectors, 0>>(first);
        second = vectors::template pick<placed_words<vectors, 1>>(second);
        third = vectors::template pick<placed_words<vectors, 2>>(third);
        vectors::store_lanes(to, lane_bytes, with_places<0>(first, second, third));
        vectors::store_lanes(to + lane, lane_bytes, with_places<1>(first, second, third));
        vectors::store_lanes(to + std::ptrdiff_t{2} * lane, lane_bytes, with_places<2>(first, second, third));
    }

    // The low bytes of the words.
    static void store(std::uint8_t* to, words first, words second, words third)
    {
        constexpr int upper = 2 * lane;
        // First and second sample of each pixel side by side in one word.
        const words front = low_bytes_of_both<vectors>(first, second);
        vectors::store_lanes(
            to, std::ptrdiff_t{3} * lane,
            vectors::template pick_from_both<interleaved_bytes<vectors, false, 0>, interleaved_bytes<vectors, true, 0>>(
                front, third));
        vectors::store_lower_halves(
            to + upper, std::ptrdiff_t{3} * lane,
            vectors::template pick_from_both<interleaved_bytes<vectors, false, upper>,
                                             interleaved_bytes<vectors, true, upper>>(front, third));
    }

private:
    static constexpr int lane = vectors::lane_pixels;
    static constexpr std::ptrdiff_t lane_bytes = std::ptrdiff_t{3} * lane * 2;

    // One channel's words out of three lanes, still at their places.
    template <int channel>
    static words collected(words a, words b, words c)
    {
        return vectors::template blend<places_of(channel, 2, lane)>(
            vectors::template blend<places_of(channel, 1, lane)>(a, b), c);
    }

    // One of the three lanes, from words at their places.
    template <int which>
    static words with_places(words first, words second, words third)
    {
        return vectors::template blend<places_of(2, which, lane)>(
            vectors::template blend<places_of(1, which, lane)>(first, second), third);
    }
};

// The pixels from number i on, as_words or as_integers.
template <register_vectors vectors, sample_layout layout, typename target>
auto load_pixels(const image<const std::uint16_t>& from, std::ptrdiff_t i)
{
    if constexpr (layout == sample_layout::planar_bgr) {
        return map_channels(
            [i](const std::uint16_t* plane) { return target::template from<in_order>(vectors::load(plane + i)); },
            from.channel);
    } else {
        const std::uint16_t* const address = beginning_of(layout, from.channel) + 3 * i;
        const char* const ahead = reinterpret_cast<const char*>(address) + prefetched_bytes;
        for (std::ptrdiff_t byte = 0; byte < 3 * vectors::pixel_count * 2; byte += 64) {
            vectors::prefetch(ahead + byte);
        }
        return in_order_of(layout, interleaved_samples<vectors>::template load<target>(address));
    }
}

// To samples of 16 bits, of pixels arranged as taken_together says.
template <register_vectors vectors, sample_layout layout, bool fourth_sample>
void store_pixels(const image<std::uint16_t>& to, std::ptrdiff_t i, const per_channel<typename vectors::words>& pixels)
{
    using words = typename vectors::words;
    if constexpr (layout == sample_layout::planar_bgr) {
        for_each_channel([i](std::uint16_t* plane, words samples) { vectors::store(plane + i, samples); }, to.channel,
                         pixels);
        if constexpr (fourth_sample) {
            vectors::store(to.fourth + i, vectors::zero());
        }
    } else {
        const auto [first, second, third] = in_order_of(layout, pixels);
        std::uint16_t* const address = beginning_of(layout, to.channel) + i * (fourth_sample ? 4 : 3);
        if constexpr (fourth_sample) {
            constexpr std::ptrdiff_t lane = vectors::lane_pixels;
            constexpr std::ptrdiff_t lane_bytes = 4 * lane * 2;
            const words lower_front = vectors::interleave_lower_words(first, second);
            const words upper_front = vectors::interleave_upper_words(first, second);
            const words lower_back = vectors::interleave_lower_words(third, vectors::zero());
            const words upper_back = vectors::interleave_upper_words(third, vectors::zero());
            vectors::store_lanes(address, lane_bytes, vectors::interleave_lower_pairs(lower_front, lower_back));
            vectors::store_lanes(address + lane, lane_bytes, vectors::interleave_upper_pairs(lower_front, lower_back));
            vectors::store_lanes(address + 2 * lane, lane_bytes,
                                 vectors::interleave_lower_pairs(upper_front, upper_back));
            vectors::store_lanes(address + 3 * lane, lane_bytes,
                                 vectors::interleave_upper_pairs(upper_front, upper_back));
        } else {
            interleaved_samples<vectors>::store(address, first, second, third);
        }
    }
}

// To samples of 8 bits: the low bytes of words.
template <register_vectors vectors, sample_layout layout, bool fourth_sample>
void store_pixels(const image<std::uint8_t>& to, std::ptrdiff_t i, const per_channel<typename vectors::words>& pixels)
{
    using words = typename vectors::words;
    constexpr std::ptrdiff_t lane = vectors::lane_pixels;
    if constexpr (layout == sample_layout::planar_bgr) {
        for_each_channel(
            [i](std::uint8_t* plane, words samples) {
                vectors::store_lower_halves(plane + i, lane, vectors::template pick<low_bytes<vectors>>(samples));
            },
            to.channel, pixels);
        if constexpr (fourth_sample) {
            vectors::store_lower_halves(to.fourth + i, lane, vectors::zero());
        }
    } else {
        const auto [first, second, third] = in_order_of(layout, pixels);
        std::uint8_t* const address = beginning_of(layout, to.channel) + i * (fourth_sample ? 4 : 3);
        if constexpr (fourth_sample) {
            constexpr std::ptrdiff_t lane_bytes = 4 * lane;
            const words front = low_bytes_of_both<vectors>(first, second);
            const words back = vectors::bit_and(third, vectors::all(std::uint16_t{0x00FF}));
            vectors::store_lanes(address, lane_bytes, vectors::interleave_lower_words(front, back));
            vectors::store_lanes(address + 2 * lane, lane_bytes, vectors::interleave_upper_words(front, back));
        } else {
            interleaved_samples<vectors>::store(address, first, second, third);
        }
    }
}

} // namespace
} // namespace kx::vector
