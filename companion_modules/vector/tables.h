// The tables that the look-ups go through: the LUTs themselves, or for large images compact copies of them.
//
// A LUT has 32 bits an entry, of which a call uses 8 or 16. Copies with just those bits, an output LUT's shift
// included, take a quarter to a half of the cache, which pays when the image is larger than the tables.
#pragma once

#include "convert.h"
#include "layouts.h"

#include "companion_interfaces/transform_parameters.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <new>

namespace kx::vector {

// From how many pixels on a call makes compact tables.
inline constexpr std::ptrdiff_t worthwhile_pixels = 1 << 18;

// A table for each channel that has one, else null.
template <typename entry>
struct table_set {
    const entry* blue;
    const entry* green;
    const entry* red;

    [[nodiscard]] bool any() const { return blue != nullptr || green != nullptr || red != nullptr; }
};

inline table_set<std::uint32_t> input_LUTs_of(const transform_parameters& parameters)
{
    return {parameters.blue_input_LUT_enabled != 0 ? parameters.blue_input_LUT_data : nullptr,
            parameters.green_input_LUT_enabled != 0 ? parameters.green_input_LUT_data : nullptr,
            parameters.red_input_LUT_enabled != 0 ? parameters.red_input_LUT_data : nullptr};
}

inline table_set<std::uint32_t> output_LUTs_of(const transform_parameters& parameters)
{
    return {parameters.blue_output_LUT_enabled != 0 ? parameters.blue_output_LUT_data : nullptr,
            parameters.green_output_LUT_enabled != 0 ? parameters.green_output_LUT_data : nullptr,
            parameters.red_output_LUT_enabled != 0 ? parameters.red_output_LUT_data : nullptr};
}

// An output LUT's entry as the sample that is stored: shifted as a 32-bit word, right shifts as a signed one.
template <typename sample>
constexpr sample shifted_entry(std::uint32_t entry, const channel_settings& settings)
{
    return static_cast<sample>(static_cast<std::int32_t>(entry << settings.left_shift) >> settings.right_shift);
}

// Owns one compact table for each channel that has a LUT.
template <typename entry>
class compact_tables {
public:
    // Makes the table of one channel from entries `first` to `last` of its LUT; there may be no others.
    template <typename mapping>
    void add(const entry* table_set<entry>::*channel, const std::uint32_t* LUT, std::size_t first, std::size_t last,
             mapping map)
    {
        if (LUT == nullptr) {
            return;
        }
        std::unique_ptr<entry[]>& storage = storage_[used_++];
        storage.reset(new (std::nothrow) entry[last + 1]);
        if (storage == nullptr) {
            complete_ = false;
            return;
        }
        std::transform(LUT + first, LUT + last + 1, storage.get() + first, map);
        tables_.*channel = storage.get();
    }

    // Whether memory sufficed.
    [[nodiscard]] bool complete() const { return complete_; }

    [[nodiscard]] const table_set<entry>& tables() const { return tables_; }

private:
    std::unique_ptr<entry[]> storage_[3];
    std::size_t used_ = 0;
    table_set<entry> tables_{};
    bool complete_ = true;
};

// The largest sample of each channel: an input LUT need only have entries up to there.
struct sample_maxima {
    std::uint16_t blue;
    std::uint16_t green;
    std::uint16_t red;
};

template <typename vectors, pixel_format layout>
KX_INLINE_CALLS sample_maxima find_maxima(planes<const std::uint16_t> from, std::ptrdiff_t count)
{
    pixels<vectors> greatest{vectors::zero(), vectors::zero(), vectors::zero()};
    for (std::ptrdiff_t i = 0; i < count; i += vectors::pixel_count) {
        const pixels<vectors> value = load_pixels<vectors, layout>(from, i);
        greatest = {vectors::max(greatest.blue, value.blue), vectors::max(greatest.green, value.green),
                    vectors::max(greatest.red, value.red)};
    }
    const auto greatest_word = [](typename vectors::words words) {
        std::uint16_t each[vectors::pixel_count];
        vectors::store_lanes(each, lane_pixels * 2, words);
        return *std::max_element(std::begin(each), std::end(each));
    };
    return {greatest_word(greatest.blue), greatest_word(greatest.green), greatest_word(greatest.red)};
}

template <typename vectors>
sample_maxima find_maxima(pixel_format layout, planes<const std::uint16_t> from, std::ptrdiff_t count)
{
    switch (layout) {
    case pixel_format::interleaved_bgr:
        return find_maxima<vectors, pixel_format::interleaved_bgr>(from, count);
    case pixel_format::interleaved_rgb:
        return find_maxima<vectors, pixel_format::interleaved_rgb>(from, count);
    default:
        return find_maxima<vectors, pixel_format::planar_bgr>(from, count);
    }
}

// The low 16 bits of the input LUTs.
inline compact_tables<std::uint16_t> compact_inputs(const table_set<std::uint32_t>& LUTs, const sample_maxima& maxima)
{
    using tables = table_set<std::uint16_t>;
    const auto low_bits = [](std::uint32_t entry) { return static_cast<std::uint16_t>(entry); };
    compact_tables<std::uint16_t> compact;
    compact.add(&tables::blue, LUTs.blue, 0, maxima.blue, low_bits);
    compact.add(&tables::green, LUTs.green, 0, maxima.green, low_bits);
    compact.add(&tables::red, LUTs.red, 0, maxima.red, low_bits);
    return compact;
}

// The samples that the output LUTs and shifts lead to.
template <typename sample>
compact_tables<sample> compact_outputs(const table_set<std::uint32_t>& LUTs, const conversion_settings& settings)
{
    compact_tables<sample> compact;
    const auto add = [&](const sample* table_set<sample>::*channel, const std::uint32_t* LUT,
                         const channel_settings& finish) {
        compact.add(channel, LUT, finish.clamp_min, finish.clamp_max,
                    [&finish](std::uint32_t entry) { return shifted_entry<sample>(entry, finish); });
    };
    add(&table_set<sample>::blue, LUTs.blue, settings.blue);
    add(&table_set<sample>::green, LUTs.green, settings.green);
    add(&table_set<sample>::red, LUTs.red, settings.red);
    return compact;
}

} // namespace kx::vector
