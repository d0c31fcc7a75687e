// The operations of the pixel pipeline on 256-bit registers: AVX2, without fused multiply-add.
#pragma once

#include "register_vectors.h"
#include "x86_memory.h"

#include "rounding.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

struct avx2_vectors : x86_memory {
    static constexpr std::ptrdiff_t pixel_count = 16;
    static constexpr int lane_pixels = 8;

    using words = __m256i;
    using floats = __m256;
    using shift_count = __m128i;

    using narrow = avx2_vectors;
    static constexpr bool streams_sums = false;

    static words load(const void* from) { return _mm256_loadu_si256(static_cast<const __m256i*>(from)); }
    static void store(void* to, words value) { _mm256_storeu_si256(static_cast<__m256i*>(to), value); }

    static words load_lanes(const void* from, std::ptrdiff_t step)
    {
        const char* const address = static_cast<const char*>(from);
        const __m128i lower = _mm_loadu_si128(reinterpret_cast<const __m128i*>(address));
        return _mm256_inserti128_si256(_mm256_castsi128_si256(lower),
                                       _mm_loadu_si128(reinterpret_cast<const __m128i*>(address + step)), 1);
    }
    static void store_lanes(void* to, std::ptrdiff_t step, words value)
    {
        char* const address = static_cast<char*>(to);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(address), _mm256_castsi256_si128(value));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(address + step), _mm256_extracti128_si256(value, 1));
    }
    static void stream_lanes(void* to, std::ptrdiff_t step, words value)
    {
        char* const address = static_cast<char*>(to);
        _mm_stream_si128(reinterpret_cast<__m128i*>(address), _mm256_castsi256_si128(value));
        _mm_stream_si128(reinterpret_cast<__m128i*>(address + step), _mm256_extracti128_si256(value, 1));
    }
    static void store_lower_halves(void* to, std::ptrdiff_t step, words value)
    {
        char* const address = static_cast<char*>(to);
        _mm_storel_epi64(reinterpret_cast<__m128i*>(address), _mm256_castsi256_si128(value));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(address + step), _mm256_extracti128_si256(value, 1));
    }

    static words zero() { return _mm256_setzero_si256(); }
    static words all(std::uint16_t value) { return _mm256_set1_epi16(static_cast<short>(value)); }
    static words all(std::uint32_t value) { return _mm256_set1_epi32(static_cast<int>(value)); }
    static words all(std::uint64_t value) { return _mm256_set1_epi64x(static_cast<long long>(value)); }
    static floats all(float value) { return _mm256_set1_ps(value); }
    static shift_count count(std::int32_t bits) { return _mm_cvtsi32_si128(bits); }

    template <typename pattern>
    static words pick(words value)
    {
        const words bytes =
            _mm256_broadcastsi128_si256(_mm_load_si128(reinterpret_cast<const __m128i*>(pattern::bytes.data())));
        return _mm256_shuffle_epi8(value, bytes);
    }
    template <typename pattern_a, typename pattern_b>
    static words pick_from_both(words a, words b)
    {
        return bit_or(pick<pattern_a>(a), pick<pattern_b>(b));
    }
    template <std::uint32_t mask>
    static words blend(words a, words b)
    {
        return _mm256_blend_epi16(a, b, static_cast<int>(mask));
    }
    static words interleave_lower_words(words a, words b) { return _mm256_unpacklo_epi16(a, b); }
    static words interleave_upper_words(words a, words b) { return _mm256_unpackhi_epi16(a, b); }
    static words interleave_lower_pairs(words a, words b) { return _mm256_unpacklo_epi32(a, b); }
    static words interleave_upper_pairs(words a, words b) { return _mm256_unpackhi_epi32(a, b); }

    template <int /*together*/>
    static constexpr int pixel_in_word(int word)
    {
        return word;
    }

    static words bit_and(words a, words b) { return _mm256_and_si256(a, b); }
    static words bit_or(words a, words b) { return _mm256_or_si256(a, b); }
    static words min(words a, words b) { return _mm256_min_epu16(a, b); }
    static words max(words a, words b) { return _mm256_max_epu16(a, b); }
    static words shift_left(words value, shift_count bits) { return _mm256_sll_epi16(value, bits); }
    static words shift_right(words value, shift_count bits) { return _mm256_srl_epi16(value, bits); }
    static words move_to_upper_bytes(words value) { return _mm256_slli_epi16(value, 8); }

    static words shift_left_integers(words value, shift_count bits) { return _mm256_sll_epi32(value, bits); }
    static words min_integers(words a, words b) { return _mm256_min_epi32(a, b); }
    static words max_integers(words a, words b) { return _mm256_max_epi32(a, b); }
    static words upper_of_product_and_sum(words x, words factor, words summand)
    {
        const words even = _mm256_add_epi64(_mm256_mul_epu32(x, factor), summand);
        const words odd = _mm256_add_epi64(_mm256_mul_epu32(_mm256_srli_epi64(x, 32), factor), summand);
        return _mm256_blend_epi32(_mm256_srli_epi64(even, 32), odd, 0xAA);
    }

    static floats to_float(words integers) { return _mm256_cvtepi32_ps(integers); }
    // As round_before_clamp does (rounding.h).
    static words round(floats value) { return _mm256_cvttps_epi32(_mm256_add_ps(value, all(just_below_one_half))); }
    static words pack_to_words(words lower, words upper) { return _mm256_packus_epi32(lower, upper); }
    static floats multiply(floats a, floats b) { return _mm256_mul_ps(a, b); }
    static floats add(floats a, floats b) { return _mm256_add_ps(a, b); }
};

static_assert(shuffling_vectors<avx2_vectors>);

} // namespace
} // namespace kx::vector
