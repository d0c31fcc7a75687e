// From a channel's single-precision sum to an integer.
#pragma once

#include "platform/architecture.h"

#include <cstdint>

#if defined(KX_ARM64)
#include <arm_neon.h>
#else
#include <emmintrin.h>
#endif

namespace kx {

// Truncates toward zero; NaN and what does not fit become the smallest integer. To C++ such conversions are undefined,
// and processors differ: those of x86-64 do just this, those of ARM64 give 0 for NaN and the nearest integer there is.
inline std::int32_t truncate(float value)
{
#if defined(KX_ARM64)
    const std::int32_t nearest = vcvts_s32_f32(value);
    return value < 0x1p31F ? nearest : INT32_MIN; // not so for NaN
#else
    return _mm_cvttss_si32(_mm_set_ss(value));
#endif
}

// The largest float below one half.
inline constexpr float just_below_one_half = 0x1.fffffep-2F;

// The rule is (double)value + 0.5, truncated toward zero; NaN and what does not fit become the smallest
// integer. For values of zero or more one single-precision addition of the largest float below one half
// and a truncation give the same result. For negative values the two may differ, but neither result is
// above zero, so that the clamp which follows makes them equal. A test proves it over all floats.
inline std::int32_t round_before_clamp(float value)
{
    return truncate(value + just_below_one_half);
}

} // namespace kx
