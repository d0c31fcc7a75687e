// What a transform must compute, said as plainly as possible: every choice is tested for every pixel. It
// knows nothing of the library's code.
#pragma once

#include "conversion.h"

#include <cstdint>
#include <limits>

namespace kx::verify {

// A channel's sum, rounded but not yet clamped.
inline std::int32_t reference_rounded(float sum)
{
    const double rounded = static_cast<double>(sum) + 0.5;
    // Written so that NaN takes the first branch.
    if (!(rounded > -2147483649.0 && rounded < 2147483648.0)) {
        return std::numeric_limits<std::int32_t>::min();
    }
    return static_cast<std::int32_t>(rounded);
}

// Where sample `channel` (blue, green, red, fourth) of a pixel lies in an image, in samples.
std::int64_t reference_sample_index(std::int32_t layout, std::int64_t pixel_count, int samples_per_pixel,
                                    std::int64_t pixel, int channel);

// Writes the output samples and nothing else.
void reference_convert(const conversion& wanted, const LUT_set& LUTs, std::uint8_t* output);

} // namespace kx::verify
