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

// The memory of such tables.
template <typename entry>
class own_tables {
public:
    // Makes a table with entries 0..size-1: those from `first` to `last` mapped, those behind like the last one, and
    // those before open. Null if memory does not suffice.
    template <typename mapping>
    const entry* make(std::size_t first, std::size_t last, std::size_t size, const mapping& map)
    {
        auto* const table = new (std::nothrow) entry[size];
        memory_[used_++].reset(table);
        if (table == nullptr) {
            complete_ = false;
            return nullptr;
        }
        for (std::size_t value = first; value <= last; ++value) {
            table[value] = map(value);
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
    std::unique_ptr<entry[]> memory_[3];
    std::size_t used_ = 0;
    bool complete_ = true;
};

// The sample that is stored for an output LUT's entry: shifted as a 32-bit word, right shifts as a signed one.
template <typename sample>
constexpr sample shifted_entry(std::uint32_t entry, const channel_settings& settings)
{
    return static_cast<sample>(static_cast<std::int32_t>(entry << settings.left_shift) >> settings.right_shift);
}

// What becomes of one channel when the matrix is diagonal.
template <typename sample>
struct channel_function {
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
};

} // namespace
} // namespace kx::vector
