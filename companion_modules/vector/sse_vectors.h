// The operations of the pixel pipeline on 128-bit registers: SSE4.1 and what came before it.
#pragma once

#include "register_vectors.h"
#include "x86_memory.h"

#include "rounding.h"

#include <smmintrin.h>

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

struct sse_vectors : x86_memory {
    static constexpr std::ptrdiff_t pixel_count = 8;
    static constexpr int lane_pixels = 8;

    using words = __m128i;
    using floats = __m128;
    using shift_count = __m128i;

    using narrow = sse_vectors;
    static constexpr bool streams_sums = false;

    static words load(const void* from) { return _mm_loadu_si128(static_cast<const __m128i*>(from)); }
    static void store(void* to, words value) { _mm_storeu_si128(static_cast<__m128i*>(to), value); }

    static words load_lanes(const void* from, std::ptrdiff_t /*step*/)
    {
        return _mm_loadu_si128(static_cast<const __m128i*>(from));
    }
    static void store_lanes(void* to, std::ptrdiff_t /*step*/, words value)
    {
        _mm_storeu_si128(static_cast<__m128i*>(to), value);
    }
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
    static words all(std::uint32_t value) { return _mm_set1_epi32(static_cast<int>(value)); }
    static words all(std::uint64_t value) { return _mm_set1_epi64x(static_cast<long long>(value)); }
    static floats all(float value) { return _mm_set1_ps(value); }
    static shift_count count(std::int32_t bits) { return _mm_cvtsi32_si128(bits); }

    template <typename pattern>
    static words pick(words value)
    {
        const words bytes = _mm_load_si128(reinterpret_cast<const __m128i*>(pattern::bytes.data()));
        return _mm_shuffle_epi8(value, bytes);
    }
    template <typename pattern_a, typename pattern_b>
    static words pick_from_both(words a, words b)
    {
        return bit_or(pick<pattern_a>(a), pick<pattern_b>(b));
    }
    template <std::uint32_t mask>
    static words blend(words a, words b)
    {
        return _mm_blend_epi16(a, b, static_cast<int>(mask));
    }
    static words interleave_lower_words(words a, words b) { return _mm_unpacklo_epi16(a, b); }
    static words interleave_upper_words(words a, words b) { return _mm_unpackhi_epi16(a, b); }
    static words interleave_lower_pairs(words a, words b) { return _mm_unpacklo_epi32(a, b); }
    static words interleave_upper_pairs(words a, words b) { return _mm_unpackhi_epi32(a, b); }

    template <int /*together*/>
    static constexpr int pixel_in_word(int word)
    {
        return word;
    }

    static words bit_and(words a, words b) { return _mm_and_si128(a, b); }
    static words bit_or(words a, words b) { return _mm_or_si128(a, b); }
    static words min(words a, words b) { return _mm_min_epu16(a, b); }
    static words max(words a, words b) { return _mm_max_epu16(a, b); }
    static words shift_left(words value, shift_count bits) { return _mm_sll_epi16(value, bits); }
    static words shift_right(words value, shift_count bits) { return _mm_srl_epi16(value, bits); }
    static words move_to_upper_bytes(words value) { return _mm_slli_epi16(value, 8); }

    static words shift_left_integers(words value, shift_count bits) { return _mm_sll_epi32(value, bits); }
    static words min_integers(words a, words b) { return _mm_min_epi32(a, b); }
    static words max_integers(words a, words b) { return _mm_max_epi32(a, b); }
    static words upper_of_product_and_sum(words x, words factor, words summand)
    {
        const words even = _mm_add_epi64(_mm_mul_epu32(x, factor), summand);
        const words odd = _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(x, 32), factor), summand);
        return _mm_blend_epi16(_mm_srli_epi64(even, 32), odd, 0xCC);
    }

    static floats to_float(words integers) { return _mm_cvtepi32_ps(integers); }
    // As round_before_clamp does (rounding.h).
    static words round(floats value) { return _mm_cvttps_epi32(_mm_add_ps(value, all(just_below_one_half))); }
    static words pack_to_words(words lower, words upper) { return _mm_packus_epi32(lower, upper); }
    static floats multiply(floats a, floats b) { return _mm_mul_ps(a, b); }
    static floats add(floats a, floats b) { return _mm_add_ps(a, b); }
};

static_assert(shuffling_vectors<sse_vectors>);

} // namespace
} // namespace kx::vector
