// The vector arithmetic: matrix, rounding, clamp, shift, for any layouts, without LUTs. Which of the loops
// below runs is chosen once for each call, in `convert`.
#pragma once

#include "constants.h"
#include "layouts.h"

#include "companion_interfaces/transform_parameters.h"
#include "rounding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

namespace kx::vector {
namespace {

// What happens to one channel's sums.
struct channel_settings {
    std::uint16_t clamp_min;
    std::uint16_t clamp_max;
    std::int32_t left_shift; // one of the two shifts, or both, is 0
    std::int32_t right_shift;
};

struct conversion_settings {
    const float* matrix; // nine floats, row by row; or null for the identity
    channel_settings blue;
    channel_settings green;
    channel_settings red;

    [[nodiscard]] std::uint16_t greatest_value() const
    {
        return std::max({blue.clamp_max, green.clamp_max, red.clamp_max});
    }
};

// What leaves samples as they are.
inline constexpr conversion_settings unchanged{nullptr, {0, 0xFFFF, 0, 0}, {0, 0xFFFF, 0, 0}, {0, 0xFFFF, 0, 0}};

// What there is to do after the rounding, for all channels together; the less, the faster.
enum class clamping { none, by_channel };
enum class shifting { none, right, left_or_right };

constexpr clamping clamping_of(const conversion_settings& settings)
{
    const auto is_full = [](const channel_settings& channel) {
        return channel.clamp_min == 0 && channel.clamp_max == 0xFFFF;
    };
    return is_full(settings.blue) && is_full(settings.green) && is_full(settings.red) ? clamping::none
                                                                                      : clamping::by_channel;
}

constexpr shifting shifting_of(const conversion_settings& settings)
{
    if ((settings.blue.left_shift | settings.green.left_shift | settings.red.left_shift) != 0) {
        return shifting::left_or_right;
    }
    return (settings.blue.right_shift | settings.green.right_shift | settings.red.right_shift) != 0 ? shifting::right
                                                                                                    : shifting::none;
}

template <typename vectors, clamping clamp, shifting shift>
class channel_finish {
public:
    explicit channel_finish(const channel_settings& settings)
        : min_(vectors::all(settings.clamp_min)), max_(vectors::all(settings.clamp_max)),
          left_(vectors::count(settings.left_shift)), right_(vectors::count(settings.right_shift))
    {
    }

    // Takes values that are already within 0..65535, which changes no clamp.
    typename vectors::words operator()(typename vectors::words value) const
    {
        if constexpr (clamp == clamping::by_channel) {
            value = vectors::max(vectors::min(value, max_), min_);
        }
        if constexpr (shift == shifting::left_or_right) {
            value = vectors::shift_left(value, left_);
        }
        if constexpr (shift != shifting::none) {
            value = vectors::shift_right(value, right_);
        }
        return value;
    }

private:
    typename vectors::words min_;
    typename vectors::words max_;
    typename vectors::shift_count left_;
    typename vectors::shift_count right_;
};

template <typename vectors>
class matrix_product {
public:
    using words = typename vectors::words;
    using floats = typename vectors::floats;

    explicit matrix_product(const float* matrix)
    {
        for (int i = 0; i < 9; ++i) {
            element_[i] = vectors::all(matrix[i]);
        }
    }

    // The rounded sums, within 0..65535: below and beyond saturates, as the clamp would.
    template <pixel_format layout, pixel_order order>
    [[nodiscard]] pixels<vectors> load(planes<const std::uint16_t> from, std::ptrdiff_t i) const
    {
        const widened_pixels<vectors> value = load_widened_pixels<vectors, layout, order>(from, i);
        const floats lower_blue = vectors::to_float(value.blue.lower);
        const floats upper_blue = vectors::to_float(value.blue.upper);
        const floats lower_green = vectors::to_float(value.green.lower);
        const floats upper_green = vectors::to_float(value.green.upper);
        const floats lower_red = vectors::to_float(value.red.lower);
        const floats upper_red = vectors::to_float(value.red.upper);
        const auto row = [&](int r) {
            return vectors::pack_to_words(rounded_sum(r, lower_red, lower_green, lower_blue),
                                          rounded_sum(r, upper_red, upper_green, upper_blue));
        };
        return {row(2), row(1), row(0)};
    }

private:
    // One addition of the largest float below one half and a truncation round like a double-precision
    // addition of one half, as far as the clamp lets through: see round_before_clamp of the library.
    [[nodiscard]] words rounded_sum(int row, floats red, floats green, floats blue) const
    {
        const floats red_part = vectors::multiply(element_[3 * row], red);
        const floats green_part = vectors::multiply(element_[3 * row + 1], green);
        const floats blue_part = vectors::multiply(element_[3 * row + 2], blue);
        const floats sum = vectors::add(vectors::add(red_part, green_part), blue_part);
        return vectors::truncate(vectors::add(sum, vectors::all(just_below_one_half)));
    }

