// The colour matrix as vector modules see it, and the LUT getters and switches.
#include "frame/frame_test.h"

#include <array>
#include <bit>
#include <cmath>
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
        return std::to_array(standins_the_seen_record()->matrix);
    }
    matrix3x3 after_appending(const matrix3x3& first, const matrix3x3& second)
    {
        kx_color_processor* const processor = create(1);
        EXPECT_EQ(kx.append_matrix(processor, first.data()), 0);
        EXPECT_EQ(kx.append_matrix(processor, second.data()), 0);
        return matrix_of(processor);
    }
};

TEST_F(matrix_test, appended_last_acts_first)
{
    kx_color_processor* const processor = create(1);
    EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(identity));
    const matrix3x3 A1{1, 2, 0, 0, 1, 0, 0, 0, 1};
    const matrix3x3 A2{1, 0, 0, 3, 1, 0, 0, 0, 1};
    EXPECT_EQ(kx.append_matrix(processor, A1.data()), 0);
    EXPECT_EQ(matrix_of(processor), A1);
    EXPECT_EQ(kx.append_matrix(processor, A2.data()), 0);
    EXPECT_EQ(matrix_of(processor), (matrix3x3{7, 2, 0, 3, 1, 0, 0, 0, 1}));

    // And the kernels use it so: red 10, green 20, blue 30.
    const std::uint16_t pixel[] = {30, 20, 10};
    std::uint16_t converted[3] = {};
    transform_request request;
    request.input = pixel;
    request.output = converted;
    request.pixel_count = 1;
    EXPECT_EQ(transform_exports[0].call(kx, processor, request), 0);
    EXPECT_EQ(std::to_array(converted), (std::array<std::uint16_t, 3>{30, 50, 110}));
}

TEST_F(matrix_test, every_product_and_sum_is_rounded_in_order)
{
    const float tenth = 0.1F;
    const matrix3x3 squared = after_appending({tenth, 0, 0, 0, 1, 0, 0, 0, 1}, {tenth, 0, 0, 0, 1, 0, 0, 0, 1});
    EXPECT_EQ(bits_of(squared)[0], 0x3C23D70BU);

    // Row 0 adds 2^24 + 1 + 1 from the left, which is 2^24 at each step, and row 1 1 + 1 + 2^24, which is
    // 2^24 + 2. Row 2 loses a product's low bits that a fused multiply-add would keep: (1 + e)^2 - (1 + 2e).
    const float large = 0x1p24F;
    const float e = 0x1p-13F;
    const matrix3x3 order =
        after_appending({large, 1, 1, 1, 1, large, 1 + 2 * e, 1 + e, 0}, {1, 0, -1, 1, 0, 1 + e, 1, 0, 0});
    EXPECT_EQ(order[0], large);
    EXPECT_EQ(order[3], large + 2);
    EXPECT_EQ(order[8], 0.0F);
}

TEST_F(matrix_test, special_values_are_multiplied_as_they_are)
{
    // Appending makes -0 to +0, also where clear was called before.
    const matrix3x3 negative_zeros{-0.0F, -2, -0.0F, 3, -0.0F, -0.0F, -0.0F, 5e-45F, 7};
    const matrix3x3 positive_zeros{0, -2, 0, 3, 0, 0, 0, 5e-45F, 7};
    kx_color_processor* processor = create(1);
    EXPECT_EQ(kx.append_matrix(processor, negative_zeros.data()), 0);
    EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(positive_zeros));
    EXPECT_EQ(kx.append_matrix(processor, identity.data()), 0);
    EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(positive_zeros));

    // A product may become infinite; infinity times 0 is then NaN, in its own row alone.
    const matrix3x3 huge{1, 0, 0, 0, 1e38F, 0, 0, 0, 2};
    processor = create(1);
    EXPECT_EQ(kx.append_matrix(processor, huge.data()), 0);
    EXPECT_EQ(kx.append_matrix(processor, huge.data()), 0);
    constexpr float infinity = std::numeric_limits<float>::infinity();
    EXPECT_EQ(matrix_of(processor), (matrix3x3{1, 0, 0, 0, infinity, 0, 0, 0, 4}));
    EXPECT_EQ(kx.append_matrix(processor, identity.data()), 0);
    matrix3x3 spread = matrix_of(processor);
    EXPECT_TRUE(std::isnan(spread[3]) && std::isnan(spread[5]));
    spread[3] = spread[5] = 0;
    EXPECT_EQ(spread, (matrix3x3{1, 0, 0, 0, infinity, 0, 0, 0, 4}));
}

