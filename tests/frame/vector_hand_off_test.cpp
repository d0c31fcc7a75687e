// What a vector module sees of a transform, the colour matrix above all.
#include "frame/frame_test.h"

#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

namespace kx_test {

namespace {

using matrix3x3 = std::array<float, 9>;
using bit_patterns = std::array<std::uint32_t, 9>;

constexpr matrix3x3 identity{1, 0, 0, 0, 1, 0, 0, 0, 1};

bit_patterns bits_of(const matrix3x3& matrix)
{
    return std::bit_cast<bit_patterns>(matrix);
}

class matrix_test : public initialized_test {
protected:
    // The processor's matrix, through the record of a transform at level 1.
    matrix3x3 matrix_of(kx_color_processor* processor)
    {
        small_image image(1);
        EXPECT_EQ(transform_exports[0].call(kx, processor, image.request()), 0);
        return recorder.seen_matrix;
    }
    matrix3x3 after_appending(kx_color_processor* processor, const matrix3x3& appended)
    {
        EXPECT_EQ(kx.append_matrix(processor, appended.data()), 0);
        return matrix_of(processor);
    }
    matrix3x3 product(const matrix3x3& first, const matrix3x3& second)
    {
        kx_color_processor* const processor = create(1);
        after_appending(processor, first);
        return after_appending(processor, second);
    }
};

TEST_F(matrix_test, appended_last_acts_first_on_its_own_processor)
{
    kx_color_processor* const processor = create(1);
    kx_color_processor* const other = create(1);
    EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(identity));
    const matrix3x3 first{1, 2, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(after_appending(processor, first), first);
    EXPECT_EQ(after_appending(processor, {1, 0, 0, 3, 1, 0, 0, 0, 1}), (matrix3x3{7, 2, 0, 3, 1, 0, 0, 0, 1}));
    EXPECT_EQ(matrix_of(other), identity);
}

TEST_F(matrix_test, every_product_and_sum_is_rounded_in_order)
{
    const matrix3x3 tenth{0.1F, 0, 0, 0, 1, 0, 0, 0, 1};
    EXPECT_EQ(bits_of(product(tenth, tenth))[0], 0x3C23D70BU);

    // Row 0 adds 2^24 + 1 + 1 from the left, which is 2^24 at each step, and row 1 1 + 1 + 2^24, which is
    // 2^24 + 2. Row 2 loses a product's low bits that a fused multiply-add would keep: (1 + e)^2 - (1 + 2e).
    const float large = 0x1p24F;
    const float e = 0x1p-13F;
    const matrix3x3 order = product({large, 1, 1, 1, 1, large, 1 + 2 * e, 1 + e, 0}, {1, 0, -1, 1, 0, 1 + e, 1, 0, 0});
    EXPECT_EQ(order[0], large);
    EXPECT_EQ(order[3], large + 2);
    EXPECT_EQ(order[8], 0.0F);
}

TEST_F(matrix_test, special_values_are_multiplied_as_they_are_until_cleared)
{
    // Appending makes -0 to +0.
    const matrix3x3 negative_zeros{-0.0F, -2, -0.0F, 3, -0.0F, -0.0F, -0.0F, 5e-45F, 7};
    const matrix3x3 positive_zeros{0, -2, 0, 3, 0, 0, 0, 5e-45F, 7};
    kx_color_processor* const processor = create(1);
    EXPECT_EQ(bits_of(after_appending(processor, negative_zeros)), bits_of(positive_zeros));
    EXPECT_EQ(bits_of(after_appending(processor, identity)), bits_of(positive_zeros));
    EXPECT_EQ(kx.clear_matrix(processor), 0);
    EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(identity));

    // A product may become infinite; infinity times 0 is then NaN, in its own row alone.
    const matrix3x3 huge{1, 0, 0, 0, 1e38F, 0, 0, 0, 2};
    const matrix3x3 infinite{1, 0, 0, 0, std::numeric_limits<float>::infinity(), 0, 0, 0, 4};
    after_appending(processor, huge);
    EXPECT_EQ(after_appending(processor, huge), infinite);
    matrix3x3 spread = after_appending(processor, identity);
    EXPECT_TRUE(std::isnan(spread[3]) && std::isnan(spread[5]));
    spread[3] = spread[5] = 0;
    EXPECT_EQ(spread, infinite);
    EXPECT_EQ(kx.clear_matrix(processor), 0);
    EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(identity));
}

using LUT_test = initialized_test;

