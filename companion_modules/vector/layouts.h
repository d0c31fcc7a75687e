// Loading and storing a register's worth of pixels in each of the image layouts. Every lane holds consecutive pixels,
// eight of them or 32, and everything stays within its lane.
#pragma once

#include "constants.h"

#include "companion_interfaces/transform_parameters.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

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

// The order in which a lane holds its pixels between load and store. Interleaving with a fourth sample works on groups
// of eight words, two or four pixels at a time: these come out in order if they went in that way.
enum class pixel_order { in_order, pairs, fours };

// The pixel in a word of a lane with so many.
constexpr int pixel_at(pixel_order order, int word, int lane)
{
    const int group = word / 8;
    const int place = word % 8;
    switch (order) {
    case pixel_order::pairs:
        return lane / 4 * (place / 2) + 2 * group + place % 2;
    case pixel_order::fours:
        return lane / 2 * (place / 4) + 4 * group + place % 4;
    default:
        return word;
    }
}

// What a store of these samples takes.
template <pixel_format layout, bool fourth_sample, typename sample>
constexpr pixel_order order_of()
{
    if (layout == pixel_format::planar_bgr || !fourth_sample) {
        return pixel_order::in_order;
    }
    return sizeof(sample) == 2 ? pixel_order::pairs : pixel_order::fours;
}

// The interleaved pixels of three words fill three lanes. A channel's words stand at places of their own in each: word
// j of channel k is word 3j + k of them all. So two blends collect a channel without a collision, and one shuffle
// brings it in order. The same steps in the other direction interleave.

// The places of a channel's words in one of the three lanes, as a blend's mask.
constexpr std::uint32_t places_of(int channel, int which_lane, int lane)
{
    std::uint32_t places = 0;
    for (int place = 0; place < lane; ++place) {
        if ((which_lane * lane + place) % 3 == channel) {
            places |= std::uint32_t{1} << place;
        }
    }
    return places;
}

// Shuffles: byte i of a lane comes from the byte whose number is bytes[i], or is 0 where that is negative.
template <typename vectors, typename numbering>
constexpr auto bytes_from(numbering number)
{
    std::array<std::int8_t, 2 * vectors::lane_pixels> bytes{};
    for (int i = 0; i < static_cast<int>(bytes.size()); ++i) {
        bytes[static_cast<std::size_t>(i)] = static_cast<std::int8_t>(number(i));
    }
    return bytes;
}

// To the order wanted, from a channel's places or, with `in_order`, from the order of pixels.
inline constexpr int in_order = -1;

constexpr int word_of(int channel, int pixel, int lane)
{
    return channel == in_order ? pixel : (3 * pixel + channel) % lane;
}

template <typename vectors, int channel, pixel_order order>
struct ordered_words {
    static constexpr int lane = vectors::lane_pixels;
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        return 2 * word_of(channel, pixel_at(order, i / 2, lane), lane) + i % 2;
    });
};

// The same for every second group of four words, each widened to 32 bits with zeros.
template <typename vectors, int channel, pixel_order order, int first_group>
struct widened_words {
    static constexpr int lane = vectors::lane_pixels;
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        const int word = 8 * (i / 16) + 4 * first_group + i / 4 % 4;
        return i % 4 < 2 ? 2 * word_of(channel, pixel_at(order, word, lane), lane) + i % 2 : -1;
    });
};

// From the order of pixels to a channel's places.
template <typename vectors, int channel>
struct placed_words {
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        int pixel = 0;
        while (word_of(channel, pixel, vectors::lane_pixels) != i / 2) {
            ++pixel;
        }
        return 2 * pixel + i % 2;
    });
};

// The low bytes of all words side by side.
template <typename vectors>
struct low_bytes {
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        return i < vectors::lane_pixels ? 2 * i : -1;
    });
};

// Three bytes a pixel, from byte `first` of them all on: the first two channels' bytes from words that hold both, the
// third one's from words of its own.
template <typename vectors, bool third_channel, int first>
struct interleaved_bytes {
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        const int pixel = (first + i) / 3;
        const int channel = (first + i) % 3;
        if (pixel >= vectors::lane_pixels || (channel == 2) != third_channel) {
            return -1;
        }
        return 2 * pixel + channel % 2;
    });
};

// Lanes of eight words are in every order at once.
template <typename vectors, pixel_order order>
inline constexpr bool is_in_order = vectors::lane_pixels == 8 || order == pixel_order::in_order;

