// Loading and storing a register's worth of pixels in each of the image layouts. Every lane holds eight
// consecutive pixels, and everything stays within its lane.
#pragma once

#include "constants.h"

#include "companion_interfaces/transform_parameters.h"

#include <emmintrin.h>

#include <cstddef>
#include <cstdint>

namespace kx::vector {

inline constexpr std::ptrdiff_t lane_pixels = 8;

template <typename vectors>
struct pixels {
    typename vectors::words blue;
    typename vectors::words green;
    typename vectors::words red;
};

// One channel of a register's pixels as 32-bit integers: the first four of each lane, and the last four.
template <typename vectors>
struct widened {
    typename vectors::words lower;
    typename vectors::words upper;
};

template <typename vectors>
struct widened_pixels {
    widened<vectors> blue;
    widened<vectors> green;
    widened<vectors> red;
};

// Where an image's channels begin. In the interleaved layouts only `blue` and `red` matter, of which the one
// that comes first is the address of the first pixel.
template <typename sample>
struct planes {
    sample* blue;
    sample* green;
    sample* red;
    sample* fourth;
};

template <typename sample>
planes<sample> planes_of(sample* buffer, pixel_format layout, std::ptrdiff_t pixel_count)
{
    switch (layout) {
    case pixel_format::interleaved_bgr:
        return {buffer, buffer + 1, buffer + 2, buffer + 3};
    case pixel_format::interleaved_rgb:
        return {buffer + 2, buffer + 1, buffer, buffer + 3};
    default:
        return {buffer, buffer + pixel_count, buffer + 2 * pixel_count, buffer + 3 * pixel_count};
    }
}

// Calls the function with the layout as a constant.
template <typename function>
decltype(auto) with_layout(pixel_format layout, function call)
{
    return with_constant<pixel_format::interleaved_bgr, pixel_format::interleaved_rgb, pixel_format::planar_bgr>(layout,
                                                                                                                 call);
}

// From one pixel to the next, in samples.
constexpr std::ptrdiff_t step_of(pixel_format layout, bool fourth_sample)
{
    if (layout != pixel_format::interleaved_bgr && layout != pixel_format::interleaved_rgb) {
        return 1;
    }
    return fourth_sample ? 4 : 3;
}

template <typename sample>
planes<sample> advanced(const planes<sample>& from, std::ptrdiff_t samples)
{
    return {from.blue + samples, from.green + samples, from.red + samples, from.fourth + samples};
}

// How far ahead of its use the input is asked for. The processor's own prefetching stops at page ends, of which one
// stream of interleaved pixels has three times as many as each of three planes. A prefetch beyond the image's end
// reads nothing.
inline constexpr std::ptrdiff_t prefetched_bytes = 3072;

// Eight interleaved pixels of three words fill three lanes, a, b and c. A channel's words stand at places of
// their own in each: word j of channel k is word 3j + k of the 24 and stands at place (3j + k) mod 8. So two
// blends collect a channel without a collision, and one shuffle brings it in order. The same steps in the
// other direction interleave. Bits of the blends' masks are places.
inline constexpr int places_036 = 0x49;
inline constexpr int places_147 = 0x92;
inline constexpr int places_25 = 0x24;

// The shuffles: to order for channels 0, 1, 2, and from order to the places.
inline __m128i words_at(int w0, int w1, int w2, int w3, int w4, int w5, int w6, int w7)
{
    const auto both_bytes = [](int word) { return static_cast<short>((2 * word + 1) * 256 + 2 * word); };
    return _mm_setr_epi16(both_bytes(w0), both_bytes(w1), both_bytes(w2), both_bytes(w3), both_bytes(w4),
                          both_bytes(w5), both_bytes(w6), both_bytes(w7));
}

// The same for four words, each widened to 32 bits with zeros.
inline __m128i widened_words_at(int w0, int w1, int w2, int w3)
{
    const auto widen = [](int word) { return static_cast<int>(0x80800000) | ((2 * word + 1) * 256 + 2 * word); };
    return _mm_setr_epi32(widen(w0), widen(w1), widen(w2), widen(w3));
}

template <typename vectors>
class interleaved_words {
public:
    using words = typename vectors::words;

    struct three {
        words first;
        words second;
        words third;
    };

    // The channels in order.
    static three load(const std::uint16_t* from)
    {
        const three places = load_places(from);
        return {vectors::pick_bytes(places.first, words_at(0, 3, 6, 1, 4, 7, 2, 5)),
                vectors::pick_bytes(places.second, words_at(1, 4, 7, 2, 5, 0, 3, 6)),
                vectors::pick_bytes(places.third, words_at(2, 5, 0, 3, 6, 1, 4, 7))};
    }

    // The channels in order and widened to 32 bits, the first four pixels of each lane or the last four.
    struct widened_three {
        widened<vectors> first;
        widened<vectors> second;
        widened<vectors> third;
    };

