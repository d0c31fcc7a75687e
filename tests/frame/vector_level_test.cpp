// The choice of the vector level from the processor's features.
#include "vector_level.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

namespace {

using leaves = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

constexpr std::uint32_t avx2 = 1U << 5; // leaf 7, EBX
constexpr std::uint32_t fma = 1U << 12; // leaf 1, ECX
constexpr std::uint32_t sse4_1 = 1U << 19;
constexpr std::uint32_t sse = 1U << 25; // leaf 1, EDX
constexpr std::uint32_t sse2 = 1U << 26;

// Every combination of the five features, with all other bits once clear and once set.
TEST(vector_level, follows_the_features_and_reads_no_leaf_in_vain)
{
    for (unsigned features = 0; features < 64; ++features) {
        const auto has = [features](unsigned feature) { return (features >> feature & 1) != 0; };
        const auto bit = [&](unsigned feature, std::uint32_t mask) { return has(feature) ? mask : 0; };
        const std::uint32_t others = has(5) ? ~std::uint32_t{0} : 0;

        leaves read;
        const auto cpuid = [&](std::uint32_t leaf, std::uint32_t subleaf) -> kx::platform::cpuid_registers {
            read.emplace_back(leaf, subleaf);
            if (leaf == 7) {
                return {others, bit(0, avx2) | (others & ~avx2), others, others};
            }
            return {others, others, bit(1, fma) | bit(2, sse4_1) | (others & ~(fma | sse4_1)),
                    bit(3, sse) | bit(4, sse2) | (others & ~(sse | sse2))};
        };
        const std::int32_t level = kx::supported_vector_level(cpuid);

        SCOPED_TRACE(testing::Message() << "features " << features);
        EXPECT_EQ(level, has(0) && has(1) ? 2 : has(2) && has(3) && has(4) ? 1 : 0);
        EXPECT_EQ(read, has(0) && !has(1) ? (leaves{{7, 0}, {1, 0}, {1, 0}}) : (leaves{{7, 0}, {1, 0}}));
    }
}

} // namespace
