// Which processors the code is compiled for: ARM64, or else x86-64. KX_ARM64 is for what only one of them can compile;
// all else asks on_arm64.
#pragma once

#if defined(__aarch64__)
#define KX_ARM64
#endif

namespace kx::platform {

#if defined(KX_ARM64)
inline constexpr bool on_arm64 = true;
#else
inline constexpr bool on_arm64 = false;
#endif

} // namespace kx::platform