    static widened_three load_widened(const std::uint16_t* from)
    {
        const three places = load_places(from);
        return {{vectors::pick_bytes(places.first, widened_words_at(0, 3, 6, 1)),
                 vectors::pick_bytes(places.first, widened_words_at(4, 7, 2, 5))},
                {vectors::pick_bytes(places.second, widened_words_at(1, 4, 7, 2)),
                 vectors::pick_bytes(places.second, widened_words_at(5, 0, 3, 6))},
                {vectors::pick_bytes(places.third, widened_words_at(2, 5, 0, 3)),
                 vectors::pick_bytes(places.third, widened_words_at(6, 1, 4, 7))}};
    }

    static void store(std::uint16_t* to, const three& value)
    {
        const words first = vectors::pick_bytes(value.first, words_at(0, 3, 6, 1, 4, 7, 2, 5));
        const words second = vectors::pick_bytes(value.second, words_at(5, 0, 3, 6, 1, 4, 7, 2));
        const words third = vectors::pick_bytes(value.third, words_at(2, 5, 0, 3, 6, 1, 4, 7));
        vectors::store_lanes(
            to, lane_bytes,
            vectors::template blend<places_25>(vectors::template blend<places_147>(first, second), third));
        vectors::store_lanes(
            to + 8, lane_bytes,
            vectors::template blend<places_036>(vectors::template blend<places_25>(first, second), third));
        vectors::store_lanes(
            to + 16, lane_bytes,
            vectors::template blend<places_147>(vectors::template blend<places_036>(first, second), third));
    }

private:
    static constexpr std::ptrdiff_t lane_bytes = 3 * lane_pixels * 2;

