// The vector arithmetic: matrix, rounding, clamp, shift, for any layouts, without LUTs. Which of the loops below runs
// is chosen before it begins, in `convert`.
#pragma once

#include "constants.h"
#include "image.h"
#include "lines.h"
#include "loads_and_stores.h"
#include "register_vectors.h"

#include "layouts.h"
#include "per_channel.h"

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

    bool operator==(const channel_settings&) const = default;
};

struct conversion_settings {
    const float* matrix; // nine floats, row by row; or null for the identity
    per_channel<channel_settings> channels;
    // The LUTs before the matrix and between clamp and shift, where they are to be computed, else null.
    const per_channel<line>* input_lines = nullptr;
    const per_channel<line>* output_lines = nullptr;
};

// What leaves samples as they are.
inline constexpr channel_settings unchanged{0, 0xFFFF, 0, 0};

// What there is to do after the rounding, for all channels together; the less, the faster.
enum class clamping { none, by_channel };
enum class shifting { none, right, left_or_right };

constexpr clamping clamping_of(const per_channel<channel_settings>& channels)
{
    const auto is_full = [](const channel_settings& of) { return of.clamp_min == 0 && of.clamp_max == 0xFFFF; };
    return all_channels(is_full, channels) ? clamping::none : clamping::by_channel;
}

constexpr shifting shifting_of(const per_channel<channel_settings>& channels)
{
    if (any_channel([](const channel_settings& of) { return of.left_shift != 0; }, channels)) {
        return shifting::left_or_right;
    }
    return any_channel([](const channel_settings& of) { return of.right_shift != 0; }, channels) ? shifting::right
                                                                                                 : shifting::none;
}

template <register_vectors vectors, clamping clamp, shifting shift>
class channel_finish {
public:
    explicit channel_finish(const channel_settings& settings, const line& /*output*/ = identity_line)
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

// The same with a line between clamp and shift.
template <register_vectors vectors>
class line_finish {
public:
    line_finish(const channel_settings& settings, const line& output)
        : clamp_(settings), line_(output), shift_(settings)
    {
    }

    typename vectors::words operator()(typename vectors::words value) const
    {
        const auto [lower, upper] = line_(as_integers<vectors, 8>::template from<in_order>(clamp_(value)));
        return shift_(vectors::pack_to_words(lower, upper));
    }

private:
    channel_finish<vectors, clamping::by_channel, shifting::none> clamp_;
    line_of_integers<vectors> line_;
    channel_finish<vectors, clamping::none, shifting::left_or_right> shift_;
};

template <typename vectors>
class matrix_product {
public:
    using words = typename vectors::words;
    using floats = typename vectors::floats;

    explicit matrix_product(const conversion_settings& settings)
    {
        for (int i = 0; i < 9; ++i) {
            const float identity = i % 4 == 0 ? 1.0F : 0.0F;
            element_[i] = vectors::all(settings.matrix != nullptr ? settings.matrix[i] : identity);
        }
    }

    template <sample_layout layout, int together>
    [[nodiscard]] auto load(const image<const std::uint16_t>& from, std::ptrdiff_t i) const
    {
        return sums(load_pixels<vectors, layout, as_integers<vectors, together>>(from, i));
    }

protected:
    // The rounded sums, within 0..65535: below and beyond saturates, as the clamp would.
    template <typename three>
    [[nodiscard]] auto sums(const three& value) const
    {
        const auto lower = map_channels([](const auto& of) { return vectors::to_float(of.lower); }, value);
        const auto upper = map_channels([](const auto& of) { return vectors::to_float(of.upper); }, value);
        const auto row = [&](int r) { return vectors::pack_to_words(rounded_sum(r, lower), rounded_sum(r, upper)); };
        return per_channel{row(2), row(1), row(0)};
    }

private:
    template <typename three>
    [[nodiscard]] words rounded_sum(int row, const three& of) const
    {
        const floats red_part = vectors::multiply(element_[3 * row], of.red);
        const floats green_part = vectors::multiply(element_[3 * row + 1], of.green);
        const floats blue_part = vectors::multiply(element_[3 * row + 2], of.blue);
        const floats sum = vectors::add(vectors::add(red_part, green_part), blue_part);
        return vectors::round(sum);
    }