TEST_F(matrix_test, clear_restores_the_identity)
{
    kx_color_processor* const processor = create(1);
    const matrix3x3 zero{};
    const matrix3x3 NaNs{NAN, NAN, NAN, NAN, NAN, NAN, NAN, NAN, NAN};
    for (const matrix3x3& unwanted : {zero, NaNs}) {
        EXPECT_EQ(kx.append_matrix(processor, unwanted.data()), 0);
        EXPECT_NE(bits_of(matrix_of(processor)), bits_of(identity));
        EXPECT_EQ(kx.clear_matrix(processor), 0);
        EXPECT_EQ(bits_of(matrix_of(processor)), bits_of(identity));
    }
}

TEST_F(matrix_test, processors_keep_matrices_of_their_own)
{
    kx_color_processor* const changed = create(1);
    kx_color_processor* const other = create(1);
    const matrix3x3 appended{2, 0, 0, 0, 2, 0, 0, 0, 2};
    EXPECT_EQ(kx.append_matrix(changed, appended.data()), 0);
    EXPECT_EQ(kx.append_matrix(nullptr, appended.data()), 2);
    EXPECT_EQ(kx.clear_matrix(nullptr), 2);
    EXPECT_EQ(matrix_of(changed), appended);
    EXPECT_EQ(matrix_of(other), identity);
}

class LUT_test : public initialized_test {
protected:
    decltype(color_processing_exports::get_blue_input_LUT) getters[6] = {
        kx.get_blue_input_LUT,  kx.get_green_input_LUT,  kx.get_red_input_LUT,
        kx.get_blue_output_LUT, kx.get_green_output_LUT, kx.get_red_output_LUT,
    };
};

TEST_F(LUT_test, getters_return_what_the_module_returns)
{
    kx_color_processor* const first = create();
    kx_color_processor* const second = create();
    std::int32_t number = 1;
    for (kx_color_processor* processor : {first, second}) {
        for (const auto& getter : getters) {
            for (int again = 0; again < 2; ++again) {
                EXPECT_EQ(getter(processor), standins_LUT_data(number));
                EXPECT_EQ(events(), LUTs_fetched(number, number));
            }
            ++number;
        }
    }
    EXPECT_TRUE(standins_destroy_LUT(2));
    EXPECT_EQ(kx.get_green_input_LUT(first), nullptr) << "not even null is doubted";
}

TEST_F(LUT_test, each_LUT_has_its_own_switch_and_channel)
{
    // Every LUT maps the identity's value to one that tells it from all others, in the low 16 bits alone.
    kx_color_processor* const processor = create(0, 16, 16);
    for (std::uint32_t LUT = 0; LUT < 6; ++LUT) {
        std::uint32_t* const data = getters[LUT](processor);
        for (std::uint32_t entry = 0; entry < 65536; ++entry) {
            data[entry] = 0x00010000U * (LUT + 1) + (entry + 0x0111 * (LUT + 1)) % 65536;
        }
    }
    events();
    small_image image(4);
    for (const std::int32_t on : {1, -1, 2, 0x100, INT32_MIN}) {
        for (int flags = 0; flags < 64; ++flags) {
            const auto flag = [&](int bit) { return (flags >> bit & 1) * on; };
            EXPECT_EQ(kx.enable_input_LUTs(processor, flag(0), flag(1), flag(2)), 0);
            EXPECT_EQ(kx.enable_output_LUTs(processor, flag(3), flag(4), flag(5)), 0);
            EXPECT_EQ(events(), lines{}) << "switches are no matter of the LUT module";
            for (const transform_export& tested : {transform_exports[0], transform_exports[2]}) {
                SCOPED_TRACE(testing::Message() << tested << " flags " << flags << " on " << on);
                EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
                for (std::size_t i = 0; i < 12; ++i) {
                    const std::size_t channel = i % 3;
                    std::size_t value = image.input(i / 3, channel);
                    value += (flags >> channel & 1) != 0 ? 0x0111 * (channel + 1) : 0;
                    value += (flags >> (channel + 3) & 1) != 0 ? 0x0111 * (channel + 4) : 0;
                    ASSERT_EQ(image.output(tested, i), value & (tested.sample_bytes == 1 ? 0xFF : 0xFFFF));
                }
            }
            events();
        }
    }
}

} // namespace

} // namespace kx_test