TEST_F(LUT_test, getters_return_what_the_module_returns)
{
    const decltype(kx.get_blue_input_LUT) getters[] = {
        kx.get_blue_input_LUT,  kx.get_green_input_LUT,  kx.get_red_input_LUT,
        kx.get_blue_output_LUT, kx.get_green_output_LUT, kx.get_red_output_LUT,
    };
    kx_color_processor* const first = create();
    kx_color_processor* const second = create();
    std::int32_t number = 0;
    for (kx_color_processor* processor : {first, second}) {
        for (const auto& getter : getters) {
            ++number;
            EXPECT_EQ(getter(processor), recorder.LUT_data(number));
            EXPECT_EQ(events(), LUTs_fetched(number, number));
        }
    }
    recorder.LUTs[2].clear();
    EXPECT_EQ(kx.get_green_input_LUT(first), nullptr) << "not even null is doubted";
}

class vector_hand_off : public initialized_test {
protected:
    template <typename type>
    [[nodiscard]] type field(std::size_t offset) const
    {
        type value;
        std::memcpy(&value, recorder.seen_record.data() + offset, sizeof value);
        return value;
    }
};

TEST_F(vector_hand_off, record_carries_every_argument_at_its_offset)
{
    const std::array<float, 9> appended{1.5F, -2, 3, 4, 5.25F, -6, 7, 8, 9};
    const std::array<std::uint16_t, 6> clamps{0x0102, 0xF304, 0x0506, 0xF708, 0x090A, 0xFB0C};
    for (const std::int32_t level : {1, 2}) {
        standins::reset();
        kx_color_processor* const processor = create(level, 16, 16);
        kx.append_matrix(processor, appended.data());
        small_image image(4);
        transform_request request = image.request();
        request.blue_min = clamps[0], request.blue_max = clamps[1];
        request.green_min = clamps[2], request.green_max = clamps[3];
        request.red_min = clamps[4], request.red_max = clamps[5];
        request.blue_shift = 3, request.green_shift = -15, request.red_shift = 15;
        request.input_format = -7;
        request.output_format = KX_COLOR_INTERLEAVED_RGB;

        for (int flags = 0; flags < 64; ++flags) {
            constexpr std::int32_t on[] = {1, -1, 2, 0x100, 0x10000, INT32_MIN};
            const auto flag = [&](int bit) { return (flags >> bit & 1) * on[(bit + flags) % 6]; };
            EXPECT_EQ(kx.enable_input_LUTs(processor, flag(0), flag(1), flag(2)), 0);
            EXPECT_EQ(kx.enable_output_LUTs(processor, flag(3), flag(4), flag(5)), 0);
            EXPECT_EQ(events(), lines{}) << "switches are no matter of the LUT module";
            for (const transform_export& tested : transform_exports) {
                SCOPED_TRACE(testing::Message() << tested << " flags " << flags);
                recorder.seen_record = {};
                ASSERT_EQ(tested.call(kx, processor, request), 0);
                EXPECT_EQ(events(), LUTs_fetched(1, 6) + vector_call(level == 2 ? "avx2" : "sse", tested)
                                        + lines{timing_line(tested)});
                EXPECT_EQ(field<const void*>(0), request.input);
                EXPECT_EQ(field<std::int32_t>(8), -7);
                const std::size_t LUT_offsets[] = {16, 32, 48, 88, 104, 120};
                for (int LUT = 0; LUT < 6; ++LUT) {
                    EXPECT_EQ(field<const std::uint32_t*>(LUT_offsets[LUT]), recorder.LUT_data(LUT + 1));
                    EXPECT_EQ(field<std::uint8_t>(LUT_offsets[LUT] + 8), flags >> LUT & 1);
                }
                EXPECT_EQ(recorder.seen_matrix, appended) << "which offset 64 points to";
                EXPECT_EQ((field<std::array<std::uint16_t, 6>>(72)), clamps);
                EXPECT_EQ((field<std::array<std::int32_t, 3>>(132)), (std::array<std::int32_t, 3>{3, -15, 15}));
                EXPECT_EQ(field<void*>(144), request.output);
                EXPECT_EQ(field<std::int32_t>(152), 2);
                EXPECT_EQ(field<std::uint8_t>(156), tested.samples_per_pixel == 4 ? 1 : 0);
                EXPECT_EQ(field<std::int32_t>(160), 4);
            }
        }
        destroy_all();
    }
}

} // namespace

} // namespace kx_test
