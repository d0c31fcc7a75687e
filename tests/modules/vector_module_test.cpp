// The vector modules through their exported functions: when they convert and when they refuse. What they convert is
// tested with the pixels.
#include "companion_interfaces/vector_module.h"
#include "support/shared_library.h"
#include "vector/supported_features.h"

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace {

using kx::platform::cpuid_registers;
using testing::Each;

constexpr std::int32_t pixels = 100;

class vector_module_test : public testing::TestWithParam<kx::vector_module_names> {
protected:
    vector_module_test()
    {
        module.find(GetParam().initialize, initialize);
        module.find(GetParam().transform_8_bit_output, transform_8);
        module.find(GetParam().transform_16_bit_output, transform_16);
        module.find(GetParam().terminate, terminate);
        record.input_buffer = input.data();
        record.output_buffer = output.data();
        record.processor = reinterpret_cast<const kx::color_correction*>(identity.data());
        record.blue_clamp_max = record.green_clamp_max = record.red_clamp_max = 0xFFFF;
        record.pixel_count = pixels;
    }

    void expect_nothing_done() const
    {
        EXPECT_EQ(transform_8(&record), 0U);
        EXPECT_EQ(transform_16(&record), 0U);
        EXPECT_THAT(output, Each(0xABCD));
    }

    kx_test::shared_library module{(std::string(GetParam().base_name) + KX_MODULE_SUFFIX).c_str()};
    kx::vector_module_initialize_function* initialize = nullptr;
    kx::vector_transform_function* transform_8 = nullptr;
    kx::vector_transform_function* transform_16 = nullptr;
    kx::vector_module_terminate_function* terminate = nullptr;

    std::array<float, 9> identity{1, 0, 0, 0, 1, 0, 0, 0, 1};
    std::vector<std::uint16_t> input = std::vector<std::uint16_t>(3 * std::size_t{pixels}, 5);
    std::vector<std::uint16_t> output = std::vector<std::uint16_t>(3 * std::size_t{pixels}, 0xABCD);
    kx::transform_parameters record{};
};

TEST_P(vector_module_test, converts_only_between_its_first_initialize_and_its_last_terminate)
{
    expect_nothing_done();
    if (initialize() != 0) {
        expect_nothing_done();
        GTEST_SKIP() << "this machine cannot run the module";
    }
    EXPECT_EQ(initialize(), 0);
    terminate();
    EXPECT_GT(transform_8(&record), 0U);
    EXPECT_GT(transform_16(&record), 0U);
    EXPECT_EQ(output.front(), 5);
    output.assign(output.size(), 0xABCD);
    terminate();
    expect_nothing_done();
}

TEST_P(vector_module_test, does_nothing_for_no_pixels)
{
    initialize();
    for (const std::int32_t count : {0, -1, -pixels, std::numeric_limits<std::int32_t>::min()}) {
        record.pixel_count = count;
        expect_nothing_done();
    }
    terminate();
}

INSTANTIATE_TEST_SUITE_P(both, vector_module_test, testing::Values(kx::sse_module_names, kx::avx2_module_names),
                         [](const auto& info) { return info.index == 0 ? "sse" : "avx2"; });

TEST(vector_module_support, needs_every_feature_of_processor_and_operating_system)
{
    constexpr std::uint32_t ssse3 = 1U << 9, sse4_1 = 1U << 19, osxsave = 1U << 27, avx = 1U << 28, avx2 = 1U << 5;
    const auto sse = [](std::uint32_t leaf_1_ecx) {
        return kx::vector::supports_sse([=](std::uint32_t leaf, std::uint32_t) {
            return cpuid_registers{7, 0, leaf == 1 ? leaf_1_ecx : 0, 0};
        });
    };
    EXPECT_TRUE(sse(ssse3 | sse4_1));
    EXPECT_FALSE(sse(sse4_1));
    EXPECT_FALSE(sse(ssse3));

    const auto wide = [](std::uint32_t highest_leaf, std::uint32_t leaf_1_ecx, std::uint32_t leaf_7_ebx,
                         std::uint64_t state) {
        const auto cpuid = [=](std::uint32_t leaf, std::uint32_t) {
            return cpuid_registers{leaf == 0 ? highest_leaf : 0, leaf == 7 ? leaf_7_ebx : 0, leaf == 1 ? leaf_1_ecx : 0,
                                   0};
        };
        // Reading the register state where the operating system did not enable that would crash.
        const auto read_state = [=] {
            EXPECT_NE(leaf_1_ecx & osxsave, 0U);
            return state;
        };
        return kx::vector::supports_avx2(cpuid, read_state);
    };
    EXPECT_TRUE(wide(7, osxsave | avx, avx2, 0x7));
    EXPECT_FALSE(wide(6, osxsave | avx, avx2, 0x7));
    EXPECT_FALSE(wide(7, avx, avx2, 0x7));
    EXPECT_FALSE(wide(7, osxsave, avx2, 0x7));
    EXPECT_FALSE(wide(7, osxsave | avx, 0, 0x7));
    EXPECT_FALSE(wide(7, osxsave | avx, avx2, 0x3));
    EXPECT_FALSE(wide(7, osxsave | avx, avx2, 0x5));
}

} // namespace
