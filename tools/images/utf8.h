// Whether text that came from somewhere is UTF-8.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>

namespace kx::images {

inline bool is_utf8(std::string_view text)
{
    constexpr std::array<std::uint32_t, 4> least{0, 0x80, 0x800, 0x10000}; // by the bytes that follow the first
    std::uint32_t code = 0;
    std::uint32_t following = 0;
    std::uint32_t missing = 0;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (((byte & 0xC0) == 0x80) != (missing > 0) || byte > 0xF4) {
            return false;
        }
        if (missing > 0) {
            --missing;
            code = code << 6 | (byte & 0x3F);
        } else {
            following = byte >= 0xF0 ? 3 : byte >= 0xE0 ? 2 : byte >= 0xC0 ? 1 : 0;
            missing = following;
            code = following == 0 ? byte : byte & (0x3FU >> following);
        }
        const bool is_surrogate = code >= 0xD800 && code < 0xE000;
        if (missing == 0 && (code < least.at(following) || code > 0x10FFFF || is_surrogate)) {
            return false;
        }
    }
    return missing == 0;
}

} // namespace kx::images
