#include "files/input_file.h"
#include "files/output_file.h"

#include <cerrno>
#include <cstdio>
#include <random>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kx::files {

namespace fs = std::filesystem;

namespace {

[[noreturn]] void fail(const fs::path& file, const std::string& what)
{
    throw file_error(file, what + ": " + std::generic_category().message(errno));
}

int descriptor(std::intptr_t handle)
{
    return static_cast<int>(handle);
}

// Goes on after interruptions and partial transfers, until nothing more comes.
template <typename Transfer, typename Byte>
std::size_t transfer_all(Transfer transfer, std::intptr_t handle, Byte* bytes, std::size_t count, std::uint64_t place,
                         const fs::path& file, const char* failure)
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t now = transfer(descriptor(handle), bytes + done, count - done, static_cast<off_t>(place + done));
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

std::size_t read_all(std::intptr_t handle, void* bytes, std::size_t count, std::uint64_t place, const fs::path& file)
{
    return transfer_all(pread, handle, static_cast<std::byte*>(bytes), count, place, file, "cannot be read");
}

std::uint64_t size_of(std::intptr_t handle)
{
    struct stat status {};
    return fstat(descriptor(handle), &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

fs::path folder_of(const fs::path& file)
{
    return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

// A name in the file's directory that nothing has, as far as chance can tell.
fs::path temporary_name(const fs::path& file)
{
    std::random_device random;
    return folder_of(file) / (".kx-" + std::to_string(random()) + std::to_string(random()));
}

// Where the system shows an open file that has no name.
std::string shown_descriptor(std::intptr_t handle)
{
    return "/proc/self/fd/" + std::to_string(handle);
}

// Like rename(), but an error where the name is taken. Some file systems lack the one way, some the other.
int rename_to_new(const char* from, const char* to)
{
#ifdef RENAME_NOREPLACE
    if (renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) == 0) {
        return 0;
    }
    if (errno != EINVAL && errno != ENOSYS) {
        return -1;
    }
#endif
    return link(from, to) == 0 ? unlink(from) : -1;
}

constexpr const char* name_is_taken = "exists already and is not to be overwritten";

[[noreturn]] void fail_in_place(const fs::path& file)
{
    if (errno == EEXIST) {
        throw file_error(file, name_is_taken);
    }
    fail(file, "cannot be put in place");
}

// The system takes the user's mask from the permissions, here and for files without names.
constexpr mode_t new_file = 0666;

} // namespace

input_file::input_file(const fs::path& file) : name_(file), handle_(open(file.c_str(), O_RDONLY | O_CLOEXEC))
{
    if (handle_ < 0) {
        fail(file, "cannot be opened");
    }
}

input_file::~input_file()
{
    close(descriptor(handle_));
}

std::size_t input_file::read(std::uint64_t place, void* bytes, std::size_t count) const
{
    return read_all(handle_, bytes, count, place, name_);
}

std::uint64_t input_file::size() const noexcept
{
    return size_of(handle_);
}

output_file::output_file(const fs::path& file, output_options options) : name_(file), target_(file), options_(options)
{
    struct stat status {};
    if (stat(file.c_str(), &status) == 0) {
        if (!options.replace) {
            throw file_error(file, name_is_taken);
        }
        if (!S_ISREG(status.st_mode)) {
            throw file_error(file, "cannot be written: it exists and is no regular file");
        }
        // Root may write anywhere; the protection was meant for somebody.
        if ((status.st_mode & 0222) == 0 || access(file.c_str(), W_OK) != 0) {
            throw file_error(file, "cannot be written: it is write-protected");
        }
        target_ = fs::canonical(file);
    }
#ifdef O_TMPFILE
    handle_ = open(folder_of(target_).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, new_file);
    if (handle_ >= 0 && access(shown_descriptor(handle_).c_str(), F_OK) != 0) {
        close(descriptor(handle_)); // it could not be given a name
        handle_ = -1;
    }
#endif
    while (handle_ < 0) {
        temporary_ = temporary_name(target_);
        handle_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, new_file);
        if (handle_ < 0 && errno != EEXIST) {
            fail(file, "cannot be written: no file can be created in its directory");
        }
    }
}

output_file::~output_file()
{
    close(descriptor(handle_));
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
    }
}

void output_file::write(std::uint64_t place, const void* bytes, std::size_t count)
{
    if (transfer_all(pwrite, handle_, static_cast<const std::byte*>(bytes), count, place, name_, "cannot be written")
        != count) {
        throw file_error(name_, "cannot be written: the system takes no more");
    }
}

std::size_t output_file::read(std::uint64_t place, void* bytes, std::size_t count) const
{
    return read_all(handle_, bytes, count, place, name_);
}

std::uint64_t output_file::size() const noexcept
{
    return size_of(handle_);
}

void output_file::commit()
{
    struct stat before {};
    if (options_.replace && stat(target_.c_str(), &before) == 0
        && fchmod(descriptor(handle_), before.st_mode & 0777) != 0) {
        fail(name_, "cannot be given the permissions of the file that it replaces");
    }
    // Some file systems tell of a full disk or quota only when a file is closed: any descriptor's end will do, while
    // the last one keeps a file without a name.
    const int second = fcntl(descriptor(handle_), F_DUPFD_CLOEXEC, 0);
    if (second < 0 || close(second) != 0 || (options_.sync && fsync(descriptor(handle_)) != 0)) {
        fail(name_, "cannot be written");
    }
    if (temporary_.empty()) {
        const fs::path first_name = options_.replace ? temporary_name(target_) : target_;
        if (linkat(AT_FDCWD, shown_descriptor(handle_).c_str(), AT_FDCWD, first_name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            fail_in_place(name_);
        }
        temporary_ = options_.replace ? first_name : fs::path();
    }
    if (!temporary_.empty()) {
        if ((options_.replace ? std::rename : rename_to_new)(temporary_.c_str(), target_.c_str()) != 0) {
            fail_in_place(name_);
        }
        temporary_.clear();
    }
    if (options_.sync) { // the name as well
        const int folder = open(folder_of(target_).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        const int done = fsync(folder);
        close(folder);
        if (done != 0) {
            fail(name_, "is complete, but its directory cannot be waited for");
        }
    }
}

} // namespace kx::files
