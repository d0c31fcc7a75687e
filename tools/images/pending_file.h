// A file that gets its final name only when it is complete.
#pragma once

#include <filesystem>
#include <string>

namespace kx::images {

class pending_file {
public:
    // Creates an empty temporary file in the directory of `file`, or of what a symbolic link `file` points at.
    // Throws image_error, also if the file is there and must not be overwritten or is write-protected.
    explicit pending_file(const std::filesystem::path& file, bool overwrite = true);
    pending_file(const pending_file&) = delete;
    pending_file& operator=(const pending_file&) = delete;

    // Removes the temporary file unless it was committed.
    ~pending_file();

    // The final name as the caller gave it, for messages.
    [[nodiscard]] const std::filesystem::path& final_name() const { return final_name_; }

    // The name to write to.
    [[nodiscard]] const std::string& temporary_name() const { return temporary_name_; }

    // Gives the file its final name, in place of what had it before, whose permissions it takes over.
    void commit();

private:
    std::filesystem::path final_name_;
    std::filesystem::path target_;
    bool overwrite_;
    std::string temporary_name_; // empty once there is nothing to remove
};

} // namespace kx::images
