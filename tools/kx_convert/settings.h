// What the command line asks for, before anything is looked up or worked out.
#pragma once

#include "images/image_file.h"
#include "profile/camera_profile.h"
#include "profile/white_balance.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kx::convert {

// One value for each channel, in the library's order: blue, green, red.
template <typename Value>
using per_channel = std::array<Value, 3>;

inline constexpr per_channel<const char*> channel_names{"blue", "green", "red"};

using matrix = std::array<float, 9>;

struct clamp_range {
    std::uint16_t minimum;
    std::uint16_t maximum;
};

// A value with the option that gave it, for messages.
template <typename Value>
struct given {
    std::string option;
    Value value;
};

// Pages counted from 1, both included.
struct page_range {
    std::uint32_t first;
    std::uint32_t last; // or open_end
};

inline constexpr std::uint32_t open_end = 0xFFFFFFFF;

struct settings {
    std::vector<std::filesystem::path> inputs; // files and folders
    std::filesystem::path output;
    bool output_is_folder = false;                  // it need not exist
    std::optional<images::file_type> output_format; // by default the output's or else the input's suffix decides
    std::vector<page_range> pages;                  // none: all
    bool overwrite = true;
    bool stop_at_error = false;

    // The camera's profile, with what overrides its members put in. Without one the options below say it all.
    std::optional<profile::camera_profile> camera;
    std::optional<profile::pixel_area> balance_area; // that the camera's white balance comes from, in each file

    std::optional<int> input_bits; // delivered by the camera
    std::vector<matrix> matrices;  // in the order in which they are appended
    per_channel<std::optional<given<std::string>>> input_tables;
    per_channel<std::optional<given<std::string>>> output_tables;
    std::optional<int> input_table_bits;
    std::optional<int> output_table_bits;
    per_channel<std::optional<given<clamp_range>>> clamps;
    per_channel<std::optional<given<int>>> shifts;

    unsigned depth = 16;
    unsigned channels = 3;
    bool planar = false;
    std::optional<images::compression> tiff_compression;
    std::optional<int> level; // of compression
    bool big_tiff = false;

    unsigned threads = 1;
    std::optional<std::int32_t> vector_level; // none: the library chooses
    bool info = false;
    bool quiet = false;
};

// An option that cannot be followed: the option (or the file it names) and why.
class option_error : public std::runtime_error {
public:
    option_error(const std::string& option, const std::string& reason) : std::runtime_error(option + ": " + reason) {}
};

} // namespace kx::convert