    floats element_[9];
};

// With the identity matrix each sum is its channel's sample, so there is nothing to compute.
template <typename vectors>
struct no_product {
    explicit no_product(const float* /*matrix*/) {}
    template <pixel_format layout, pixel_order order>
    [[nodiscard]] pixels<vectors> load(planes<const std::uint16_t> from, std::ptrdiff_t i) const
    {
        return load_pixels<vectors, layout, order>(from, i);
    }
};

// Has the compiler inline everything a loop calls: left to itself g++ 12 calls functions for the sums of some
// layouts, at half the speed.
#if defined(__GNUC__)
#define KX_INLINE_CALLS __attribute__((flatten))
#else
#define KX_INLINE_CALLS
#endif

// `count` is a multiple of the register's pixels.
template <typename vectors, template <typename> typename product_of, clamping clamp, shifting shift,
          pixel_format input_layout, pixel_format output_layout, bool fourth_sample, typename sample>
KX_INLINE_CALLS void convert_loop(planes<const std::uint16_t> from, planes<sample> to, std::ptrdiff_t count,
                                  const conversion_settings& settings)
{
    const product_of<vectors> product(settings.matrix);
    const channel_finish<vectors, clamp, shift> finish_blue(settings.blue);
    const channel_finish<vectors, clamp, shift> finish_green(settings.green);
    const channel_finish<vectors, clamp, shift> finish_red(settings.red);
    constexpr pixel_order order = order_of<output_layout, fourth_sample, sample>();
    for (std::ptrdiff_t i = 0; i < count; i += vectors::pixel_count) {
        const pixels<vectors> sums = product.template load<input_layout, order>(from, i);
        store_pixels<vectors, output_layout, fourth_sample>(
            to, i, {finish_blue(sums.blue), finish_green(sums.green), finish_red(sums.red)});
    }
}

// Accesses memory lane by lane even where the lanes are neighbours, which is faster where nothing is computed.
template <typename vectors>
struct lane_by_lane : vectors {
    static constexpr std::ptrdiff_t lane_bytes = vectors::lane_pixels * 2;
    static auto load(const void* from) { return vectors::load_lanes(from, lane_bytes); }
    static void store(void* to, typename vectors::words value) { vectors::store_lanes(to, lane_bytes, value); }
};

// Stores past the caches. Pays for large outputs of conversions that compute so little that memory is what they wait
// for: a line written this way need not be read first.
template <typename vectors>
struct streaming : lane_by_lane<vectors> {
    static void store_lanes(void* to, std::ptrdiff_t step, typename vectors::words value)
    {
        vectors::stream_lanes(to, step, value);
    }
    static void store(void* to, typename vectors::words value)
    {
        vectors::stream_lanes(to, vectors::lane_pixels * 2, value);
    }
};

// From how many bytes of output on: as much as a processor core's share of the last cache, or more.
inline constexpr std::ptrdiff_t streamed_bytes = 1 << 24;

// Whether all stores of whole lanes go to multiples of 16 bytes, in an image large enough.
template <pixel_format layout, bool fourth_sample, typename sample>
bool is_worth_streaming(planes<sample> to, std::ptrdiff_t count)
{
    const auto is_aligned = [](const sample* plane) { return reinterpret_cast<std::uintptr_t>(plane) % 16 == 0; };
    const std::ptrdiff_t bytes = count * (fourth_sample ? 4 : 3) * static_cast<std::ptrdiff_t>(sizeof(sample));
    if (bytes < streamed_bytes) {
        return false;
    }
    if constexpr (layout == pixel_format::planar_bgr) {
        return is_aligned(to.blue) && is_aligned(to.green) && is_aligned(to.red)
               && (!fourth_sample || is_aligned(to.fourth));
    }
    constexpr bool whole_lanes = sizeof(sample) == 2 || fourth_sample;
    return whole_lanes && is_aligned(layout == pixel_format::interleaved_bgr ? to.blue : to.red);
}

// Chooses the loop.
template <typename vectors, typename sample>
void convert(pixel_format input_layout, planes<const std::uint16_t> from, pixel_format output_layout,
             bool fourth_sample, planes<sample> to, std::ptrdiff_t count, const conversion_settings& settings)
{
    const auto run = [&](auto input, auto output, auto fourth, auto clamp, auto shift) {
        using narrow = typename vectors::narrow;
        using moving = std::conditional_t<output == pixel_format::planar_bgr, narrow, vectors>;
        if (settings.matrix != nullptr) {
            if constexpr (vectors::streams_sums && output != pixel_format::planar_bgr) {
                if (is_worth_streaming<output, fourth>(to, count)) {
                    convert_loop<streaming<vectors>, matrix_product, clamp, shift, input, output, fourth>(
                        from, to, count, settings);
                    vectors::finish_streaming();
                    return;
                }
            }
            convert_loop<vectors, matrix_product, clamp, shift, input, output, fourth>(from, to, count, settings);
        } else if (is_worth_streaming<output, fourth>(to, count)) {
            convert_loop<streaming<narrow>, no_product, clamp, shift, input, output, fourth>(from, to, count, settings);
            vectors::finish_streaming();
        } else {
            convert_loop<lane_by_lane<moving>, no_product, clamp, shift, input, output, fourth>(from, to, count,
                                                                                                settings);
        }
    };
    with_layout(input_layout, [&](auto input) {
        with_layout(output_layout, [&](auto output) {
            with_constant<true, false>(fourth_sample, [&](auto fourth) {
                with_constant<clamping::none, clamping::by_channel>(clamping_of(settings), [&](auto clamp) {
                    with_constant<shifting::none, shifting::right, shifting::left_or_right>(
                        shifting_of(settings), [&](auto shift) { run(input, output, fourth, clamp, shift); });
                });
            });
        });
    });
}

} // namespace
} // namespace kx::vector
