// The operations of the pixel pipeline on 512-bit registers: AVX-512 with byte permutations (VBMI), without fused
// multiply-add. To shuffles and blends the register is one lane of 32 words.
#pragma once

#include "avx2_vectors.h"

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

struct avx512_vectors {
    static constexpr std::ptrdiff_t pixel_count = 32; // 16-bit samples in a register
    static constexpr int lane_pixels = 32;            // and in its one lane

    using words = __m512i;
    using floats = __m512;
    using shift_count = __m128i;

    // What to move samples with where width does not pay: into planes, whose lines wider stores often straddle, and
    // past the caches.
    using narrow = avx2_vectors;
    // Whether sums are computed so fast that large interleaved outputs wait for memory.
    static constexpr bool streams_sums = true;

    // Registers from and to memory.
    static words load(const void* from) { return _mm512_loadu_si512(from); }
    static void store(void* to, words value) { _mm512_storeu_si512(to, value); }
    static words load_lanes(const void* from, std::ptrdiff_t /*step*/) { return load(from); }
    static void store_lanes(void* to, std::ptrdiff_t /*step*/, words value) { store(to, value); }
    // The same past the caches, to an address that is a multiple of 16.
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
    static floats all(float value) { return _mm512_set1_ps(value); }
    static shift_count count(std::int32_t bits) { return _mm_cvtsi32_si128(bits); }

    // Byte i of the result is byte pattern::bytes[i] of the value, or 0 where that is negative.
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
    // The same from two values, by patterns of which no more than one says something of a byte. Bytes of which neither
    // does are undefined.
    template <typename pattern_a, typename pattern_b>
    static words pick_from_both(words a, words b)
    {
        const words of_a = _mm512_permutexvar_epi8(_mm512_load_si512(pattern_a::bytes.data()), a);
        return _mm512_mask_permutexvar_epi8(of_a, picked<pattern_b>(), _mm512_load_si512(pattern_b::bytes.data()), b);
    }
    // Word i of the result is b's where bit i of the mask is set, else a's.
    template <std::uint32_t mask>
    static words blend(words a, words b)
    {
        return _mm512_mask_blend_epi16(mask, a, b);
    }
    // These two pairs, and pack_to_words, work on each group of eight words by itself.
    static words interleave_lower_words(words a, words b) { return _mm512_unpacklo_epi16(a, b); }
    static words interleave_upper_words(words a, words b) { return _mm512_unpackhi_epi16(a, b); }
    static words interleave_lower_pairs(words a, words b) { return _mm512_unpacklo_epi32(a, b); }
    static words interleave_upper_pairs(words a, words b) { return _mm512_unpackhi_epi32(a, b); }

    static words bit_and(words a, words b) { return _mm512_and_si512(a, b); }
    static words bit_or(words a, words b) { return _mm512_or_si512(a, b); }
    static words min(words a, words b) { return _mm512_min_epu16(a, b); }
    static words max(words a, words b) { return _mm512_max_epu16(a, b); }
    static words shift_left(words value, shift_count bits) { return _mm512_sll_epi16(value, bits); }
    static words shift_right(words value, shift_count bits) { return _mm512_srl_epi16(value, bits); }
    static words move_to_upper_bytes(words value) { return _mm512_slli_epi16(value, 8); }

    // 32-bit integers as floats and back; back truncates, and what does not fit becomes the smallest integer.
    static floats to_float(words integers) { return _mm512_cvtepi32_ps(integers); }
    static words truncate(floats value) { return _mm512_cvttps_epi32(value); }
    // 32-bit integers to words with saturation to 0..65535, undoing interleave_lower/upper_words with zero.
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

} // namespace
} // namespace kx::vector
