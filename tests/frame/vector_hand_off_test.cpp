// Which vector module a transform calls, what it sees, and which pixels the scalar kernels then convert.
#include "frame/frame_test.h"
#include "support/sparse_memory.h"

#include <algorithm>
#include <cstring>

namespace kx_test {

namespace {

using vector_hand_off = initialized_test;

TEST_F(vector_hand_off, level_and_usable_modules_decide)
{
    const std::int32_t levels[] = {INT32_MIN, -1, 0, 1, 2, 3, 5, INT32_MAX};
    for (int usable = 0; usable < 4; ++usable) {
        const bool sse_usable = (usable & 1) != 0;
        const bool avx2_usable = (usable & 2) != 0;
        script.vector[standins_sse].initialize_result = sse_usable ? 0 : 1;
        script.vector[standins_avx2].initialize_result = avx2_usable ? 0 : -1;
        for (const std::int32_t level : levels) {
            kx_color_processor* const processor = create(level);
            const std::string module = level == 2 && avx2_usable ? "avx2" : level >= 1 && sse_usable ? "sse" : "";
            for (const transform_export& tested : transform_exports) {
                SCOPED_TRACE(testing::Message() << tested << " at " << level << ", usable " << usable);
                small_image image(3);
                EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
                lines happened = events();
                ASSERT_GE(happened.size(), 7U);
                happened.erase(happened.begin(), happened.begin() + 6); // LUTs, in an order tested below
                EXPECT_EQ(happened, vector_call(module, tested) + lines{timing_line(tested)});
                // Stand-ins convert nothing, so the kernels must have.
                EXPECT_EQ(image.output(tested, 1) & 0xFF, image.input(0, 1) & 0xFF);
            }
        }
        destroy_all();
    }
}

TEST_F(vector_hand_off, LUTs_are_fetched_in_order_whether_or_not_enabled)
{
    small_image image(3);
    for (const std::int32_t level : {0, 2}) {
        standins_reset();
        kx_color_processor* const processor = create(level, 16, 16);
        for (const std::int32_t flag : {0, 1}) {
            kx.enable_input_LUTs(processor, flag, 0, flag);
            kx.enable_output_LUTs(processor, 0, flag, 0);
            for (const transform_export& tested : transform_exports) {
                EXPECT_EQ(tested.call(kx, processor, image.request()), 0);
                lines happened = events();
                happened.resize(6);
                EXPECT_EQ(happened, LUTs_fetched(1, 6));
            }
        }
        destroy_all();
    }
}

template <typename type>
type field(std::size_t offset)
{
    type value;
    std::memcpy(&value, standins_the_seen_record()->bytes + offset, sizeof value);
    return value;
}

TEST_F(vector_hand_off, record_carries_every_argument_at_its_offset)
{
    const float appended[9] = {1.5F, -2, 3, 4, 5.25F, -6, 7, 8, 9};
    for (const std::int32_t level : {1, 2}) {
        standins_reset();
        kx_color_processor* const processor = create(level, 16, 16);
        kx.append_matrix(processor, appended);
        small_image image(4);
        transform_request request = image.request();
        request.blue_min = 0x0102, request.blue_max = 0xF304;
        request.green_min = 0x0506, request.green_max = 0xF708;
        request.red_min = 0x090A, request.red_max = 0xFB0C;
        request.blue_shift = 3, request.green_shift = -15, request.red_shift = 15;
        request.input_format = -7;
        request.output_format = KX_COLOR_INTERLEAVED_RGB;

        for (int flags = 0; flags < 64; ++flags) {
            const auto flag = [flags](int bit) { return (flags >> bit & 1) * (bit + 1); };
            kx.enable_input_LUTs(processor, flag(0), flag(1), flag(2));
            kx.enable_output_LUTs(processor, flag(3), flag(4), flag(5));
            for (const transform_export& tested : transform_exports) {
                SCOPED_TRACE(testing::Message() << tested << " flags " << flags);
                *standins_the_seen_record() = {};
                ASSERT_EQ(tested.call(kx, processor, request), 0);
                EXPECT_EQ(field<const void*>(0), request.input);
                EXPECT_EQ(field<std::int32_t>(8), -7);
                const std::size_t LUT_offsets[] = {16, 32, 48, 88, 104, 120};
                for (int LUT = 0; LUT < 6; ++LUT) {
                    EXPECT_EQ(field<const std::uint32_t*>(LUT_offsets[LUT]), standins_LUT_data(LUT + 1));
                    EXPECT_EQ(field<std::uint8_t>(LUT_offsets[LUT] + 8), flags >> LUT & 1);
                }
                const std::uint16_t clamps[] = {0x0102, 0xF304, 0x0506, 0xF708, 0x090A, 0xFB0C};
                EXPECT_EQ(std::memcmp(standins_the_seen_record()->bytes + 72, clamps, sizeof clamps), 0);
                EXPECT_EQ(field<std::int32_t>(132), 3);
                EXPECT_EQ(field<std::int32_t>(136), -15);
                EXPECT_EQ(field<std::int32_t>(140), 15);
                EXPECT_EQ(field<void*>(144), request.output);
                EXPECT_EQ(field<std::int32_t>(152), 2);
                EXPECT_EQ(field<std::uint8_t>(156), tested.samples_per_pixel == 4 ? 1 : 0);
                EXPECT_EQ(field<std::int32_t>(160), 4);
                EXPECT_NE(field<const void*>(64), nullptr);
                EXPECT_TRUE(std::equal(appended, appended + 9, standins_the_seen_record()->matrix));
            }
        }
        destroy_all();
    }
}

TEST_F(vector_hand_off, kernels_convert_exactly_the_rest)
{
    constexpr std::size_t pixels = 7;
    for (const std::int32_t level : {1, 2}) {
        standins_vector_script& module = script.vector[level == 2 ? standins_avx2 : standins_sse];
        kx_color_processor* const processor = create(level);
        for (const std::uint32_t returned : {0U, 1U, 3U, 6U, 7U, 8U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
            for (const bool fills : {true, false}) {
                module.first_unconverted = returned;
                module.fills_prefix = fills ? 1 : 0;
                for (const std::int32_t format : {0, 1, 2}) {
                    for (const transform_export& tested : transform_exports) {
                        SCOPED_TRACE(testing::Message() << tested << " format " << format << " returned " << returned);
                        const std::uint16_t low_bits = tested.sample_bytes == 1 ? 0xFF : 0xFFFF;
                        const auto untouched = static_cast<std::uint16_t>(0x0101 * small_image::untouched & low_bits);
                        small_image image(pixels);
                        transform_request request = image.request();
                        request.output_format = format;
                        ASSERT_EQ(tested.call(kx, processor, request), 0);

                        std::vector<std::uint16_t> expected(image.output_samples(tested), untouched);
                        for (std::size_t pixel = 0; pixel < pixels; ++pixel) {
                            for (std::size_t i = 0; i < tested.samples_per_pixel; ++i) {
                                const std::size_t channel = format == 2 && i < 3 ? 2 - i : i;
                                std::uint16_t& sample =
                                    expected[format == 0 ? i * pixels + pixel : pixel * tested.samples_per_pixel + i];
                                if (pixel >= returned) {
                                    sample = channel == 3 ? 0 : image.input(pixel, channel) & low_bits;
                                } else if (fills) {
                                    sample = standins_marker & low_bits;
                                }
                            }
                        }
                        for (std::size_t index = 0; index < expected.size(); ++index) {
                            ASSERT_EQ(image.output(tested, index), expected[index]) << "sample " << index;
                        }
                    }
                }
            }
        }
    }
}

// The largest images: a vector module claims all but the last pixels, whose samples lie beyond 2^32.
TEST_F(vector_hand_off, samples_may_lie_beyond_32_bits)
{
    constexpr std::size_t pixels = INT32_MAX;
    constexpr std::size_t rest = 5;
    constexpr std::size_t first = pixels - rest;
    sparse_memory input(3 * pixels * sizeof(std::uint16_t));
    if (input.data() == nullptr) {
        GTEST_SKIP() << "the system reserves no 13 GB of address space";
    }
    script.vector[standins_avx2].first_unconverted = first;
    kx_color_processor* const processor = create(2);
    auto* const samples = static_cast<std::uint16_t*>(input.data());
    const auto index_of = [](std::int32_t format, std::size_t samples_per_pixel, std::size_t pixel, std::size_t i) {
        return format == 0 ? i * pixels + pixel : pixel * samples_per_pixel + i;
    };
    const auto value_of = [](std::size_t pixel, std::size_t channel) {
        return static_cast<std::uint16_t>(0x0111 * (pixel - first + 8) + 0x1003 * channel);
    };

    for (const std::int32_t input_format : {0, 1}) {
        // One pixel before the rest as well: its output must stay untouched.
        for (std::size_t pixel = first - 1; pixel < pixels; ++pixel) {
            for (std::size_t channel = 0; channel < 3; ++channel) {
                const std::size_t index = index_of(input_format, 3, pixel, channel);
                ASSERT_TRUE(input.commit(2 * index, 2));
                samples[index] = value_of(pixel, channel);
            }
        }
        for (const transform_export& tested : transform_exports) {
            for (const std::int32_t output_format : {0, 1}) {
                SCOPED_TRACE(testing::Message() << tested << " " << input_format << " to " << output_format);
                sparse_memory output(tested.samples_per_pixel * pixels * tested.sample_bytes);
                if (output.data() == nullptr) {
                    GTEST_SKIP() << "the system reserves no 17 GB of address space";
                }
                const auto* const bytes = static_cast<const std::uint8_t*>(output.data());
                const auto offset_of = [&](std::size_t pixel, std::size_t i) {
                    return tested.sample_bytes * index_of(output_format, tested.samples_per_pixel, pixel, i);
                };
                for (std::size_t i = 0; i < tested.samples_per_pixel; ++i) {
                    for (std::size_t pixel = first - 1; pixel < pixels; ++pixel) {
                        ASSERT_TRUE(output.commit(offset_of(pixel, i), tested.sample_bytes));
                        std::memset(static_cast<char*>(output.data()) + offset_of(pixel, i), small_image::untouched,
                                    tested.sample_bytes);
                    }
                }

                transform_request request;
                request.input = samples;
                request.input_format = input_format;
                request.output = output.data();
                request.output_format = output_format;
                request.pixel_count = static_cast<std::int32_t>(pixels);
                ASSERT_EQ(tested.call(kx, processor, request), 0);

                for (std::size_t pixel = first - 1; pixel < pixels; ++pixel) {
                    for (std::size_t i = 0; i < tested.samples_per_pixel; ++i) {
                        std::uint16_t expected = i == 3 ? 0 : value_of(pixel, i);
                        if (pixel < first) {
                            expected = 0x0101 * small_image::untouched;
                        }
                        EXPECT_EQ(std::memcmp(bytes + offset_of(pixel, i), &expected, tested.sample_bytes), 0)
                            << "pixel " << pixel << " sample " << i;
                    }
                }
            }
        }
    }
}

} // namespace

} // namespace kx_test
