// The profile that tells other programs that samples are sRGB.
#pragma once

#include <cstddef>
#include <vector>

namespace kx::images {

// Always the same bytes. Throws std::runtime_error if Little CMS cannot make it.
const std::vector<std::byte>& srgb_profile();

} // namespace kx::images
