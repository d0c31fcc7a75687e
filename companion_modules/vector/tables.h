// The tables that the look-ups go through: the LUTs themselves, or compact copies of them.
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
#include <optional>

namespace kx::vector {
namespace {

// Whether tables of the values up to `last` are worth making for an image of so many pixels.
constexpr bool is_worth_tables(std::ptrdiff_t pixel_count, std::uint16_t last)
{
    return pixel_count >= 4 * (std::ptrdiff_t{last} + 1);
}

// A table for each channel that has one, else null.
template <typename entry>
struct table_set {
    const entry* blue;
    const entry* green;
    const entry* red;

    [[nodiscard]] bool any() const { return blue != nullptr || green != nullptr || red != nullptr; }
    [[nodiscard]] bool all() const { return blue != nullptr && green != nullptr && red != nullptr; }
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

// Tables that a call makes for itself, one for each channel that needs one.
template <typename entry>
class own_tables {
public:
    // For values up to `last`.
    explicit own_tables(std::uint16_t last) : entries_(std::size_t{last} + 1) {}

    // Makes the table of one channel: entries from `first` to `last` mapped, those beyond like the last one.
    template <typename mapping>
    void add(const entry* table_set<entry>::*channel, std::uint16_t first, std::uint16_t last, mapping map)
    {
        auto* const table = new (std::nothrow) entry[entries_];
        storage_[used_++].reset(table);
        if (table == nullptr) {
            complete_ = false;
            return;
        }
        for (std::size_t value = first; value <= last; ++value) {
            table[value] = map(value);
        }
        std::fill(table + last + 1, table + entries_, table[last]);
        tables_.*channel = table;
    }

    // Whether memory sufficed.
    [[nodiscard]] bool complete() const { return complete_; }

    [[nodiscard]] const table_set<entry>& tables() const { return tables_; }

private:
    std::size_t entries_;
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

    [[nodiscard]] std::uint16_t greatest() const { return std::max({blue, green, red}); }
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
        vectors::store(each, words);
        return *std::max_element(std::begin(each), std::end(each));
    };
    return {greatest_word(greatest.blue), greatest_word(greatest.green), greatest_word(greatest.red)};
}

template <typename vectors>
sample_maxima find_maxima(pixel_format layout, planes<const std::uint16_t> from, std::ptrdiff_t count)
{
    return with_layout(layout, [&](auto known) { return find_maxima<vectors, known>(from, count); });
}

// From how many pixels on it pays to search an image for its largest samples and to bound them afterwards.
inline constexpr std::ptrdiff_t searched_pixels = 1 << 15;

// The largest samples, if tables up to there are worth making; not if they seem to be smaller than `least`.
template <typename vectors>
std::optional<sample_maxima> find_worthwhile_maxima(pixel_format layout, planes<const std::uint16_t> from,
                                                    std::ptrdiff_t count, std::uint16_t least)
{
    if (count < searched_pixels) {
        return std::nullopt;
    }
    // The beginning often tells.
    const std::uint16_t first = find_maxima<vectors>(layout, from, 512).greatest();
    if (first < least || !is_worth_tables(count, first)) {
        return std::nullopt;
    }
    const sample_maxima maxima = find_maxima<vectors>(layout, from, count);
    return is_worth_tables(count, maxima.greatest()) ? std::optional(maxima) : std::nullopt;
}

// The low 16 bits of the input LUTs.
inline own_tables<std::uint16_t> compact_inputs(const table_set<std::uint32_t>& LUTs, const sample_maxima& maxima)
{
    own_tables<std::uint16_t> compact(maxima.greatest());
    const auto add = [&compact](auto channel, const std::uint32_t* LUT, std::uint16_t last) {
        if (LUT != nullptr) {
            compact.add(channel, 0, last, [LUT](std::size_t x) { return static_cast<std::uint16_t>(LUT[x]); });
        }
    };
    using tables = table_set<std::uint16_t>;
    add(&tables::blue, LUTs.blue, maxima.blue);
    add(&tables::green, LUTs.green, maxima.green);
    add(&tables::red, LUTs.red, maxima.red);
    return compact;
}

// The samples that the output LUTs and shifts lead to.
template <typename sample>
own_tables<sample> compact_outputs(const table_set<std::uint32_t>& LUTs, const conversion_settings& settings)
{
    own_tables<sample> compact(settings.greatest_value());
    const auto add = [&compact](auto channel, const std::uint32_t* LUT, const channel_settings& finish) {
        if (LUT != nullptr) {
            compact.add(channel, finish.clamp_min, finish.clamp_max,
                        [=](std::size_t v) { return shifted_entry<sample>(LUT[v], finish); });
        }
    };
    using tables = table_set<sample>;
    add(&tables::blue, LUTs.blue, settings.blue);
    add(&tables::green, LUTs.green, settings.green);
    add(&tables::red, LUTs.red, settings.red);
    return compact;
}

} // namespace
} // namespace kx::vector
