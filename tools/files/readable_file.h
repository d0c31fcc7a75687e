// A file open for reading, at any place and by several threads at the same time. A pipe is read on from where it is.
#pragma once

#include "file_error.h"

#include <cstddef>
#include <cstdint>
#include <utility>

namespace kx::files {

class readable_file {
public:
    // Throws file_error.
    explicit readable_file(const std::filesystem::path& file);
    readable_file(const readable_file&) = delete;
    readable_file& operator=(const readable_file&) = delete;
    ~readable_file();

    // The name as the caller gave it.
    [[nodiscard]] const std::filesystem::path& name() const { return name_; }

    // The bytes read from a place on, fewer than `count` at the end of the file only. Throws file_error.
    std::size_t read(std::uint64_t place, void* bytes, std::size_t count) const;

    [[nodiscard]] std::uint64_t size() const noexcept; // 0 if the system cannot tell

protected:
    readable_file(std::filesystem::path file, int descriptor) : name_(std::move(file)), descriptor_(descriptor) {}

    std::filesystem::path name_;
    int descriptor_; // -1 for none
};

} // namespace kx::files
