// What a register vocabulary offers. The arithmetic of the vector modules is written once, in terms of such a
// vocabulary; for each width of registers there is one, which alone names its instructions.
//
// A register holds `pixel_count` words of 16 bits, one sample of as many pixels: word i lies behind word i - 1 in
// memory, and byte 2i is the lower byte of word i. Two words side by side are also a pair, or an integer of 32 bits,
// and two integers one of 64; the lower comes first. The words form lanes of `lane_pixels`, within which the shuffles
// work. Some operations work on each group of eight words by itself, whatever the lanes.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

// What a shuffle takes: byte i of a lane comes from the byte whose number is bytes[i], or is 0 where that is negative.
struct any_pattern {
    alignas(64) static constexpr std::array<std::int8_t, 64> bytes{};
};

template <typename vectors>
concept register_vectors =
    requires(typename vectors::words words,      // a register of words, pairs or integers
             typename vectors::floats floats,    // a register of single-precision numbers, as many as it holds integers
             typename vectors::shift_count bits, // 0..63
             const void* from, void* to, std::ptrdiff_t step)
{
    // Words in a register, a multiple of eight that divides 512; and in each of its lanes.
    requires std::convertible_to<decltype(vectors::pixel_count), std::ptrdiff_t>;
    requires std::convertible_to<decltype(vectors::lane_pixels), int>;
    requires vectors::pixel_count % vectors::lane_pixels == 0 && vectors::lane_pixels % 8 == 0;
    requires 512 % vectors::pixel_count == 0;

    // Whether sums are computed so fast that conversions to large interleaved images wait for memory.
    requires std::convertible_to<decltype(vectors::streams_sums), bool>;
    // What to move samples with where width does not pay: into planes, whose lines wider stores often straddle, and
    // past the caches. The vocabulary itself or a narrower one.
    typename vectors::narrow;

    // Registers from and to memory, at any address.
    words = vectors::load(from);
    vectors::store(to, words);
    // The same lane by lane, `step` bytes apart.
    words = vectors::load_lanes(from, step);
    vectors::store_lanes(to, step, words);
    // store_lanes past the caches, where the platform can. Address and step are multiples of 16 bytes.
    vectors::stream_lanes(to, step, words);
    // Makes what was streamed visible to other threads in the order of other stores. Called once, after the last.
    vectors::finish_streaming();
    // The lower half of each lane alone, `step` bytes apart.
    vectors::store_lower_halves(to, step, words);
    // Asks for the line of memory with this address, soon to be read. The address need not be a valid one.
    vectors::prefetch(from);

    // The same number in every word, integer, 64-bit integer and float; bits to shift by, 0..63.
    words = vectors::zero();
    words = vectors::all(std::uint16_t{});
    words = vectors::all(std::uint32_t{});
    words = vectors::all(std::uint64_t{});
    floats = vectors::all(float{});
    bits = vectors::count(std::int32_t{});

    // Shuffles within each lane by the pattern's bytes, as for any_pattern.
    words = vectors::template pick<any_pattern>(words);

    // Within each group of eight words, a0..a7 and b0..b7:
    // a0 b0 a1 b1 a2 b2 a3 b3, and a4 b4 a5 b5 a6 b6 a7 b7.
    words = vectors::interleave_lower_words(words, words);
    words = vectors::interleave_upper_words(words, words);
    // The same with its four pairs: a0a1 b0b1 a2a3 b2b3, and a4a5 b4b5 a6a7 b6b7.
    words = vectors::interleave_lower_pairs(words, words);
    words = vectors::interleave_upper_pairs(words, words);
    // Signed integers to words, saturated to 0..65535: a group's first four from the first register, its last four from
    // the second. Undoes interleave_lower_words and interleave_upper_words with zero.
    words = vectors::pack_to_words(words, words);

    // How a lane's pixels must stand for interleaving to put them side by side: the pixel in a word of the lane. Of
    // each group it takes so many words at a time: four where two words are interleaved, two where it goes on with
    // pairs, and eight where nothing is interleaved. Lanes of one group hold the pixels in order.
    requires std::same_as<decltype(vectors::template pixel_in_word<8>(int{})), int>;

    words = vectors::bit_and(words, words);
    words = vectors::bit_or(words, words);

    // On unsigned words. Shifts by 16 and more give 0.
    words = vectors::min(words, words);
    words = vectors::max(words, words);
    words = vectors::shift_left(words, bits);
    words = vectors::shift_right(words, bits);
    words = vectors::move_to_upper_bytes(words); // a shift to the left by eight

    // On integers of 32 bits; the smaller and the greater of signed ones.
    words = vectors::shift_left_integers(words, bits);
    words = vectors::min_integers(words, words);
    words = vectors::max_integers(words, words);
    // For each unsigned integer x the upper 32 of the 64 bits of x * factor + summand, the other two arguments. Every
    // integer of `factor` is the same, and so is every 64-bit integer of `summand`.
    words = vectors::upper_of_product_and_sum(words, words, words);

    // Integers of 0..65535 as floats, and floats as the nearest integers, a half upwards. Below zero, from 2^31 on and
    // for NaN that is any integer that pack_to_words makes 0.
    floats = vectors::to_float(words);
    words = vectors::round(floats);
    // Each result is rounded to single precision; never fused.
    floats = vectors::multiply(floats, floats);
    floats = vectors::add(floats, floats);
};

// With what puts interleaved samples apart and together.
template <typename vectors>
concept shuffling_vectors = register_vectors<vectors> && requires(typename vectors::words words)
{
    // pick from two registers, by patterns of which no more than one says something of a byte. What bytes become of
    // which neither does is open.
    words = vectors::template pick_from_both<any_pattern, any_pattern>(words, words);
    // Within each lane: word i is the second register's where bit i of the mask is set, else the first one's.
    words = vectors::template blend<std::uint32_t{}>(words, words);
};

// Or with loads and stores that do so by themselves: of as many pixels as a register has words, of three samples each,
// the first, second and third ones. Samples of 8 bits are the words' low bytes.
template <typename vectors>
concept interleaving_vectors = register_vectors<vectors> && requires(typename vectors::words words,
                                                                     const std::uint16_t* from, std::uint16_t* to,
                                                                     std::uint8_t* to_bytes)
{
    std::array{words, words, words} = vectors::load_three(from);
    vectors::store_three(to, words, words, words);
    vectors::store_three(to_bytes, words, words, words);
};

} // namespace
} // namespace kx::vector
