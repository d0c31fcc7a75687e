// The kernels' short way to round against the rule, over all 2^32 floats.
#include "rounding.h"

#include "reference.h"

#include <gtest/gtest.h>

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

class rounding_shortcut : public testing::TestWithParam<std::uint64_t> {};

TEST_P(rounding_shortcut, equals_the_rule_after_the_clamp)
{
    const std::uint64_t first = GetParam() * shard_length;
    for (std::uint64_t bits = first; bits < first + shard_length; bits += KX_FLOAT_STEP) {
        const float value = std::bit_cast<float>(static_cast<std::uint32_t>(bits));
        if (clamped(kx::round_before_clamp(value)) != clamped(reference_rounded(value))) {
            FAIL() << value << " (0x" << std::hex << bits << "): " << std::dec << kx::round_before_clamp(value)
                   << " instead of " << reference_rounded(value);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(shard, rounding_shortcut, testing::Range(std::uint64_t{0}, shard_count));

} // namespace

} // namespace kx_test
