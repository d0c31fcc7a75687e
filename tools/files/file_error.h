// What went wrong with a file.
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace kx::files {

// The text begins with the file's name.
class file_error : public std::runtime_error {
public:
    file_error(const std::filesystem::path& file, const std::string& reason)
        : std::runtime_error(file.string() + ": " + reason), reason_(reason)
    {
    }

    // Without the file's name.
    [[nodiscard]] const std::string& reason() const noexcept { return reason_; }

private:
    std::string reason_;
};

} // namespace kx::files
