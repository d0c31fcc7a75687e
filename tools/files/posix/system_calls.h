// What files.cpp asks of the system beside POSIX's own calls.
#pragma once

#include "output_file.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kx::files {

namespace fs = std::filesystem;

// Why a call has failed.
inline std::string last_error()
{
    return std::generic_category().message(errno);
}

inline bool may_write(const fs::path& file)
{
    return access(file.c_str(), W_OK) == 0;
}

inline int open_to_read(const fs::path& file)
{
    return open(file.c_str(), O_RDONLY | O_CLOEXEC);
}

// A pipe has no places: it is read on.
inline ssize_t read_at(int descriptor, void* bytes, std::size_t count, off_t place)
{
    const ssize_t now = pread(descriptor, bytes, count, place);
    return now < 0 && errno == ESPIPE ? read(descriptor, bytes, count) : now;
}

inline fs::path directory_of(const fs::path& file)
{
    return file.parent_path() / ".";
}

// Where the system shows an open file that has no name.
inline std::string shown(int descriptor)
{
    return "/proc/self/fd/" + std::to_string(descriptor);
}

// What must not stay half-done when the user ends the program: signals take no file without a name along.
struct uninterrupted {};

// A new file that vanishes when it is closed, since it has no name; where there are no such files it has the one given.
inline int create(const fs::path& name)
{
    constexpr mode_t permissions = 0666; // without those that the user's mask has
#ifdef O_TMPFILE
    const int nameless = open(directory_of(name).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, permissions);
    if (nameless >= 0 && access(shown(nameless).c_str(), F_OK) == 0) {
        return nameless;
    }
    if (nameless >= 0) {
        close(nameless); // it could not be given a name
    }
#endif
    return open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, permissions);
}

// All of it is written. It gets the permissions of the file that it will replace.
inline bool finish(int& descriptor, const fs::path& replaced)
{
    struct stat before {};
    if (stat(replaced.c_str(), &before) == 0 && fchmod(descriptor, before.st_mode & 0777) != 0) {
        return false;
    }
    // Some file systems tell of a full disk or quota only when a file is closed: any descriptor's end will do, while
    // the last one keeps a file without a name.
    const int second = fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    return second >= 0 && close(second) == 0;
}

// Like rename(), but an error where the name is taken. Some file systems lack the one way, some the other.
inline int rename_to_new(const char* from, const char* to)
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

inline bool put_in_place(int descriptor, const fs::path& temporary, const fs::path& target, output_options options)
{
    if (access(temporary.c_str(), F_OK) != 0) {
        const fs::path& first_name = options.replace ? temporary : target;
        if (linkat(AT_FDCWD, shown(descriptor).c_str(), AT_FDCWD, first_name.c_str(), AT_SYMLINK_FOLLOW) != 0) {
            return false;
        }
        if (!options.replace) {
            return true;
        }
    }
    return (options.replace ? std::rename : rename_to_new)(temporary.c_str(), target.c_str()) == 0;
}

inline bool sync_directory_of(const fs::path& file)
{
    const int directory = open(directory_of(file).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool done = fsync(directory) == 0;
    close(directory);
    return done;
}

inline void remove_file(const fs::path& file)
{
    unlink(file.c_str());
}

} // namespace kx::files
