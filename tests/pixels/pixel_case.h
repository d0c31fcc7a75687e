// One call of a transform in a test.
#pragma once

#include "conversion.h"

#include <cstddef>
#include <cstdint>
#include <random>
#include <span>
#include <string>

namespace kx_test {

using namespace kx::verify;

class random_source {
public:
    using result_type = std::uint64_t;

    // The first numbers begin with two bytes of `bytes` each.
    explicit random_source(std::uint64_t seed, std::span<const std::uint8_t> bytes = {})
        : generator_(seed), bytes_(bytes)
    {
    }

    static constexpr result_type min() { return 0; }
    static constexpr result_type max() { return ~result_type{0}; }
    result_type operator()()
    {
        result_type number = generator_();
        if (bytes_.size() >= 2) {
            number = number >> 16 | result_type{bytes_[0]} << 56 | result_type{bytes_[1]} << 48;
            bytes_ = bytes_.subspan(2);
        }
        return number;
    }

private:
    std::mt19937_64 generator_;
    std::span<const std::uint8_t> bytes_;
};

// Uniform in first..last.
template <typename number>
number pick(random_source& random, number first, number last)
{
    return static_cast<number>(std::uniform_int_distribution<std::int64_t>(static_cast<std::int64_t>(first),
                                                                           static_cast<std::int64_t>(last))(random));
}

// Where a buffer lies between its guard pages: so many samples from the first or the last of them.
struct placement {
    bool at_end = true;
    std::size_t distance = 0;
};

struct pixel_case : conversion {
    std::int32_t planar_format = 0; // what to pass for planar layouts: 0 or anything negative
    placement input;
    placement output;
};

// A case with random matrices, clamps, distances, samples and placements that a processor with these LUTs can run.
pixel_case random_case(const combination& choices, const LUT_set& LUTs, std::int32_t pixel_count,
                       random_source& random);

// The whole case but its samples.
std::string describe(const pixel_case& wanted);

} // namespace kx_test
