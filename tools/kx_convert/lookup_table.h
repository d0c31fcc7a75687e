// Look-up tables by name or from a file.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kx::convert {

// A channel's LUT of 2^bits entries that `source` names: a curve, by the names of profile::tone_curve or in a file that
// read_curve_file() takes, whose full scale is `full_scale`, or else a text file whose entries are taken as they stand.
// Throws std::runtime_error.
std::vector<std::uint32_t> make_lookup_table(const std::string& source, std::size_t channel, int bits,
                                             std::uint32_t full_scale);

} // namespace kx::convert
