// The LUT module through its exported functions.
#include "LUT/korvex_kvi_LUT.h"
#include "support/shared_library.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <vector>

namespace {

using testing::Each;
using testing::ElementsAre;

class LUT_module_test : public testing::Test {
protected:
    using LUT_pointer = std::unique_ptr<void, kx::destroy_LUT_function*>;

    LUT_pointer create_with(const std::vector<std::uint32_t>& entries) const
    {
        LUT_pointer LUT{create_LUT(static_cast<std::int32_t>(entries.size()), 0), destroy_LUT};
        std::ranges::copy(entries, get_LUT_data(LUT.get()));
        return LUT;
    }

    kx_test::shared_library module{KX_MODULE_FILE};
    kx::LUT_module_initialize_function* initialize = module.find("kx_LUT_module_initialize");
    kx::create_LUT_function* create_LUT = module.find("kx_create_LUT_test");
    kx::get_LUT_data_function* get_LUT_data = module.find("kx_get_LUT_data");
    kx::LUT_transform_16_function* transform_16 = module.find("kx_LUT_transform_16");
    kx::destroy_LUT_function* destroy_LUT = module.find("kx_destroy_LUT");
    kx::LUT_module_terminate_function* terminate = module.find("kx_LUT_module_terminate");
};

TEST_F(LUT_module_test, tables_of_every_size_are_aligned_zero_and_separate)
{
    // All exist at once and each is filled with a value of its own, so that overlapping storage shows.
    std::vector<LUT_pointer> tables;
    for (std::uint32_t i = 0; i < 17; ++i) {
        const std::ptrdiff_t count = std::ptrdiff_t{1} << i;
        create_with(std::vector<std::uint32_t>(static_cast<std::size_t>(count), ~0U)); // leaves its memory to the next
        tables.emplace_back(create_LUT(static_cast<std::int32_t>(count), i % 2), destroy_LUT);
        std::uint32_t* const data = get_LUT_data(tables[i].get());
        ASSERT_NE(data, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data) % 64, 0U) << count;
        EXPECT_EQ(std::count(data, data + count, 0U), count);
        std::fill_n(data, count, i + 1);
    }
    for (std::uint32_t i = 0; i < 17; ++i) {
        const std::uint32_t* const data = get_LUT_data(tables[i].get());
        EXPECT_EQ(std::count(data, data + (1 << i), i + 1), 1 << i);
    }
    for (const std::int32_t count : {INT32_MIN, -1, 0, 3, 65535, 131072}) {
        EXPECT_THROW(create_LUT(count, 0), std::invalid_argument) << count;
    }
}

TEST_F(LUT_module_test, maps_every_sample_to_the_low_half_of_its_entry)
{
    EXPECT_EQ(initialize(), 0);
    std::vector<std::uint32_t> entries(65536);
    std::vector<std::uint16_t> input(65536);
    std::vector<std::uint16_t> expected(65536);
    std::iota(input.begin(), input.end(), std::uint16_t{0});
    for (std::uint32_t i = 0; i < 65536; ++i) {
        expected[i] = static_cast<std::uint16_t>(i * 40503U);
        entries[i] = (~i << 16U) | expected[i];
    }
    const LUT_pointer LUT = create_with(entries);
    EXPECT_EQ(terminate(), 0); // LUTs outlive it

    std::vector<std::uint16_t> output(65536);
    EXPECT_EQ(transform_16(LUT.get(), input.data(), output.data(), 65536), kx::LUT_transform_done);
    EXPECT_EQ(output, expected);
    EXPECT_EQ(transform_16(LUT.get(), input.data(), input.data(), 65536), kx::LUT_transform_done) << "in place";
    EXPECT_EQ(input, expected);
}

TEST_F(LUT_module_test, writes_count_samples_or_when_refused_none)
{
    const LUT_pointer LUT = create_with({100, 101, 102, 103});
    std::vector<std::uint16_t> output(3, 9);
    const auto transform = [&](void* table, const std::vector<std::uint16_t>& input, std::int32_t count) {
        return transform_16(table, input.data(), output.data(), count);
    };
    EXPECT_EQ(transform(LUT.get(), {0, 1, 4}, 3), kx::LUT_transform_sample_out_of_range);
    EXPECT_EQ(transform(LUT.get(), {65535, 0, 0}, 3), kx::LUT_transform_sample_out_of_range);
    EXPECT_EQ(transform(LUT.get(), {0, 1, 2}, -1), kx::LUT_transform_invalid_argument);
    EXPECT_EQ(transform(LUT.get(), {}, 3), kx::LUT_transform_invalid_argument); // a null input
    EXPECT_EQ(transform(LUT.get(), {}, 0), kx::LUT_transform_done);
    EXPECT_EQ(transform(nullptr, {0, 1, 2}, 0), kx::LUT_transform_invalid_argument);
    EXPECT_THAT(output, Each(9));
    EXPECT_EQ(transform(LUT.get(), {3, 2, 65535}, 2), kx::LUT_transform_done) << "no sample beyond the count matters";
    EXPECT_THAT(output, ElementsAre(103, 102, 9));
    const std::uint16_t sample = 0;
    EXPECT_EQ(transform_16(LUT.get(), &sample, nullptr, 1), kx::LUT_transform_invalid_argument);
    EXPECT_EQ(get_LUT_data(nullptr), nullptr);
    EXPECT_EQ(destroy_LUT(nullptr), 0);
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

} // namespace
