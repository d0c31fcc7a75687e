// From a channel's single-precision sum to an integer.
#pragma once

#include <emmintrin.h>

#include <cstdint>

namespace kx {

// The largest float below one half.
inline constexpr float just_below_one_half = 0x1.fffffep-2F;

// The rule is (double)value + 0.5, truncated toward zero; NaN and what does not fit become the smallest
// integer. For values of zero or more one single-precision addition of the largest float below one half
// and a truncation give the same result. For negative values the two may differ, but neither result is
// above zero, so that the clamp which follows makes them equal. A test proves it over all floats.
inline std::int32_t round_before_clamp(float value)
{
    return _mm_cvttss_si32(_mm_set_ss(value + just_below_one_half));
}

} // namespace kx
