// LUTs that are straight lines, rounded and clipped at both ends, as black level, white balance and linear outputs make
// them: with these an entry is computed instead of looked up, exactly, in integers.
#pragma once

#include "loads_and_stores.h"
#include "register_vectors.h"

#include "per_channel.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>

namespace kx::vector {
namespace {

// The entry of x: the integer part of a line with a slope of zero or more, within bounds. In binary fractions of 32
// digits the slope is the factor, shifted, and the summand the line's value at 0.
struct line {
    std::uint32_t factor;
    std::int32_t left_shift; // 0..steepest
    std::uint64_t summand;   // may be negative, as a two's complement
    std::uint16_t least;
    std::uint16_t greatest;

    // With steeper ones, samples of 16 bits lead out of the signed integers, which the bounds then miss.
    static constexpr int steepest = 14;

    [[nodiscard]] constexpr std::uint16_t at(std::uint32_t x) const
    {
        const std::uint64_t sum = std::uint64_t{factor} * (x << left_shift) + summand;
        const auto value = static_cast<std::int32_t>(sum >> 32);
        return static_cast<std::uint16_t>(std::max(std::min(value, std::int32_t{greatest}), std::int32_t{least}));
    }
};

inline constexpr line identity_line{std::uint32_t{1} << 31, 1, 0, 0, 0xFFFF};
inline constexpr per_channel<line> identity_lines{identity_line, identity_line, identity_line};

// Whether the bits of `mask` in every entry from `first` to `last` are the line's.
inline bool is_line(const line& of, const std::uint32_t* LUT, std::uint32_t first, std::uint32_t last,
                    std::uint32_t mask)
{
    constexpr std::uint32_t together = 256;
    for (std::uint32_t begin = first; begin <= last; begin += together) {
        const std::uint32_t end = std::min(begin + together, last + 1);
        std::uint32_t difference = 0;
        for (std::uint32_t x = begin; x < end; ++x) {
            difference |= (of.at(x) ^ LUT[x]) & mask;
        }
        if (difference != 0) {
            return false;
        }
    }
    return true;
}

// Finds a line for the low 16 bits of a LUT's entries from `first` to `last`, if there is one; that it gives all of
// them is still to be checked.
//
// Between the clipped ends the line's value at x lies from entry[x] to below entry[x] + 1; at the first of them only
// the second holds, at the last one only the first. Each slope leaves some room for the line's height: what the lower
// bounds ask for most, and the upper ones allow at least. If that is none, the two entries which contradict each other
// bound the slope from one side, and the next one to try is the middle of what remains. Few entries tell most curves.
class line_search {
public:
    line_search(const std::uint32_t* LUT, std::uint32_t first, std::uint32_t last)
        : LUT_(LUT), first_(first), last_(last)
    {
    }

    std::optional<line> find()
    {
        const std::int64_t least = entry(first_);
        const std::int64_t greatest = entry(last_);
        line found{0, 0, 0, static_cast<std::uint16_t>(least), static_cast<std::uint16_t>(greatest)};
        if (least >= greatest) {
            return least == greatest ? std::optional(found) : std::nullopt;
        }
        while (entry(first_ + 1) == least) {
            ++first_;
        }
        while (entry(last_ - 1) == greatest) {
            --last_;
        }
        bound_slope(last_, first_);
        if (last_ - first_ > 2) {
            bound_slope(first_ + 1, last_ - 1);
        }
        const int digits =
            static_cast<int>(std::bit_width(static_cast<std::uint64_t>(std::max<std::int64_t>(high_, 0))));
        found.left_shift = std::max(0, digits - 32);
        if (found.left_shift > line::steepest) {
            return std::nullopt;
        }
        const std::int64_t unit = std::int64_t{1} << found.left_shift;
        for (std::int64_t step = std::max<std::int64_t>(1, (last_ - first_) / 32);;) {
            std::int64_t slope = (low_ + (high_ - low_) / 2) / unit * unit;
            if (slope < low_) {
                slope += unit;
            }
            if (slope > high_) {
                return std::nullopt;
            }
            const std::optional<std::int64_t> height = height_for(slope, step);
            if (height && step == 1) {
                found.factor = static_cast<std::uint32_t>(slope / unit);
                found.summand = static_cast<std::uint64_t>(*height - slope * first_);
                return found;
            }
            if (height) {
                step = 1;
            }
        }
    }

private:
    static constexpr std::int64_t one = std::int64_t{1} << 32;

