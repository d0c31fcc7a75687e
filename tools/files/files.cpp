#include "output_file.h"
#include "system_calls.h"

#include <cerrno>
#include <random>

#include <sys/stat.h>
#include <unistd.h>

namespace kx::files {

namespace {

constexpr const char* name_is_taken = "exists already and is not to be overwritten";

[[noreturn]] void fail(const fs::path& file, const std::string& what)
{
    throw file_error(file, what + ": " + last_error());
}

// Goes on after interruptions and partial transfers, until nothing more comes.
template <typename Transfer, typename Byte>
std::size_t transfer_all(Transfer transfer, int descriptor, Byte* bytes, std::size_t count, std::uint64_t place,
                         const fs::path& file, const char* failure)
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t now = transfer(descriptor, bytes + done, count - done, static_cast<off_t>(place + done));
        if (now == 0) {
            break;
        }
        if (now > 0) {
            done += static_cast<std::size_t>(now);
        } else if (errno != EINTR) {
            fail(file, failure);
        }
    }
    return done;
}

// A name in the file's directory that nothing has, as far as chance can tell.
fs::path temporary_name(const fs::path& file)
{
    std::random_device random;
    return file.parent_path() / (".kx-" + std::to_string(random()) + std::to_string(random()));
}

} // namespace

readable_file::readable_file(const fs::path& file) : readable_file(file, open_to_read(file))
{
    if (descriptor_ < 0) {
        fail(file, "cannot be opened");
    }
}

readable_file::~readable_file()
{
    if (descriptor_ >= 0) {
        close(descriptor_);
    }
}

std::size_t readable_file::read(std::uint64_t place, void* bytes, std::size_t count) const
{
    return transfer_all(read_at, descriptor_, static_cast<std::byte*>(bytes), count, place, name_, "cannot be read");
}

std::uint64_t readable_file::size() const noexcept
{
    struct stat status {};
    return fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

output_file::output_file(const fs::path& file, output_options options)
    : readable_file(file, -1), options_(options), target_(file)
{
    std::error_code ignored;
    const fs::file_status before = fs::status(file, ignored);
    if (fs::exists(before)) {
        if (!options.replace) {
            throw file_error(file, name_is_taken);
        }
        if (!fs::is_regular_file(before)) {
            throw file_error(file, "cannot be written: it exists and is no regular file");
        }
        // Root may write anywhere; the protection was meant for somebody.
        if ((before.permissions() & fs::perms{0222}) == fs::perms::none || !may_write(file)) {
            throw file_error(file, "cannot be written: it is write-protected");
        }
        const fs::path found = fs::canonical(file, ignored);
        target_ = found.empty() ? file : found;
    }
    temporary_ = temporary_name(target_);
    [[maybe_unused]] const uninterrupted beginning;
    descriptor_ = create(temporary_);
    if (descriptor_ < 0) {
        fail(file, "cannot be written: no file can be created in its directory");
    }
}

output_file::~output_file()
{
    if (!temporary_.empty()) {
        remove_file(temporary_);
    }
}

void output_file::write(std::uint64_t place, const void* bytes, std::size_t count)
{
    const auto* const first = static_cast<const std::byte*>(bytes);
    if (transfer_all(pwrite, descriptor_, first, count, place, name_, "cannot be written") != count) {
        throw file_error(name_, "cannot be written: the system takes no more");
    }
}

void output_file::commit()
{
    if (options_.sync && fsync(descriptor_) != 0) {
        fail(name_, "cannot be written");
    }
    [[maybe_unused]] const uninterrupted naming;
    if (!finish(descriptor_, target_)) {
        fail(name_, "cannot be written");
    }
    if (!put_in_place(descriptor_, temporary_, target_, options_)) {
        std::error_code ignored;
        const std::string reason = last_error();
        const bool is_taken = !options_.replace && fs::exists(target_, ignored);
        throw file_error(name_, is_taken ? name_is_taken : "cannot be put in place: " + reason);
    }
    temporary_.clear();
    if (options_.sync && !sync_directory_of(target_)) {
        fail(name_, "is complete, but its directory cannot be waited for");
    }
}

} // namespace kx::files
