// The short way to round against the rule, over all 2^32 floats: the kernels', and on ARM64 also the vector module's,
// whose conversions the processor does not have by itself.
#include "rounding.h"

#include "reference.h"

#include <gtest/gtest.h>

#if defined(KX_ARM64)
#include "vector/neon_vectors.h"
#endif

#include <algorithm>
#include <bit>

namespace kx_test {

namespace {

using kx::verify::reference_rounded;

std::int32_t clamped(std::int32_t value)
{
    return std::clamp(value, 0, 65535);
}

constexpr std::uint64_t shard_count = 8;
constexpr std::uint64_t shard_length = (std::uint64_t{1} << 32) / shard_count;

std::int32_t truncated(float value)
{
    return value >= -0x1p31F && value < 0x1p31F ? static_cast<std::int32_t>(value) : INT32_MIN;
}

class rounding_shortcut : public testing::TestWithParam<std::uint64_t> {};

TEST_P(rounding_shortcut, truncates_what_fits_and_equals_the_rule_after_the_clamp)
{
    const std::uint64_t first = GetParam() * shard_length;
    for (std::uint64_t bits = first; bits < first + shard_length; bits += KX_FLOAT_STEP) {
        const float value = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
        if (kx::truncate(value) != truncated(value)
            || clamped(kx::round_before_clamp(value)) != clamped(reference_rounded(value))) {
            FAIL() << value << " (0x" << std::hex << bits << "): " << std::dec << kx::truncate(value) << ", "
                   << kx::round_before_clamp(value) << " instead of " << reference_rounded(value);
        }
    }
}

#if defined(KX_ARM64)
TEST_P(rounding_shortcut, of_registers_is_the_same)
{
    using kx::vector::neon_vectors;
    constexpr std::uint64_t together = 4;
    const std::uint64_t first = GetParam() * shard_length;
    for (std::uint64_t bits = first; bits < first + shard_length; bits += together * KX_FLOAT_STEP) {
        const auto value_at = [bits](std::uint64_t i) {
            return std::bit_cast<float>(static_cast<std::uint32_t>(bits + i * KX_FLOAT_STEP));
        };
        const float values[together] = {value_at(0), value_at(1), value_at(2), value_at(3)};
        std::uint16_t rounded[2 * together];
        neon_vectors::store(rounded,
                            neon_vectors::pack_to_words(neon_vectors::round(vld1q_f32(values)), neon_vectors::zero()));
        for (std::uint64_t i = 0; i < together; ++i) {
            if (rounded[i] != clamped(reference_rounded(values[i]))) {
                FAIL() << values[i] << " (0x" << std::hex << bits + i * KX_FLOAT_STEP << "): " << std::dec << rounded[i]
                       << " instead of " << reference_rounded(values[i]);
            }
        }
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(shard, rounding_shortcut, testing::Range(std::uint64_t{0}, shard_count));

} // namespace

} // namespace kx_test
