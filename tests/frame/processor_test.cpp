// What a processor keeps: its matrix, as a vector module sees it, and its LUTs.
#include "frame/frame_test.h"

#include <array>
#include <bit>

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

} // namespace

} // namespace kx_test
