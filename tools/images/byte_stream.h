// What libtiff reads from and writes to.
#pragma once

#include "files/output_file.h"
#include "files/readable_file.h"

#include <limits>
#include <memory>
#include <utility>

namespace kx::images {

class byte_stream {
public:
    virtual ~byte_stream() = default;

    // The bytes read from a place on, fewer than `count` at the end of the stream only. Throws files::file_error.
    virtual std::size_t read(std::uint64_t place, void* bytes, std::size_t count) = 0;
    virtual void write(std::uint64_t place, const void* bytes, std::size_t count) = 0;
    virtual std::uint64_t size() = 0;
};

// One of any number of views of a file.
class input_stream final : public byte_stream {
public:
    explicit input_stream(std::shared_ptr<const files::readable_file> file) : file_(std::move(file)) {}

    // Damaged files say places that no file reaches: what the system cannot count lies behind the end.
    std::size_t read(std::uint64_t place, void* bytes, std::size_t count) override
    {
        constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
        return place <= most && count <= most - place ? file_->read(place, bytes, count) : 0;
    }
    void write(std::uint64_t, const void*, std::size_t) override {} // libtiff reads only
    std::uint64_t size() override { return file_->size(); }

private:
    std::shared_ptr<const files::readable_file> file_;
};

class output_stream final : public byte_stream {
public:
    explicit output_stream(files::output_file& file) : file_(file) {}

    std::size_t read(std::uint64_t place, void* bytes, std::size_t count) override
    {
        return file_.read(place, bytes, count);
    }
    void write(std::uint64_t place, const void* bytes, std::size_t count) override { file_.write(place, bytes, count); }
    std::uint64_t size() override { return file_.size(); }

private:
    files::output_file& file_;
};

} // namespace kx::images
