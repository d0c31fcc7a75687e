// What the command line asks for, before anything is looked up or worked out.
#pragma once

#include "images/image_file.h"
#include "profile/camera_profile.h"
#include "profile/white_balance.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kx::convert {

using profile::per_channel;

inline constexpr per_channel<const char*> channel_names{"red", "green", "blue"};

// A value for all channels, and a channel's own, which comes before it.
template <typename Value>
struct channel_option {
    std::optional<Value> all{};
    per_channel<std::optional<Value>> own{};

    const std::optional<Value>& operator[](std::size_t channel) const
    {
        return own.at(channel) ? own.at(channel) : all;
    }
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
    std::optional<images::file_type> output_format; // by default the output's or else the input's suffix decides
    std::vector<page_range> pages;                  // none: all
    bool channel_pages = false;                     // three grey pages are red, green and blue
    bool overwrite = false;
    bool skip_existing = false;
    bool stop_at_error = false;
    bool strict = false;  // a loss is an error
    bool sync = false;    // a file is done when it is on the disk
    bool dry_run = false; // outputs are made, but none gets a name

    // The camera's profile, and what comes before its members.
    std::filesystem::path profile; // none: one that changes nothing
    std::optional<int> bits;
    std::optional<profile::channel_values> black_level;
    std::optional<profile::channel_values> white_balance;
    std::optional<profile::pixel_area> balance_area; // that the white balance comes from, in each file
    std::optional<profile::color_matrix> matrix;     // the product of all that were given
    channel_option<std::string> output_LUTs;         // one name of a curve for all channels is the profile's curve
    std::optional<int> depth;

    // What no profile says.
    channel_option<std::string> input_LUTs; // in place of a channel's black level and balance
    std::optional<int> output_LUT_bits;
    channel_option<std::pair<int, int>> clamps;
    channel_option<int> shifts;

    unsigned channels = 3;
    bool planar = false;
    std::optional<images::compression> tiff_compression;
    std::optional<int> level; // of compression
    bool big_tiff = false;

    unsigned threads = std::max(1U, std::thread::hardware_concurrency());
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