// Words to 32 bits, from a channel's places or in order.
template <typename vectors, int channel, pixel_order order>
widened<vectors> widen(typename vectors::words words)
{
    if constexpr (channel == in_order && is_in_order<vectors, order>) {
        return {vectors::interleave_lower_words(words, vectors::zero()),
                vectors::interleave_upper_words(words, vectors::zero())};
    } else {
        return {vectors::template pick<widened_words<vectors, channel, order, 0>>(words),
                vectors::template pick<widened_words<vectors, channel, order, 1>>(words)};
    }
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
    template <pixel_order order>
    static three load(const std::uint16_t* from)
    {
        const three places = load_places(from);
        return {vectors::template pick<ordered_words<vectors, 0, order>>(places.first),
                vectors::template pick<ordered_words<vectors, 1, order>>(places.second),
                vectors::template pick<ordered_words<vectors, 2, order>>(places.third)};
    }

    // The channels in order and widened to 32 bits.
    struct widened_three {
        widened<vectors> first;
        widened<vectors> second;
        widened<vectors> third;
    };

    template <pixel_order order>
    static widened_three load_widened(const std::uint16_t* from)
    {
        const three places = load_places(from);
        return {widen<vectors, 0, order>(places.first), widen<vectors, 1, order>(places.second),
                widen<vectors, 2, order>(places.third)};
    }

    static void store(std::uint16_t* to, const three& value)
    {
        const words first = vectors::template pick<placed_words<vectors, 0>>(value.first);
        const words second = vectors::template pick<placed_words<vectors, 1>>(value.second);
        const words third = vectors::template pick<placed_words<vectors, 2>>(value.third);
        vectors::store_lanes(to, lane_bytes, with_places<0>(first, second, third));
        vectors::store_lanes(to + lane, lane_bytes, with_places<1>(first, second, third));
        vectors::store_lanes(to + std::ptrdiff_t{2} * lane, lane_bytes, with_places<2>(first, second, third));
    }

private:
    static constexpr int lane = vectors::lane_pixels;
    static constexpr std::ptrdiff_t lane_bytes = std::ptrdiff_t{3} * lane * 2;

    // One of the three lanes, from words at their places.
    template <int which>
    static words with_places(words first, words second, words third)
    {
        return vectors::template blend<places_of(2, which, lane)>(
            vectors::template blend<places_of(1, which, lane)>(first, second), third);
    }

    // One channel's words collected in one register, still at their places.
    template <int channel>
    static words collected(words a, words b, words c)
    {
        return vectors::template blend<places_of(channel, 2, lane)>(
            vectors::template blend<places_of(channel, 1, lane)>(a, b), c);
    }

    static three load_places(const std::uint16_t* from)
    {
        const char* const ahead = reinterpret_cast<const char*>(from) + prefetched_bytes;
        for (std::ptrdiff_t i = 0; i < 3 * vectors::pixel_count * 2; i += 64) {
            vectors::prefetch(ahead + i);
        }
        const words a = vectors::load_lanes(from, lane_bytes);
        const words b = vectors::load_lanes(from + lane, lane_bytes);
        const words c = vectors::load_lanes(from + std::ptrdiff_t{2} * lane, lane_bytes);
        return {collected<0>(a, b, c), collected<1>(a, b, c), collected<2>(a, b, c)};
    }
};

// The pixels from index i on.
template <typename vectors, pixel_format layout, pixel_order order = pixel_order::in_order>
pixels<vectors> load_pixels(planes<const std::uint16_t> from, std::ptrdiff_t i)
{
    if constexpr (layout == pixel_format::interleaved_bgr) {
        const auto [blue, green, red] = interleaved_words<vectors>::template load<order>(from.blue + 3 * i);
        return {blue, green, red};
    } else if constexpr (layout == pixel_format::interleaved_rgb) {
        const auto [red, green, blue] = interleaved_words<vectors>::template load<order>(from.red + 3 * i);
        return {blue, green, red};
    } else {
        const auto load = [](const std::uint16_t* plane) {
            const typename vectors::words words = vectors::load(plane);
            if constexpr (is_in_order<vectors, order>) {
                return words;
            } else {
                return vectors::template pick<ordered_words<vectors, in_order, order>>(words);
            }
        };
        return {load(from.blue + i), load(from.green + i), load(from.red + i)};
    }
}

