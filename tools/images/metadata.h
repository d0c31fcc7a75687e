// What an image file says beside its samples.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kx::images {

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

    std::vector<std::string> left_out; // names of what was not read
    std::vector<std::string> warnings; // of a file that is odd but readable

    [[nodiscard]] const std::string* find_text(const std::string& keyword) const
    {
        for (const auto& [key, text] : texts) {
            if (key == keyword) {
                return &text;
            }
        }
        return nullptr;
    }
};

inline constexpr const char* description_keyword = "Description";
inline constexpr const char* software_keyword = "Software";

} // namespace kx::images
