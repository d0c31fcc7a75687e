// The vector levels of the processors that this is built for, as users call them; a level's number is its place.
#pragma once

#include "platform/architecture.h"

#include <array>

namespace kx {

#if defined(KX_ARM64)
inline constexpr std::array vector_level_names{"scalar", "neon"};
#else
inline constexpr std::array vector_level_names{"scalar", "sse", "avx2"};
#endif

} // namespace kx