    [[nodiscard]] std::int64_t entry(std::int64_t x) const { return static_cast<std::uint16_t>(LUT_[x]); }

    // A line that is at least the first entry at its place, and below the second plus one at that one's.
    void bound_slope(std::int64_t at_least, std::int64_t below)
    {
        const std::int64_t rise = (entry(at_least) - entry(below) - 1) * one + 1;
        const std::int64_t run = at_least - below;
        if (run > 0) {
            low_ = std::max(low_, rise <= 0 ? 0 : (rise + run - 1) / run);
        } else {
            high_ = std::min(high_, rise > 0 ? -1 : -rise / -run);
        }
    }

    // The line's value at first_ if the slope leaves room for it, as far as every entry at such a step tells; else
    // bounds the slope.
    std::optional<std::int64_t> height_for(std::int64_t slope, std::int64_t step)
    {
        const auto value = [&](std::int64_t x) { return entry(x) * one - slope * (x - first_); };
        std::int64_t least = value(last_);
        std::int64_t least_block = last_;
        std::int64_t most = value(first_); // without the one
        std::int64_t most_block = first_;
        const std::int64_t block = 256 * step;
        for (std::int64_t begin = first_ + 1; begin < last_; begin += block) {
            const std::int64_t end = std::min(begin + block, last_);
            std::int64_t greatest_here = std::numeric_limits<std::int64_t>::min();
            std::int64_t least_here = std::numeric_limits<std::int64_t>::max();
            for (std::int64_t x = begin; x < end; x += step) {
                greatest_here = std::max(greatest_here, value(x));
                least_here = std::min(least_here, value(x));
            }
            if (greatest_here > least) {
                least = greatest_here;
                least_block = begin;
            }
            if (least_here < most) {
                most = least_here;
                most_block = begin;
            }
        }
        if (least < most + one) {
            return least;
        }
        const auto place_of = [&](std::int64_t wanted, std::int64_t x) {
            while (value(x) != wanted) {
                x += step;
            }
            return x;
        };
        bound_slope(place_of(least, least_block), place_of(most, most_block));
        return std::nullopt;
    }

    const std::uint32_t* LUT_;
    std::int64_t first_; // the last entry that is the first one's equal
    std::int64_t last_;  // the first entry that is the last one's equal
    std::int64_t low_ = 0;
    std::int64_t high_ = (std::int64_t{1} << 48) - 1;
};

// The line that gives the masked bits of all these entries, if there is one.
inline std::optional<line> line_of(const std::uint32_t* LUT, std::uint16_t first, std::uint16_t last,
                                   std::uint32_t mask)
{
    const std::optional<line> found = line_search(LUT, first, last).find();
    return found && is_line(*found, LUT, first, last, mask) ? found : std::nullopt;
}

// The same in registers.
template <register_vectors vectors>
class line_of_integers {
public:
    using words = typename vectors::words;

    explicit line_of_integers(const line& of)
        : factor_(vectors::all(of.factor)), summand_(vectors::all(of.summand)),
          least_(vectors::all(std::uint32_t{of.least})), greatest_(vectors::all(std::uint32_t{of.greatest})),
          left_shift_(vectors::count(of.left_shift))
    {
    }

    integers<vectors> operator()(const integers<vectors>& x) const { return {at(x.lower), at(x.upper)}; }

private:
    [[nodiscard]] words at(words x) const
    {
        const words shifted = vectors::shift_left_integers(x, left_shift_);
        const words value = vectors::upper_of_product_and_sum(shifted, factor_, summand_);
        return vectors::max_integers(vectors::min_integers(value, greatest_), least_);
    }

    words factor_;
    words summand_;
    words least_;
    words greatest_;
    typename vectors::shift_count left_shift_;
};

} // namespace
} // namespace kx::vector
