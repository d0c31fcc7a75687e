// The operations of the pixel pipeline on 512-bit registers: AVX-512 with byte permutations (VBMI), without fused
// multiply-add. To shuffles and blends the register is one lane of 32 words.
#pragma once

#include "avx2_vectors.h"
#include "register_vectors.h"
#include "x86_memory.h"

#include "rounding.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

struct avx512_vectors : x86_memory {
    static constexpr std::ptrdiff_t pixel_count = 32;
    static constexpr int lane_pixels = 32;

    using words = __m512i;
    using floats = __m512;
    using shift_count = __m128i;

    using narrow = avx2_vectors;
    static constexpr bool streams_sums = true;

    static words load(const void* from) { return _mm512_loadu_si512(from); }
    static void store(void* to, words value) { _mm512_storeu_si512(to, value); }
    static words load_lanes(const void* from, std::ptrdiff_t /*step*/) { return load(from); }
    static void store_lanes(void* to, std::ptrdiff_t /*step*/, words value) { store(to, value); }
    static void stream_lanes(void* to, std::ptrdiff_t /*step*/, words value)
    {
        auto* const address = static_cast<__m128i*>(to);
        _mm_stream_si128(address, _mm512_castsi512_si128(value));
        _mm_stream_si128(address + 1, _mm512_extracti32x4_epi32(value, 1));
        _mm_stream_si128(address + 2, _mm512_extracti32x4_epi32(value, 2));
        _mm_stream_si128(address + 3, _mm512_extracti32x4_epi32(value, 3));
    }
    static void store_lower_halves(void* to, std::ptrdiff_t /*step*/, words value)
    {
        _mm256_storeu_si256(static_cast<__m256i*>(to), _mm512_castsi512_si256(value));
    }

    static words zero() { return _mm512_setzero_si512(); }
    static words all(std::uint16_t value) { return _mm512_set1_epi16(static_cast<short>(value)); }
    static words all(std::uint32_t value) { return _mm512_set1_epi32(static_cast<int>(value)); }
    static words all(std::uint64_t value) { return _mm512_set1_epi64(static_cast<long long>(value)); }
    static floats all(float value) { return _mm512_set1_ps(value); }
    static shift_count count(std::int32_t bits) { return _mm_cvtsi32_si128(bits); }

    template <typename pattern>
    static words pick(words value)
    {
        constexpr __mmask64 mask = picked<pattern>();
        const words bytes = _mm512_load_si512(pattern::bytes.data());
        if constexpr (mask == ~__mmask64{0}) {
            return _mm512_permutexvar_epi8(bytes, value);
        }
        return _mm512_maskz_permutexvar_epi8(mask, bytes, value);
    }
    template <typename pattern_a, typename pattern_b>
    static words pick_from_both(words a, words b)
    {
        const words of_a = _mm512_permutexvar_epi8(_mm512_load_si512(pattern_a::bytes.data()), a);
        return _mm512_mask_permutexvar_epi8(of_a, picked<pattern_b>(), _mm512_load_si512(pattern_b::bytes.data()), b);
    }
    template <std::uint32_t mask>
    static words blend(words a, words b)
    {
        return _mm512_mask_blend_epi16(mask, a, b);
    }
    static words interleave_lower_words(words a, words b) { return _mm512_unpacklo_epi16(a, b); }
    static words interleave_upper_words(words a, words b) { return _mm512_unpackhi_epi16(a, b); }
    static words interleave_lower_pairs(words a, words b) { return _mm512_unpacklo_epi32(a, b); }
    static words interleave_upper_pairs(words a, words b) { return _mm512_unpackhi_epi32(a, b); }

    // Interleaving works on four groups of eight words. When it takes two words of each at a time, its first result has
    // the first two of every group, the second the next two: for these to be eight pixels that follow each other, the
    // words hold the pixels
    //
    //     0 1  8 9  16 17  24 25 | 2 3  10 11  18 19  26 27 | 4 5  12 13  20 21  28 29 | 6 7  14 15  22 23  30 31
    //
    // and when it takes four
    //
    //     0 1 2 3  16 17 18 19 | 4 5 6 7  20 21 22 23 | 8 9 10 11  24 25 26 27 | 12 13 14 15  28 29 30 31
    template <int together>
    static constexpr int pixel_in_word(int word)
    {
        const int group = word / 8;
        const int place = word % 8;
        return 4 * together * (place / together) + together * group + place % together;
    }

    static words bit_and(words a, words b) { return _mm512_and_si512(a, b); }
    static words bit_or(words a, words b) { return _mm512_or_si512(a, b); }
    static words min(words a, words b) { return _mm512_min_epu16(a, b); }
    static words max(words a, words b) { return _mm512_max_epu16(a, b); }
    static words shift_left(words value, shift_count bits) { return _mm512_sll_epi16(value, bits); }
    static words shift_right(words value, shift_count bits) { return _mm512_srl_epi16(value, bits); }
    static words move_to_upper_bytes(words value) { return _mm512_slli_epi16(value, 8); }

    static words shift_left_integers(words value, shift_count bits) { return _mm512_sll_epi32(value, bits); }
    static words min_integers(words a, words b) { return _mm512_min_epi32(a, b); }
    static words max_integers(words a, words b) { return _mm512_max_epi32(a, b); }
    static words upper_of_product_and_sum(words x, words factor, words summand)
    {
        const words even = _mm512_add_epi64(_mm512_mul_epu32(x, factor), summand);
        const words odd = _mm512_add_epi64(_mm512_mul_epu32(_mm512_srli_epi64(x, 32), factor), summand);
        return _mm512_mask_blend_epi32(0xAAAA, _mm512_srli_epi64(even, 32), odd);
    }

    static floats to_float(words integers) { return _mm512_cvtepi32_ps(integers); }
    // As round_before_clamp does (rounding.h).
    static words round(floats value) { return _mm512_cvttps_epi32(_mm512_add_ps(value, all(just_below_one_half))); }
    static words pack_to_words(words lower, words upper) { return _mm512_packus_epi32(lower, upper); }
    static floats multiply(floats a, floats b) { return _mm512_mul_ps(a, b); }
    static floats add(floats a, floats b) { return _mm512_add_ps(a, b); }

private:
    // Of which bytes a pattern says something.
    template <typename pattern>
    static constexpr __mmask64 picked()
    {
        __mmask64 mask = 0;
        for (std::size_t i = 0; i < pattern::bytes.size(); ++i) {
            mask |= __mmask64{pattern::bytes[i] >= 0} << i;
        }
        return mask;
    }
};

static_assert(shuffling_vectors<avx512_vectors>);

} // namespace
} // namespace kx::vector
