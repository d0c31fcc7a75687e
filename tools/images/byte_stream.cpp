#include "byte_stream.h"

#include "image_file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kx::images {

open_file::open_file(const std::string& path, int flags, const std::filesystem::path& shown_name)
    : descriptor_(open(path.c_str(), flags | O_CLOEXEC))
{
    if (descriptor_ < 0) {
        throw image_error(shown_name, std::string("cannot be opened: ") + std::strerror(errno));
    }
}

open_file::~open_file()
{
    close(descriptor_);
}

namespace {

// Goes on after interruptions and partial transfers, until nothing more comes.
template <typename Transfer, typename Byte>
std::size_t transfer_all(Transfer transfer, int descriptor, Byte* bytes, std::size_t count, std::uint64_t place,
                         int& error)
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t now = transfer(descriptor, bytes + done, count - done, static_cast<off_t>(place + done));
        if (now > 0) {
            done += static_cast<std::size_t>(now);
        } else if (now == 0 || errno != EINTR) {
            error = now == 0 ? error : errno;
            break;
        }
    }
    return done;
}

} // namespace

std::size_t file_stream::read(std::uint64_t place, void* bytes, std::size_t count)
{
    return transfer_all(pread, file_->descriptor(), static_cast<std::byte*>(bytes), count, place, error_);
}

std::size_t file_stream::write(std::uint64_t place, const void* bytes, std::size_t count)
{
    return transfer_all(pwrite, file_->descriptor(), static_cast<const std::byte*>(bytes), count, place, error_);
}

std::uint64_t file_stream::size()
{
    struct stat status {};
    return fstat(file_->descriptor(), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

std::size_t memory_stream::read(std::uint64_t place, void* bytes, std::size_t count)
{
    const std::size_t there = place < bytes_.size() ? std::min(count, bytes_.size() - place) : 0;
    std::copy_n(bytes_.data() + (there > 0 ? place : 0), there, static_cast<std::byte*>(bytes));
    return there;
}

std::size_t memory_stream::write(std::uint64_t place, const void* bytes, std::size_t count)
{
    if (place + count > bytes_.size()) {
        bytes_.resize(place + count);
    }
    std::copy_n(static_cast<const std::byte*>(bytes), count, bytes_.data() + place);
    return count;
}

} // namespace kx::images
