// The LUT module through its exported functions.
#include "LUT/korvex_kvi_LUT.h"
#include "support/shared_library.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

class LUT_module_test : public testing::Test {
protected:
    LUT_module_test()
    {
        module.find("kx_LUT_module_initialize", initialize);
        module.find("kx_create_LUT_test", create_LUT);
        module.find("kx_get_LUT_data", get_LUT_data);
        module.find("kx_LUT_transform_16", transform_16);
        module.find("kx_destroy_LUT", destroy_LUT);
        module.find("kx_LUT_module_terminate", terminate);
    }

    using LUT_pointer = std::unique_ptr<void, kx::destroy_LUT_function*>;

    LUT_pointer create(std::int32_t entry_count, std::int32_t for_avx2 = 0) const
    {
        return {create_LUT(entry_count, for_avx2), destroy_LUT};
    }

    // A LUT with these entries.
    LUT_pointer create_with(const std::vector<std::uint32_t>& entries) const
    {
        LUT_pointer LUT = create(static_cast<std::int32_t>(entries.size()));
        std::ranges::copy(entries, get_LUT_data(LUT.get()));
        return LUT;
    }

    kx_test::shared_library module{KX_MODULE_FILE};
    kx::LUT_module_initialize_function* initialize = nullptr;
    kx::create_LUT_function* create_LUT = nullptr;
    kx::get_LUT_data_function* get_LUT_data = nullptr;
    kx::LUT_transform_16_function* transform_16 = nullptr;
    kx::destroy_LUT_function* destroy_LUT = nullptr;
    kx::LUT_module_terminate_function* terminate = nullptr;
};

TEST_F(LUT_module_test, tables_of_every_size_are_aligned_zero_and_separate)
{
    // All exist at once and each is filled with a value of its own, so that overlapping storage shows.
    std::vector<LUT_pointer> tables;
    const auto count_of = [](std::size_t index) { return std::size_t{1} << (index / 2); };
    for (std::size_t i = 0; i < 34; ++i) {
        const std::size_t count = count_of(i);
        tables.push_back(create(static_cast<std::int32_t>(count), static_cast<std::int32_t>(i % 2)));
        std::uint32_t* data = get_LUT_data(tables.back().get());
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 64, 0U) << count;
        EXPECT_TRUE(std::all_of(data, data + count, [](std::uint32_t entry) { return entry == 0; })) << count;
        std::fill_n(data, count, 0xABCD0000U + static_cast<std::uint32_t>(i));
    }
    for (std::size_t i = 0; i < tables.size(); ++i) {
        const std::uint32_t* data = get_LUT_data(tables[i].get());
        const std::uint32_t value = 0xABCD0000U + static_cast<std::uint32_t>(i);
        EXPECT_EQ(std::count(data, data + count_of(i), value), static_cast<std::ptrdiff_t>(count_of(i))) << i;
    }
}

TEST_F(LUT_module_test, refuses_counts_that_are_no_power_of_two_up_to_65536)
{
    constexpr std::int32_t smallest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t largest = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t count : {smallest, -65536, -1, 0, 3, 255, 257, 65535, 65537, 131072, 1 << 30, largest}) {
        EXPECT_THROW(create(count), std::invalid_argument) << count;
    }
}

TEST_F(LUT_module_test, tables_survive_terminate)
{
    EXPECT_EQ(initialize(), 0);
    const LUT_pointer LUT = create_with({7, 8});
    EXPECT_EQ(terminate(), 0);
    EXPECT_EQ(terminate(), 0);
    EXPECT_EQ(get_LUT_data(LUT.get())[1], 8U);
}

TEST_F(LUT_module_test, null_is_no_LUT)
{
    std::uint16_t sample = 5;
    EXPECT_EQ(get_LUT_data(nullptr), nullptr);
    EXPECT_EQ(destroy_LUT(nullptr), 0);
    EXPECT_EQ(transform_16(nullptr, &sample, &sample, 1), kx::LUT_transform_invalid_argument);
    EXPECT_EQ(transform_16(nullptr, &sample, &sample, 0), kx::LUT_transform_invalid_argument);
    EXPECT_EQ(sample, 5);
}

