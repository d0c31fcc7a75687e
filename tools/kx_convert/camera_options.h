// The options that say what the camera delivers: a profile, or its members one by one.
#pragma once

#include "settings.h"

#include <CLI/CLI.hpp>

namespace kx::convert {

class camera_options {
public:
    explicit camera_options(CLI::App& app);
    camera_options(const camera_options&) = delete; // the parser holds references to the members
    camera_options& operator=(const camera_options&) = delete;
    ~camera_options() = default;

    // After all other groups: matrices and depth given there come before the profile's. Throws option_error.
    void put_into(settings& wanted) const;

private:
    const CLI::App& app_;
    std::string profile_;
    std::vector<double> black_level_;
    std::vector<std::string> white_balance_;
};

} // namespace kx::convert
