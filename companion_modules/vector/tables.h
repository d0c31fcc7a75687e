// The tables that a call makes for itself, and what their entries are.
//
// A LUT has 32 bits an entry, of which a call uses 8 or 16. Copies with just those bits, an output LUT's shift
// included, take a quarter to a half of the cache. And with a diagonal matrix each channel is a function of its own
// sample alone, so that one table holds all of it, from input LUT to shift.
#pragma once

#include "convert.h"

#include "per_channel.h"
#include "rounding.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace kx::vector {
namespace {

// A table for each channel that has one, else null.
template <typename entry>
using tables = per_channel<const entry*>;

template <typename entry>
bool any(const tables<entry>& of)
{
    return any_channel([](const entry* table) { return table != nullptr; }, of);
}

template <typename entry>
bool all(const tables<entry>& of)
{
    return all_channels([](const entry* table) { return table != nullptr; }, of);
}

// Whether LUTs, which may both be none, have the same entries up to `last`.
inline bool have_same_entries(const std::uint32_t* a, const std::uint32_t* b, std::size_t last)
{
    return a == b || (a != nullptr && b != nullptr && std::equal(a, a + last + 1, b));
}

// The sample that is stored for an output LUT's entry: shifted as a 32-bit word, right shifts as a signed one.
template <typename sample>
constexpr sample shifted_entry(std::uint32_t entry, const channel_settings& settings)
{
    return static_cast<sample>(static_cast<std::int32_t>(entry << settings.left_shift) >> settings.right_shift);
}

// What a table's entries are, by the value that they are looked up with. Two are the same if they are up to `last`.

// The low 16 bits of an input LUT.
struct input_function {
    const std::uint32_t* LUT;

    std::uint16_t operator()(std::size_t x) const { return static_cast<std::uint16_t>(LUT[x]); }
    [[nodiscard]] bool is_same(const input_function& other, std::size_t last) const
    {
        return have_same_entries(LUT, other.LUT, last);
    }
};

// The samples that an output LUT and the shift lead to.
template <typename sample>
struct output_function {
    const std::uint32_t* LUT;
    channel_settings finish;

    sample operator()(std::size_t value) const { return shifted_entry<sample>(LUT[value], finish); }
    [[nodiscard]] bool is_same(const output_function& other, std::size_t last) const
    {
        return finish == other.finish && have_same_entries(LUT, other.LUT, last);
    }
};

// All that becomes of a channel when the matrix is diagonal.
template <typename sample>
struct whole_function {
    const std::uint32_t* input_LUT;
    float factor;
    channel_settings finish;
    const std::uint32_t* output_LUT;

    sample operator()(std::size_t x) const
    {
        const auto looked_up =
            input_LUT != nullptr ? static_cast<std::uint16_t>(input_LUT[x]) : static_cast<std::uint16_t>(x);
        const std::int32_t rounded = round_before_clamp(factor * static_cast<float>(looked_up));
        const std::int32_t clamped =
            std::max(std::min(rounded, std::int32_t{finish.clamp_max}), std::int32_t{finish.clamp_min});
        const auto value = static_cast<std::uint32_t>(clamped);
        return shifted_entry<sample>(output_LUT != nullptr ? output_LUT[value] : value, finish);
    }
    [[nodiscard]] bool is_same(const whole_function& other, std::size_t last) const
    {
        return factor == other.factor && finish == other.finish && have_same_entries(input_LUT, other.input_LUT, last)
               && have_same_entries(output_LUT, other.output_LUT, finish.clamp_max);
    }
};

// The tables of a call's channels; of functions that are the same, one for all.
template <typename entry, typename function>
class own_tables {
public:
    // Makes a table with entries up to `size`, those behind `last` like that one. Null if memory does not suffice.
    const entry* make(const function& of, std::size_t last, std::size_t size)
    {
        for (const made& earlier : made_) {
            if (earlier.table != nullptr && earlier.last == last && of.is_same(earlier.of, last)) {
                return earlier.table.get();
            }
        }
        made& added = made_[count_++];
        added = {of, last, std::unique_ptr<entry[]>(new (std::nothrow) entry[size])};
        if (added.table == nullptr) {
            complete_ = false;
            return nullptr;
        }
        entry* const table = added.table.get();
        for (std::size_t value = 0; value <= last; ++value) {
            table[value] = of(value);
        }
        std::fill(table + last + 1, table + size, table[last]);
        return table;
    }

    // The tables if memory sufficed for all of them, else none.
    [[nodiscard]] tables<entry> if_complete(const tables<entry>& made) const
    {
        return complete_ ? made : tables<entry>{};
    }

private:
    struct made {
        function of{};
        std::size_t last = 0;
        std::unique_ptr<entry[]> table;
    };

    made made_[3];
    std::size_t count_ = 0;
    bool complete_ = true;
};

} // namespace
} // namespace kx::vector