// The same, widened.
template <typename vectors, pixel_format layout, pixel_order order>
widened_pixels<vectors> load_widened_pixels(planes<const std::uint16_t> from, std::ptrdiff_t i)
{
    if constexpr (layout == pixel_format::interleaved_bgr) {
        const auto [blue, green, red] = interleaved_words<vectors>::template load_widened<order>(from.blue + 3 * i);
        return {blue, green, red};
    } else if constexpr (layout == pixel_format::interleaved_rgb) {
        const auto [red, green, blue] = interleaved_words<vectors>::template load_widened<order>(from.red + 3 * i);
        return {blue, green, red};
    } else {
        return {widen<vectors, in_order, order>(vectors::load(from.blue + i)),
                widen<vectors, in_order, order>(vectors::load(from.green + i)),
                widen<vectors, in_order, order>(vectors::load(from.red + i))};
    }
}

// Stores of 16-bit samples, of pixels in the order that order_of says.

template <typename vectors, pixel_format layout, bool fourth_sample>
void store_pixels(planes<std::uint16_t> to, std::ptrdiff_t i, const pixels<vectors>& value)
{
    using words = typename vectors::words;
    if constexpr (layout == pixel_format::planar_bgr) {
        vectors::store(to.blue + i, value.blue);
        vectors::store(to.green + i, value.green);
        vectors::store(to.red + i, value.red);
        if constexpr (fourth_sample) {
            vectors::store(to.fourth + i, vectors::zero());
        }
    } else {
        constexpr bool bgr = layout == pixel_format::interleaved_bgr;
        const words first = bgr ? value.blue : value.red;
        const words third = bgr ? value.red : value.blue;
        std::uint16_t* const start = bgr ? to.blue : to.red;
        if constexpr (fourth_sample) {
            constexpr std::ptrdiff_t lane = vectors::lane_pixels;
            constexpr std::ptrdiff_t lane_bytes = 4 * lane * 2;
            std::uint16_t* const address = start + 4 * i;
            const words lower_front = vectors::interleave_lower_words(first, value.green);
            const words upper_front = vectors::interleave_upper_words(first, value.green);
            const words lower_back = vectors::interleave_lower_words(third, vectors::zero());
            const words upper_back = vectors::interleave_upper_words(third, vectors::zero());
            vectors::store_lanes(address, lane_bytes, vectors::interleave_lower_pairs(lower_front, lower_back));
            vectors::store_lanes(address + lane, lane_bytes, vectors::interleave_upper_pairs(lower_front, lower_back));
            vectors::store_lanes(address + 2 * lane, lane_bytes,
                                 vectors::interleave_lower_pairs(upper_front, upper_back));
            vectors::store_lanes(address + 3 * lane, lane_bytes,
                                 vectors::interleave_upper_pairs(upper_front, upper_back));
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
    constexpr std::ptrdiff_t lane = vectors::lane_pixels;
    if constexpr (layout == pixel_format::planar_bgr) {
        const auto store_plane = [&](std::uint8_t* plane, words samples) {
            vectors::store_lower_halves(plane + i, lane, vectors::template pick<low_bytes<vectors>>(samples));
        };
        store_plane(to.blue, value.blue);
        store_plane(to.green, value.green);
        store_plane(to.red, value.red);
        if constexpr (fourth_sample) {
            vectors::store_lower_halves(to.fourth + i, lane, vectors::zero());
        }
    } else {
        constexpr bool bgr = layout == pixel_format::interleaved_bgr;
        const words first = bgr ? value.blue : value.red;
        const words third = bgr ? value.red : value.blue;
        std::uint8_t* const start = bgr ? to.blue : to.red;
        // First and second sample of each pixel side by side in one word.
        const words low_byte = vectors::all(std::uint16_t{0x00FF});
        const words front =
            vectors::bit_or(vectors::bit_and(first, low_byte), vectors::move_to_upper_bytes(value.green));
        if constexpr (fourth_sample) {
            constexpr std::ptrdiff_t lane_bytes = 4 * lane;
            const words back = vectors::bit_and(third, low_byte);
            std::uint8_t* const address = start + 4 * i;
            vectors::store_lanes(address, lane_bytes, vectors::interleave_lower_words(front, back));
            vectors::store_lanes(address + 2 * lane, lane_bytes, vectors::interleave_upper_words(front, back));
        } else {
            constexpr std::ptrdiff_t lane_bytes = 3 * lane;
            constexpr int upper = 2 * static_cast<int>(lane);
            std::uint8_t* const address = start + 3 * i;
            vectors::store_lanes(address, lane_bytes,
                                 vectors::template pick_from_both<interleaved_bytes<vectors, false, 0>,
                                                                  interleaved_bytes<vectors, true, 0>>(front, third));
            vectors::store_lower_halves(
                address + upper, lane_bytes,
                vectors::template pick_from_both<interleaved_bytes<vectors, false, upper>,
                                                 interleaved_bytes<vectors, true, upper>>(front, third));
        }
    }
}

} // namespace
} // namespace kx::vector
