// The shuffles between interleaved pixels and a register for each channel. All of them are constants.
//
// The interleaved pixels of three registers fill three lanes. A channel's words stand at places of their own in each:
// with eight words in a lane
//
//     b g r b g r b g   r b g r b g r b   g r b g r b g r
//
// So two blends collect a channel without a collision, and one shuffle brings its words in order. The same steps in the
// other direction interleave. Below, channels count as they lie in memory.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

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

// For a register that has its pixels in order.
inline constexpr int in_order = -1;

// Where a pixel's word stands among a channel's collected words: word j of channel k is word 3j + k of them all.
constexpr int word_of(int channel, int pixel, int lane)
{
    return channel == in_order ? pixel : (3 * pixel + channel) % lane;
}

// A pattern (see any_pattern) by the number of the byte for every byte.
template <typename vectors, typename numbering>
constexpr auto bytes_from(numbering number)
{
    std::array<std::int8_t, 2 * vectors::lane_pixels> bytes{};
    for (int i = 0; i < static_cast<int>(bytes.size()); ++i) {
        bytes[static_cast<std::size_t>(i)] = static_cast<std::int8_t>(number(i));
    }
    return bytes;
}

// From a channel's places, or from in_order, to the pixels as pixel_in_word has them.
template <typename vectors, int channel, int together>
struct arranged_words {
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        const int pixel = vectors::template pixel_in_word<together>(i / 2);
        return 2 * word_of(channel, pixel, vectors::lane_pixels) + i % 2;
    });
    static constexpr bool changes_nothing = bytes == bytes_from<vectors>([](int i) { return i; });
};

// The same for the first or the last four words of each group, widened to 32 bits with zeros.
template <typename vectors, int channel, int together, bool last>
struct widened_words {
    alignas(64) static constexpr auto bytes = bytes_from<vectors>([](int i) {
        const int pixel = vectors::template pixel_in_word<together>(8 * (i / 16) + (last ? 4 : 0) + i / 4 % 4);
        return i % 4 < 2 ? 2 * word_of(channel, pixel, vectors::lane_pixels) + i % 2 : -1;
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

} // namespace
} // namespace kx::vector
