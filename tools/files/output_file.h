// A file that has its name only when it is complete.
#pragma once

#include "readable_file.h"

namespace kx::files {

struct output_options {
    bool replace = true; // or else a file of this name is an error, even one that appears meanwhile
    bool sync = false;   // commit() waits until all of it is on the disk
};

// Until commit() the file vanishes with the process, whatever ends it, where the file system allows that. Elsewhere it
// is called `.kx-` and a number, in the directory where it will stand, and stays there if the process is killed.
class output_file : public readable_file {
public:
    // Begins an empty file in the directory of `file`, or of what a symbolic link `file` points at. Throws file_error,
    // also if the file is there and must not be replaced, is write-protected or is no regular file.
    explicit output_file(const std::filesystem::path& file, output_options options = {});
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;

    // Without commit() nothing stays of it, and a file of the final name is as it was.
    ~output_file();

    // Throws file_error.
    void write(std::uint64_t place, const void* bytes, std::size_t count);

    // Gives the file its name once the system has taken all of it without error, in place of what had the name before,
    // whose permissions it takes over. Nothing can be read or written afterwards. Throws file_error.
    void commit();

private:
    output_options options_;
    std::filesystem::path target_;    // what links lead to
    std::filesystem::path temporary_; // the name until then, if it needs one; empty in the end
};

} // namespace kx::files
