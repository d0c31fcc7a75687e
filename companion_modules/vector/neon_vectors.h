// The operations of the pixel pipeline on 128-bit registers of ARM64: NEON, without fused multiply-add.
#pragma once

#include "register_vectors.h"

#include <arm_neon.h>

#include <array>
#include <cstddef>
#include <cstdint>

namespace kx::vector {
namespace {

struct neon_vectors {
    static constexpr std::ptrdiff_t pixel_count = 8;
    static constexpr int lane_pixels = 8;

    using words = uint16x8_t;
    using floats = float32x4_t;
    using shift_count = int16x8_t;

    using narrow = neon_vectors;
    static constexpr bool streams_sums = false;

    static words load(const void* from) { return to_words(vld1q_u8(static_cast<const std::uint8_t*>(from))); }
    static void store(void* to, words value) { vst1q_u8(static_cast<std::uint8_t*>(to), to_bytes(value)); }
    static words load_lanes(const void* from, std::ptrdiff_t /*step*/) { return load(from); }
    static void store_lanes(void* to, std::ptrdiff_t /*step*/, words value) { store(to, value); }
    // These processors notice by themselves when whole lines are written one after the other, and keep the caches for
    // what is read.
    static void stream_lanes(void* to, std::ptrdiff_t /*step*/, words value) { store(to, value); }
    static void finish_streaming() {}
    static void store_lower_halves(void* to, std::ptrdiff_t /*step*/, words value)
    {
        vst1_u8(static_cast<std::uint8_t*>(to), vget_low_u8(to_bytes(value)));
    }
    static void prefetch(const void* from) { __builtin_prefetch(from); }

    static words zero() { return vdupq_n_u16(0); }
    static words all(std::uint16_t value) { return vdupq_n_u16(value); }
    static words all(std::uint32_t value) { return vreinterpretq_u16_u32(vdupq_n_u32(value)); }
    static words all(std::uint64_t value) { return vreinterpretq_u16_u64(vdupq_n_u64(value)); }
    static floats all(float value) { return vdupq_n_f32(value); }
    static shift_count count(std::int32_t bits) { return vdupq_n_s16(static_cast<std::int16_t>(bits)); }

    // Negative numbers of bytes are beyond the register, and a look-up there gives 0.
    template <typename pattern>
    static words pick(words value)
    {
        return to_words(vqtbl1q_u8(to_bytes(value), bytes_of<pattern>()));
    }
    static words interleave_lower_words(words a, words b) { return vzip1q_u16(a, b); }
    static words interleave_upper_words(words a, words b) { return vzip2q_u16(a, b); }
    static words interleave_lower_pairs(words a, words b)
    {
        return vreinterpretq_u16_u32(vzip1q_u32(to_integers(a), to_integers(b)));
    }
    static words interleave_upper_pairs(words a, words b)
    {
        return vreinterpretq_u16_u32(vzip2q_u32(to_integers(a), to_integers(b)));
    }
    static std::array<words, 3> load_three(const std::uint16_t* from)
    {
        const uint16x8x3_t three = vld3q_u16(from);
        return {three.val[0], three.val[1], three.val[2]};
    }
    static void store_three(std::uint16_t* to, words first, words second, words third)
    {
        vst3q_u16(to, {{first, second, third}});
    }
    static void store_three(std::uint8_t* to, words first, words second, words third)
    {
        vst3_u8(to, {{vmovn_u16(first), vmovn_u16(second), vmovn_u16(third)}});
    }

    template <int /*together*/>
    static constexpr int pixel_in_word(int word)
    {
        return word;
    }

    static words bit_and(words a, words b) { return vandq_u16(a, b); }
    static words bit_or(words a, words b) { return vorrq_u16(a, b); }
    static words min(words a, words b) { return vminq_u16(a, b); }
    static words max(words a, words b) { return vmaxq_u16(a, b); }
    // Each word or integer is shifted by what its lowest byte of the count says, to the right where that is negative.
    static words shift_left(words value, shift_count bits) { return vshlq_u16(value, bits); }
    static words shift_right(words value, shift_count bits) { return vshlq_u16(value, vnegq_s16(bits)); }
    static words move_to_upper_bytes(words value) { return vshlq_n_u16(value, 8); }

    static words shift_left_integers(words value, shift_count bits)
    {
        return vreinterpretq_u16_u32(vshlq_u32(to_integers(value), vreinterpretq_s32_s16(bits)));
    }
    static words min_integers(words a, words b)
    {
        return vreinterpretq_u16_s32(vminq_s32(vreinterpretq_s32_u16(a), vreinterpretq_s32_u16(b)));
    }
    static words max_integers(words a, words b)
    {
        return vreinterpretq_u16_s32(vmaxq_s32(vreinterpretq_s32_u16(a), vreinterpretq_s32_u16(b)));
    }
    static words upper_of_product_and_sum(words x, words factor, words summand)
    {
        const uint32x4_t integers = to_integers(x);
        const uint32x4_t factors = to_integers(factor);
        const uint64x2_t summands = vreinterpretq_u64_u16(summand);
        const uint64x2_t lower = vmlal_u32(summands, vget_low_u32(integers), vget_low_u32(factors));
        const uint64x2_t upper = vmlal_high_u32(summands, integers, factors);
        return vreinterpretq_u16_u32(vuzp2q_u32(vreinterpretq_u32_u64(lower), vreinterpretq_u32_u64(upper)));
    }

    static floats to_float(words integers) { return vcvtq_f32_s32(vreinterpretq_s32_u16(integers)); }
    // Away from zero where two integers are equally near; 0 for NaN and below zero.
    static words round(floats value) { return vreinterpretq_u16_u32(vcvtaq_u32_f32(value)); }
    static words pack_to_words(words lower, words upper)
    {
        return vqmovun_high_s32(vqmovun_s32(vreinterpretq_s32_u16(lower)), vreinterpretq_s32_u16(upper));
    }
    static floats multiply(floats a, floats b) { return vmulq_f32(a, b); }
    static floats add(floats a, floats b) { return vaddq_f32(a, b); }

private:
    static uint8x16_t to_bytes(words value) { return vreinterpretq_u8_u16(value); }
    static words to_words(uint8x16_t bytes) { return vreinterpretq_u16_u8(bytes); }
    static uint32x4_t to_integers(words value) { return vreinterpretq_u32_u16(value); }

    template <typename pattern>
    static uint8x16_t bytes_of()
    {
        return vreinterpretq_u8_s8(vld1q_s8(pattern::bytes.data()));
    }
};

static_assert(interleaving_vectors<neon_vectors>);

} // namespace
} // namespace kx::vector
