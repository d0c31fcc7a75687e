// What libtiff reads from and writes to: a file, several times at once if need be, or memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <vector>

namespace kx::images {

class byte_stream {
public:
    virtual ~byte_stream() = default;

    // The bytes read or written from a place on, fewer than `count` at the end of the stream or after an error.
    virtual std::size_t read(std::uint64_t place, void* bytes, std::size_t count) = 0;
    virtual std::size_t write(std::uint64_t place, const void* bytes, std::size_t count) = 0;
    virtual std::uint64_t size() = 0;

    // The system's number of the last error, or 0.
    [[nodiscard]] int error() const { return error_; }

protected:
    int error_ = 0;
};

// An open file, closed when its last owner is gone.
class open_file {
public:
    // `flags` as for open(2). Throws image_error, which calls the file `shown_name`.
    open_file(const std::string& path, int flags, const std::filesystem::path& shown_name);
    open_file(const open_file&) = delete;
    open_file& operator=(const open_file&) = delete;
    ~open_file();

    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    int descriptor_;
};

// One of any number of independent views of an open file: they share no position.
class file_stream final : public byte_stream {
public:
    explicit file_stream(std::shared_ptr<const open_file> file) : file_(std::move(file)) {}

    std::size_t read(std::uint64_t place, void* bytes, std::size_t count) override;
    std::size_t write(std::uint64_t place, const void* bytes, std::size_t count) override;
    std::uint64_t size() override;

private:
    std::shared_ptr<const open_file> file_;
};

class memory_stream final : public byte_stream {
public:
    std::size_t read(std::uint64_t place, void* bytes, std::size_t count) override;
    std::size_t write(std::uint64_t place, const void* bytes, std::size_t count) override;
    std::uint64_t size() override { return bytes_.size(); }

    [[nodiscard]] const std::byte* data() const { return bytes_.data(); }

private:
    std::vector<std::byte> bytes_;
};

} // namespace kx::images
