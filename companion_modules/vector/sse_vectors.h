// The operations of the pixel pipeline on 128-bit registers: SSE4.1 and what came before it.
#pragma once

#include <smmintrin.h>

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

struct sse_vectors {
    static constexpr std::ptrdiff_t pixel_count = 8; // 16-bit samples in a register
    static constexpr int lane_pixels = 8;            // and in each of its lanes

    using words = __m128i;
    using floats = __m128;
    using shift_count = __m128i;

    // What to move samples with where width does not pay: into planes, whose lines wider stores often straddle, and
    // past the caches.
    using narrow = sse_vectors;
    // Whether sums are computed so fast that large interleaved outputs wait for memory.
    static constexpr bool streams_sums = false;

    // Registers from and to memory.
    static words load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
    static void store(void* to, words value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

    // The same, one piece for each 128-bit lane, `step` bytes apart.
    static words load_lanes(const void* from, std::ptrdiff_t /*step*/)
    {
        return _mm_loadu_si128(static_cast<const __m128i*>(from));
    }
    static void store_lanes(void* to, std::ptrdiff_t /*step*/, words value)
    {
        _mm_storeu_si128(static_cast<__m128i*>(to), value);
    }
    // The same past the caches, to addresses and steps that are multiples of 16.
    static void stream_lanes(void* to, std::ptrdiff_t /*step*/, words value)
    {
        _mm_stream_si128(static_cast<__m128i*>(to), value);
    }
    static void store_lower_halves(void* to, std::ptrdiff_t /*step*/, words value)
    {
        _mm_storel_epi64(static_cast<__m128i*>(to), value);
    }

    static words zero() { return _mm_setzero_si128(); }
    static words all(std::uint16_t value) { return _mm_set1_epi16(static_cast<short>(value)); }
    static floats all(float value) { return _mm_set1_ps(value); }
    static shift_count count(std::int32_t bits) { return _mm_cvtsi32_si128(bits); }

    // Within each lane: byte i of the result is byte pattern::bytes[i] of the value, or 0 where that is negative.
    template <typename pattern>
    static words pick(words value)
    {
        const words bytes = _mm_load_si128(reinterpret_cast<const __m128i*>(pattern::bytes.data()));
        return _mm_shuffle_epi8(value, bytes);
    }
    // The same from two values, by patterns of which no more than one says something of a byte.
    template <typename pattern_a, typename pattern_b>
    static words pick_from_both(words a, words b)
    {
        return bit_or(pick<pattern_a>(a), pick<pattern_b>(b));
    }
    // Within each lane: word i of the result is b's where bit i of the mask is set, else a's.
    template <std::uint32_t mask>
    static words blend(words a, words b)
    {
        return _mm_blend_epi16(a, b, static_cast<int>(mask));
    }
    static words interleave_lower_words(words a, words b) { return _mm_unpacklo_epi16(a, b); }
    static words interleave_upper_words(words a, words b) { return _mm_unpackhi_epi16(a, b); }
    static words interleave_lower_pairs(words a, words b) { return _mm_unpacklo_epi32(a, b); }
    static words interleave_upper_pairs(words a, words b) { return _mm_unpackhi_epi32(a, b); }

    static words bit_and(words a, words b) { return _mm_and_si128(a, b); }
    static words bit_or(words a, words b) { return _mm_or_si128(a, b); }
    static words min(words a, words b) { return _mm_min_epu16(a, b); }
    static words max(words a, words b) { return _mm_max_epu16(a, b); }
    static words shift_left(words value, shift_count bits) { return _mm_sll_epi16(value, bits); }
    static words shift_right(words value, shift_count bits) { return _mm_srl_epi16(value, bits); }
    static words move_to_upper_bytes(words value) { return _mm_slli_epi16(value, 8); }

    // 32-bit integers as floats and back; back truncates, and what does not fit becomes the smallest integer.
    static floats to_float(words integers) { return _mm_cvtepi32_ps(integers); }
    static words truncate(floats value) { return _mm_cvttps_epi32(value); }
    // 32-bit integers to words with saturation to 0..65535, undoing interleave_lower/upper_words with zero.
    static words pack_to_words(words lower, words upper) { return _mm_packus_epi32(lower, upper); }
    static floats multiply(floats a, floats b) { return _mm_mul_ps(a, b); }
    static floats add(floats a, floats b) { return _mm_add_ps(a, b); }
};

} // namespace
} // namespace kx::vector