    floats element_[9];
};

// Of the samples' entries on their lines.
template <typename vectors>
class product_of_lines : matrix_product<vectors> {
public:
    explicit product_of_lines(const conversion_settings& settings)
        : matrix_product<vectors>(settings),
          lines_(map_channels([](const line& of) { return line_of_integers<vectors>(of); },
                              settings.input_lines != nullptr ? *settings.input_lines : identity_lines))
    {
    }

    template <sample_layout layout, int together>
    [[nodiscard]] auto load(const image<const std::uint16_t>& from, std::ptrdiff_t i) const
    {
        return this->sums(map_channels([](const auto& entries, const auto& x) { return entries(x); }, lines_,
                                       load_pixels<vectors, layout, as_integers<vectors, together>>(from, i)));
    }

private:
    per_channel<line_of_integers<vectors>> lines_;
};

// With the identity matrix each sum is its channel's sample, so there is nothing to compute.
template <typename vectors>
struct no_product {
    explicit no_product(const conversion_settings& /*settings*/) {}
    template <sample_layout layout, int together>
    [[nodiscard]] auto load(const image<const std::uint16_t>& from, std::ptrdiff_t i) const
    {
        return load_pixels<vectors, layout, as_words<vectors, together>>(from, i);
    }
};

// Has the compiler inline everything a loop calls: left to itself g++ 12 calls functions for the sums of some
// layouts, at half the speed.
#define KX_INLINE_CALLS __attribute__((flatten))

// `count` is a multiple of the register's pixels. The images are copied member by member, once: stores of pixels might
// change them for all that the compiler knows.
template <register_vectors vectors, typename product, typename finish, sample_layout input_layout,
          sample_layout output_layout, bool fourth_sample, typename sample>
KX_INLINE_CALLS void convert_loop(const image<const std::uint16_t>& input, const image<sample>& output,
                                  std::ptrdiff_t count, const conversion_settings& settings)
{
    const image<const std::uint16_t> from = input;
    const image<sample> to = output;
    const product multiplied(settings);
    const auto finishes =
        map_channels([](const channel_settings& of, const line& output) { return finish(of, output); },
                     settings.channels, settings.output_lines != nullptr ? *settings.output_lines : identity_lines);
    constexpr int together = taken_together<output_layout, fourth_sample, sample>;
    for (std::ptrdiff_t i = 0; i < count; i += vectors::pixel_count) {
        const auto sums = multiplied.template load<input_layout, together>(from, i);
        store_pixels<vectors, output_layout, fourth_sample>(
            to, i, map_channels([](const finish& of, const auto& value) { return of(value); }, finishes, sums));
    }
}

// Accesses memory lane by lane even where the lanes are neighbours, which is faster where nothing is computed.
template <register_vectors vectors>
struct lane_by_lane : vectors {
    static constexpr std::ptrdiff_t lane_bytes = vectors::lane_pixels * 2;
    static auto load(const void* from) { return vectors::load_lanes(from, lane_bytes); }
    static void store(void* to, typename vectors::words value) { vectors::store_lanes(to, lane_bytes, value); }
};

// Stores past the caches. Pays for large outputs of conversions that compute so little that memory is what they wait
// for: a line written this way need not be read first.
template <register_vectors vectors>
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

// Whether the stores are of whole lanes, as streaming takes them.
template <sample_layout layout, bool fourth_sample, typename sample>
inline constexpr bool can_stream = sizeof(sample) == 2 || (fourth_sample && layout != sample_layout::planar_bgr);

// Whether the image is large enough, and stores go to multiples of 16 bytes: all planes begin at such if two do.
template <sample_layout layout, typename sample>
bool is_worth_streaming(const image<sample>& to, std::ptrdiff_t count)
{
    const auto is_aligned = [](const sample* first) { return reinterpret_cast<std::uintptr_t>(first) % 16 == 0; };
    const std::ptrdiff_t bytes = count * (to.fourth_sample ? 4 : 3) * static_cast<std::ptrdiff_t>(sizeof(sample));
    return bytes >= streamed_bytes && is_aligned(beginning_of(layout, to.channel))
           && (layout != sample_layout::planar_bgr || is_aligned(to.channel.green));
}

// Chooses the loop, where LUTs are lines: with all that may follow them.
template <register_vectors vectors, sample_layout input, sample_layout output, bool fourth, typename sample>
void convert_lines(const image<const std::uint16_t>& from, const image<sample>& to, std::ptrdiff_t count,
                   const conversion_settings& settings)
{
    using product = product_of_lines<vectors>;
    if (settings.output_lines != nullptr) {
        convert_loop<vectors, product, line_finish<vectors>, input, output, fourth>(from, to, count, settings);
    } else {
        using finish = channel_finish<vectors, clamping::by_channel, shifting::left_or_right>;
        convert_loop<vectors, product, finish, input, output, fourth>(from, to, count, settings);
    }
}

// Chooses the loop, without LUTs.
template <register_vectors vectors, sample_layout input, sample_layout output, bool fourth, clamping clamp,
          shifting shift, typename sample>
void convert_samples(const image<const std::uint16_t>& from, const image<sample>& to, std::ptrdiff_t count,
                     const conversion_settings& settings)
{
    const auto loop = [&]<typename registers, template <typename> typename product>() {
        convert_loop<registers, product<registers>, channel_finish<registers, clamp, shift>, input, output, fourth>(
            from, to, count, settings);
    };
    using narrow = typename vectors::narrow;
    const bool multiplies = settings.matrix != nullptr;
    if constexpr (can_stream<output, fourth, sample>) {
        constexpr bool streams_sums = vectors::streams_sums && output != sample_layout::planar_bgr;
        if ((!multiplies || streams_sums) && is_worth_streaming<output>(to, count)) {
            if constexpr (streams_sums) {
                if (multiplies) {
                    loop.template operator()<streaming<vectors>, matrix_product>();
                    return vectors::finish_streaming();
                }
            }
            loop.template operator()<streaming<narrow>, no_product>();
            return vectors::finish_streaming();
        }
    }
    if (multiplies) {
        loop.template operator()<vectors, matrix_product>();
    } else {
        using moving = std::conditional_t<output == sample_layout::planar_bgr, narrow, vectors>;
        loop.template operator()<lane_by_lane<moving>, no_product>();
    }
}

template <register_vectors vectors, typename sample>
void convert(const image<const std::uint16_t>& from, const image<sample>& to, std::ptrdiff_t count,
             const conversion_settings& settings)
{
    const auto choose = [&](auto input, auto output, auto fourth) {
        if (settings.input_lines != nullptr || settings.output_lines != nullptr) {
            return convert_lines<vectors, input, output, fourth>(from, to, count, settings);
        }
        with_constant<clamping::none, clamping::by_channel>(clamping_of(settings.channels), [&](auto clamp) {
            with_constant<shifting::none, shifting::right, shifting::left_or_right>(
                shifting_of(settings.channels), [&](auto shift) {
                    convert_samples<vectors, input, output, fourth, clamp, shift>(from, to, count, settings);
                });
        });
    };
    with_layout(from.layout, [&](auto input) {
        with_layout(to.layout, [&](auto output) {
            with_constant<true, false>(to.fourth_sample, [&](auto fourth) { choose(input, output, fourth); });
        });
    });
}

} // namespace
} // namespace kx::vector
