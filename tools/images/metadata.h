// What an image file says beside its samples.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx::images {

inline constexpr const char* description_keyword = "Description"; // TIFF's ImageDescription
inline constexpr const char* software_keyword = "Software";

// What ImageJ has for a whole stack: labels, overlays, colour tables.
inline constexpr std::uint16_t imagej_counts_tag = 50838;
inline constexpr std::uint16_t imagej_values_tag = 50839;

struct resolution {
    double x;
    double y;
    enum class unit { none, inch, centimeter } per; // none: the ratio alone counts
};

// A TIFF tag that has no place of its own in `metadata`.
struct tiff_tag {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint64_t count;
    std::vector<std::byte> bytes; // values in this machine's byte order
};

struct metadata {
    // By keyword as in PNG; TIFF's text tags have keywords too.
    std::vector<std::pair<std::string, std::string>> texts;
    std::optional<resolution> pixels_per_length;

    // What the samples mean as colours: a profile, or a PNG's gamma, or that they are sRGB.
    std::vector<std::byte> icc_profile;
    std::optional<double> gamma;
    bool is_srgb = false;

    std::vector<tiff_tag> tags;

    [[nodiscard]] const std::string* description() const
    {
        const auto found = std::ranges::find(texts, description_keyword, [](const auto& text) { return text.first; });
        return found != texts.end() ? &found->second : nullptr;
    }
};

} // namespace kx::images