TEST_F(LUT_module_test, maps_every_sample_to_the_low_half_of_its_entry)
{
    std::vector<std::uint32_t> entries(65536);
    for (std::uint32_t i = 0; i < 65536; ++i) {
        entries[i] = (~i << 16U) | (i * 40503U & 0xFFFFU);
    }
    const LUT_pointer LUT = create_with(entries);
    std::vector<std::uint16_t> input(65536);
    std::iota(input.begin(), input.end(), std::uint16_t{0});
    std::vector<std::uint16_t> expected(65536);
    std::ranges::transform(input, expected.begin(),
                           [](std::uint16_t sample) { return static_cast<std::uint16_t>(sample * 40503U); });

    std::vector<std::uint16_t> output(65536);
    EXPECT_EQ(transform_16(LUT.get(), input.data(), output.data(), 65536), kx::LUT_transform_done);
    EXPECT_EQ(output, expected);
    EXPECT_EQ(transform_16(LUT.get(), input.data(), input.data(), 65536), kx::LUT_transform_done) << "in place";
    EXPECT_EQ(input, expected);
}

TEST_F(LUT_module_test, writes_count_samples_and_no_more)
{
    const LUT_pointer LUT = create_with({100, 101, 102, 103});
    const std::vector<std::uint16_t> input{3, 2, 1, 0};
    std::vector<std::uint16_t> output(4, 9);
    EXPECT_EQ(transform_16(LUT.get(), input.data(), output.data(), 3), kx::LUT_transform_done);
    EXPECT_THAT(output, ElementsAre(103, 102, 101, 9));
    EXPECT_EQ(transform_16(LUT.get(), nullptr, nullptr, 0), kx::LUT_transform_done);
}

TEST_F(LUT_module_test, a_refused_transform_writes_nothing)
{
    const LUT_pointer one = create_with({7});
    const LUT_pointer four = create_with({7, 7, 7, 7});
    struct refusal {
        void* LUT;
        std::vector<std::uint16_t> input;
        std::int32_t count;
        std::int32_t status;
    };
    const refusal refusals[] = {
        {four.get(), {0, 1, 4}, 3, kx::LUT_transform_sample_out_of_range},
        {four.get(), {65535, 0, 0}, 3, kx::LUT_transform_sample_out_of_range},
        {one.get(), {0, 1, 0}, 3, kx::LUT_transform_sample_out_of_range},
        {four.get(), {0, 1, 2}, -1, kx::LUT_transform_invalid_argument},
        {four.get(), {0, 1, 2}, std::numeric_limits<std::int32_t>::min(), kx::LUT_transform_invalid_argument},
    };
    for (const refusal& refused : refusals) {
        std::vector<std::uint16_t> output(3, 9);
        EXPECT_EQ(transform_16(refused.LUT, refused.input.data(), output.data(), refused.count), refused.status);
        EXPECT_THAT(output, Each(9));
        EXPECT_EQ(transform_16(refused.LUT, nullptr, output.data(), 3), kx::LUT_transform_invalid_argument);
        EXPECT_THAT(output, Each(9));
        EXPECT_EQ(transform_16(refused.LUT, refused.input.data(), nullptr, 3), kx::LUT_transform_invalid_argument);
    }
    // A sample beyond the count is none of the transform's business.
    std::vector<std::uint16_t> samples{0, 4};
    EXPECT_EQ(transform_16(four.get(), samples.data(), samples.data(), 1), kx::LUT_transform_done);
    EXPECT_THAT(samples, ElementsAre(7, 4));
}

TEST_F(LUT_module_test, overlapping_buffers_do_not_lead_outside_the_table)
{
    // Each output becomes the next input, which was a valid sample when it was checked. The result is
    // nobody's promise, but it consists of entries; the address sanitizer watches the reads.
    const LUT_pointer LUT = create_with({40000, 50000});
    std::vector<std::uint16_t> samples(1000, 1);
    EXPECT_EQ(transform_16(LUT.get(), samples.data(), samples.data() + 1, 999), kx::LUT_transform_done);
    EXPECT_THAT(std::vector(samples.begin() + 1, samples.end()), Each(testing::AnyOf(40000, 50000)));
}

TEST_F(LUT_module_test, unloading_releases_the_module)
{
    module.close();
    ASSERT_FALSE(kx_test::shared_library::is_loaded(KX_MODULE_FILE));
    for (int cycle = 0; cycle < 10; ++cycle) {
        kx_test::shared_library again(KX_MODULE_FILE);
        again.find("kx_create_LUT_test", create_LUT);
        again.find("kx_destroy_LUT", destroy_LUT);
        void* LUT = create_LUT(1024, 1);
        EXPECT_NE(LUT, nullptr);
        EXPECT_THROW(create_LUT(0, 0), std::invalid_argument);
        destroy_LUT(LUT);
        EXPECT_TRUE(kx_test::shared_library::is_loaded(KX_MODULE_FILE));
        again.close();
        ASSERT_FALSE(kx_test::shared_library::is_loaded(KX_MODULE_FILE)) << cycle;
    }
}

} // namespace
