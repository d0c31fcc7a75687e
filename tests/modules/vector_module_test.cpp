// The vector modules through their exported functions: when they convert and when they refuse. What they convert is
// tested with the pixels.
#include "companion_interfaces/vector_module.h"
#include "support/shared_library.h"
#include "vector/supported_features.h"

#include <gmock/gmock.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using kx::platform::cpuid_registers;
using testing::Each;

constexpr std::int32_t pixels = 100;
constexpr std::uint32_t osxsave = 1U << 27;

class vector_module_test : public testing::TestWithParam<kx::vector_module_names> {
protected:
    vector_module_test()
    {
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
    kx::vector_module_initialize_function* initialize = module.find(GetParam().initialize);
    kx::vector_transform_function* transform_8 = module.find(GetParam().transform_8_bit_output);
    kx::vector_transform_function* transform_16 = module.find(GetParam().transform_16_bit_output);
    kx::vector_module_terminate_function* terminate = module.find(GetParam().terminate);

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
        ASSERT_FALSE(kx::platform::on_arm64) << "every such machine can run its module";
        GTEST_SKIP() << "this machine cannot run the module";
    }
    EXPECT_EQ(initialize(), 0);
    terminate();
    EXPECT_GT(transform_8(&record), 0U);
    EXPECT_GT(transform_16(&record), 0U);
    EXPECT_EQ(output.front(), 5);
#if !defined(KX_ARM64)
    if (GetParam().base_name == std::string(kx::avx2_module_names.base_name)) {
        record.pixel_count = 31; // the registers' width shows in what is left over
        const bool wide = kx::vector::supports_avx512(kx::platform::cpuid, kx::platform::enabled_register_state);
        EXPECT_EQ(transform_8(&record), wide ? 0U : 16U);
        EXPECT_EQ(transform_16(&record), wide ? 0U : 16U);
        record.pixel_count = pixels;
    }
#endif
    output.assign(output.size(), 0xABCD);
    terminate();
    expect_nothing_done();
}

#if defined(KX_ARM64)
const auto modules = testing::Values(kx::neon_module_names);
#else
const auto modules = testing::Values(kx::sse_module_names, kx::avx2_module_names);
#endif
INSTANTIATE_TEST_SUITE_P(all, vector_module_test, modules,
                         [](const auto& info) { return std::string(info.param.base_name); });

// What a machine reports: registers ecx of leaf 1, ebx and ecx of leaf 7.
struct machine {
    std::uint32_t words[3];
    std::uint64_t state;
};

// Each bit that a unit needs is missed.
template <typename check>
void expect_all_needed(check supported, machine has)
{
    const auto is_supported = [&] {
        const auto cpuid = [&](std::uint32_t leaf, std::uint32_t) {
            return leaf == 0   ? cpuid_registers{7, 0, 0, 0}
                   : leaf == 1 ? cpuid_registers{0, 0, has.words[0], 0}
                               : cpuid_registers{0, has.words[1], has.words[2], 0};
        };
        // Reading the register state where the operating system did not enable that would crash.
        const auto read_state = [&] {
            EXPECT_NE(has.words[0] & osxsave, 0U);
            return has.state;
        };
        return supported(cpuid, read_state);
    };
    const auto expect_needed = [&](auto& word) {
        for (auto bits = word; bits != 0; bits &= bits - 1) {
            const auto bit = bits & -bits;
            word ^= bit;
            EXPECT_FALSE(is_supported()) << std::hex << bit;
            word ^= bit;
        }
    };
    EXPECT_TRUE(is_supported());
    for (std::uint32_t& word : has.words) {
        expect_needed(word);
    }
    expect_needed(has.state);
}

TEST(vector_module_support, needs_every_feature_of_processor_and_operating_system)
{
    constexpr std::uint32_t ssse3 = 1U << 9, sse4_1 = 1U << 19, avx = 1U << 28;
    constexpr std::uint32_t avx2 = 1U << 5, avx512_f_bw_vl = 1U << 16 | 1U << 30 | 1U << 31, vbmi = 1U << 1;
    expect_all_needed([](auto... of) { return kx::vector::supports_sse(of...); }, {{ssse3 | sse4_1, 0, 0}, 0});
    expect_all_needed([](auto... of) { return kx::vector::supports_avx2(of...); }, {{osxsave | avx, avx2, 0}, 0x6});
    expect_all_needed([](auto... of) { return kx::vector::supports_avx512(of...); },
                      {{osxsave | avx, avx2 | avx512_f_bw_vl, vbmi}, 0xE6});
}

} // namespace
