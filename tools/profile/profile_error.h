// What is wrong with a camera profile.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <utility>

namespace kx::profile {

// The JSON path of an element of the array at `path`.
inline std::string element_path(const std::string& path, std::size_t index)
{
    return path + '/' + std::to_string(index);
}

class profile_error : public std::runtime_error {
public:
    // `path` is the JSON path of the wrong member ("/white_balance/1"), empty for the profile as a whole; `file` is
    // where the profile came from or should go to, if that is a file.
    profile_error(std::string path, std::string reason, const std::string& file = {})
        : std::runtime_error((file.empty() ? "" : file + ": ") + (path.empty() ? "" : path + ": ") + reason),
          path_(std::move(path)), reason_(std::move(reason))
    {
    }

    [[nodiscard]] const std::string& path() const noexcept { return path_; }
    [[nodiscard]] const std::string& reason() const noexcept { return reason_; }

private:
    std::string path_;
    std::string reason_;
};

} // namespace kx::profile
