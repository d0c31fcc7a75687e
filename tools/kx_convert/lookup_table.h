// Look-up tables by name or from a file.
#pragma once

#include "settings.h"

#include <cstdint>
#include <vector>

namespace kx::convert {

// The table of 2^bits entries that `source` names: a curve ("linear", "srgb", "gamma:G") whose full scale is
// `full_scale`, or else a text file whose entries are taken as they stand. Throws option_error.
std::vector<std::uint32_t> make_lookup_table(const given<std::string>& source, int bits, std::uint32_t full_scale);

} // namespace kx::convert