    // Each channel's words collected in one register, still at their places.
    static three load_places(const std::uint16_t* from)
    {
        const char* const ahead = reinterpret_cast<const char*>(from) + prefetched_bytes;
        _mm_prefetch(ahead, _MM_HINT_T0);
        _mm_prefetch(ahead + 64, _MM_HINT_T0);
        const words a = vectors::load_lanes(from, lane_bytes);
        const words b = vectors::load_lanes(from + 8, lane_bytes);
        const words c = vectors::load_lanes(from + 16, lane_bytes);
        return {vectors::template blend<places_25>(vectors::template blend<places_147>(a, b), c),
                vectors::template blend<places_036>(vectors::template blend<places_25>(a, b), c),
                vectors::template blend<places_147>(vectors::template blend<places_036>(a, b), c)};
    }
};

// The pixels from index i on.
template <typename vectors, pixel_format layout>
pixels<vectors> load_pixels(planes<const std::uint16_t> from, std::ptrdiff_t i)
{
    if constexpr (layout == pixel_format::interleaved_bgr) {
        const auto [blue, green, red] = interleaved_words<vectors>::load(from.blue + 3 * i);
        return {blue, green, red};
    } else if constexpr (layout == pixel_format::interleaved_rgb) {
        const auto [red, green, blue] = interleaved_words<vectors>::load(from.red + 3 * i);
        return {blue, green, red};
    } else {
        constexpr std::ptrdiff_t lane_bytes = lane_pixels * 2;
        return {vectors::load_lanes(from.blue + i, lane_bytes), vectors::load_lanes(from.green + i, lane_bytes),
                vectors::load_lanes(from.red + i, lane_bytes)};
    }
}

// The same, widened.
template <typename vectors, pixel_format layout>
widened_pixels<vectors> load_widened_pixels(planes<const std::uint16_t> from, std::ptrdiff_t i)
{
    if constexpr (layout == pixel_format::interleaved_bgr) {
        const auto [blue, green, red] = interleaved_words<vectors>::load_widened(from.blue + 3 * i);
        return {blue, green, red};
    } else if constexpr (layout == pixel_format::interleaved_rgb) {
        const auto [red, green, blue] = interleaved_words<vectors>::load_widened(from.red + 3 * i);
        return {blue, green, red};
    } else {
        const pixels<vectors> value = load_pixels<vectors, layout>(from, i);
        const auto widen = [zero = vectors::zero()](typename vectors::words words) -> widened<vectors> {
            return {vectors::interleave_lower_words(words, zero), vectors::interleave_upper_words(words, zero)};
        };
        return {widen(value.blue), widen(value.green), widen(value.red)};
    }
}

// Stores of 16-bit samples.

template <typename vectors, pixel_format layout, bool fourth_sample>
void store_pixels(planes<std::uint16_t> to, std::ptrdiff_t i, const pixels<vectors>& value)
{
    using words = typename vectors::words;
    if constexpr (layout == pixel_format::planar_bgr) {
        constexpr std::ptrdiff_t lane_bytes = lane_pixels * 2;
        vectors::store_lanes(to.blue + i, lane_bytes, value.blue);
        vectors::store_lanes(to.green + i, lane_bytes, value.green);
        vectors::store_lanes(to.red + i, lane_bytes, value.red);
        if constexpr (fourth_sample) {
            vectors::store_lanes(to.fourth + i, lane_bytes, vectors::zero());
        }
    } else {
        constexpr bool bgr = layout == pixel_format::interleaved_bgr;
        const words first = bgr ? value.blue : value.red;
        const words third = bgr ? value.red : value.blue;
        std::uint16_t* const start = bgr ? to.blue : to.red;
        if constexpr (fourth_sample) {
            constexpr std::ptrdiff_t lane_bytes = 4 * lane_pixels * 2;
            std::uint16_t* const address = start + 4 * i;
            const words lower_front = vectors::interleave_lower_words(first, value.green);
            const words upper_front = vectors::interleave_upper_words(first, value.green);
            const words lower_back = vectors::interleave_lower_words(third, vectors::zero());
            const words upper_back = vectors::interleave_upper_words(third, vectors::zero());
            vectors::store_lanes(address, lane_bytes, vectors::interleave_lower_pairs(lower_front, lower_back));
            vectors::store_lanes(address + 8, lane_bytes, vectors::interleave_upper_pairs(lower_front, lower_back));
            vectors::store_lanes(address + 16, lane_bytes, vectors::interleave_lower_pairs(upper_front, upper_back));
            vectors::store_lanes(address + 24, lane_bytes, vectors::interleave_upper_pairs(upper_front, upper_back));
        } else {
            interleaved_words<vectors>::store(start + 3 * i, {first, value.green, third});
        }
    }
}

// Stores of the low bytes as 8-bit samples.

template <typename vectors, pixel_format layout, bool fourth_sample>
void store_pixels(planes<std::uint8_t> to, std::ptrdiff_t i, const pixels<vectors>& value)
{
    using words = typename vectors::words;
    const words low_byte = vectors::all(std::uint16_t{0x00FF});
    if constexpr (layout == pixel_format::planar_bgr) {
        const auto store_plane = [&](std::uint8_t* plane, words samples) {
            const words low = vectors::bit_and(samples, low_byte);
            vectors::store_lower_halves(plane + i, lane_pixels, vectors::pack_to_bytes(low, low));
        };
        store_plane(to.blue, value.blue);
        store_plane(to.green, value.green);
        store_plane(to.red, value.red);
        if constexpr (fourth_sample) {
            vectors::store_lower_halves(to.fourth + i, lane_pixels, vectors::zero());
        }
    } else {
        constexpr bool bgr = layout == pixel_format::interleaved_bgr;
        const words first = bgr ? value.blue : value.red;
        const words third = bgr ? value.red : value.blue;
        std::uint8_t* const start = bgr ? to.blue : to.red;
        // First and second sample of each pixel side by side in one word.
        const words front =
            vectors::bit_or(vectors::bit_and(first, low_byte), vectors::move_to_upper_bytes(value.green));
        if constexpr (fourth_sample) {
            constexpr std::ptrdiff_t lane_bytes = 4 * lane_pixels;
            const words back = vectors::bit_and(third, low_byte);
            std::uint8_t* const address = start + 4 * i;
            vectors::store_lanes(address, lane_bytes, vectors::interleave_lower_words(front, back));
            vectors::store_lanes(address + 16, lane_bytes, vectors::interleave_upper_words(front, back));
        } else {
            constexpr std::ptrdiff_t lane_bytes = 3 * lane_pixels;
            std::uint8_t* const address = start + 3 * i;
            const __m128i front_to_lower = _mm_setr_epi8(0, 1, -1, 2, 3, -1, 4, 5, -1, 6, 7, -1, 8, 9, -1, 10);
            const __m128i third_to_lower = _mm_setr_epi8(-1, -1, 0, -1, -1, 2, -1, -1, 4, -1, -1, 6, -1, -1, 8, -1);
            const __m128i front_to_upper =
                _mm_setr_epi8(11, -1, 12, 13, -1, 14, 15, -1, -1, -1, -1, -1, -1, -1, -1, -1);
            const __m128i third_to_upper =
                _mm_setr_epi8(-1, 10, -1, -1, 12, -1, -1, 14, -1, -1, -1, -1, -1, -1, -1, -1);
            vectors::store_lanes(address, lane_bytes,
                                 vectors::bit_or(vectors::pick_bytes(front, front_to_lower),
                                                 vectors::pick_bytes(third, third_to_lower)));
            vectors::store_lower_halves(address + 16, lane_bytes,
                                        vectors::bit_or(vectors::pick_bytes(front, front_to_upper),
                                                        vectors::pick_bytes(third, third_to_upper)));
        }
    }
}

} // namespace kx::vector
