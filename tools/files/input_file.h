// A file open for reading, at any place and by several threads at the same time.
#pragma once

#include "file_error.h"

#include <cstddef>
#include <cstdint>

namespace kx::files {

class input_file {
public:
    // Throws file_error.
    explicit input_file(const std::filesystem::path& file);
    input_file(const input_file&) = delete;
    input_file& operator=(const input_file&) = delete;
    ~input_file();

    // The bytes read from a place on, fewer than `count` at the end of the file. Throws file_error.
    std::size_t read(std::uint64_t place, void* bytes, std::size_t count) const;

    [[nodiscard]] std::uint64_t size() const noexcept; // 0 if the system cannot tell

private:
    std::filesystem::path name_;
    std::intptr_t handle_; // the system's
};

} // namespace kx::files
