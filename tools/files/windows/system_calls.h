// What files.cpp asks of the system: the same as of others, and what Windows lacks of POSIX's calls.
#pragma once

#include "long_name.h"
#include "output_file.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace kx::files {

namespace fs = std::filesystem;

inline std::string last_error()
{
    const DWORD number = GetLastError();
    if (number == ERROR_SHARING_VIOLATION) {
        return "another program holds it open";
    }
    // In the words of other systems where they have any.
    const std::error_code code(static_cast<int>(number), std::system_category());
    const std::error_condition meaning = code.default_error_condition();
    std::string reason = meaning.category() == std::generic_category() ? meaning.message() : code.message();
    reason.erase(reason.find_last_not_of(" .\r\n") + 1);
    return reason;
}

inline bool may_write(const fs::path& /*file*/)
{
    return true; // as far as its permissions tell
}

inline HANDLE handle_of(int descriptor)
{
    return reinterpret_cast<HANDLE>(_get_osfhandle(descriptor));
}

// The place comes with each transfer, so that several threads may use a descriptor.
template <typename Transfer, typename Bytes>
ssize_t transfer_at(Transfer transfer, int descriptor, Bytes bytes, std::size_t count, off_t place)
{
    OVERLAPPED where{};
    where.Offset = static_cast<DWORD>(place);
    where.OffsetHigh = static_cast<DWORD>(place >> 32);
    DWORD done = 0;
    const auto wanted = static_cast<DWORD>(std::min<std::size_t>(count, std::size_t{1} << 30U));
    const bool failed = transfer(handle_of(descriptor), bytes, wanted, &done, &where) == FALSE;
    return failed && GetLastError() != ERROR_HANDLE_EOF ? -1 : static_cast<ssize_t>(done);
}

inline ssize_t read_at(int descriptor, void* bytes, std::size_t count, off_t place)
{
    return transfer_at(ReadFile, descriptor, bytes, count, place);
}

inline ssize_t pwrite(int descriptor, const void* bytes, std::size_t count, off_t place)
{
    return transfer_at(WriteFile, descriptor, bytes, count, place);
}

inline int fsync(int descriptor)
{
    return _commit(descriptor);
}

inline int open_as(const fs::path& file, DWORD access, DWORD sharing, DWORD how)
{
    const HANDLE handle =
        CreateFileW(long_name(file).c_str(), access, sharing, nullptr, how, FILE_ATTRIBUTE_NORMAL, nullptr);
    return handle == INVALID_HANDLE_VALUE ? -1 : _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_BINARY);
}

inline int open_to_read(const fs::path& file)
{
    return open_as(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, OPEN_EXISTING);
}

// Whether the file goes when it is closed, also when the process ends in the middle of its work.
inline bool set_vanishing(int descriptor, bool vanishing)
{
    FILE_DISPOSITION_INFO wanted{};
    wanted.DeleteFile = vanishing ? TRUE : FALSE;
    return SetFileInformationByHandle(handle_of(descriptor), FileDispositionInfo, &wanted, sizeof(wanted)) != FALSE;
}

// Ctrl-C ends the program, but not between the steps by which a file begins or gets its name: it would stay behind.
class uninterrupted {
public:
    uninterrupted()
    {
        static const bool waits = SetConsoleCtrlHandler(wait_for_all, TRUE) != FALSE;
        static_cast<void>(waits);
        AcquireSRWLockShared(&guard);
    }
    uninterrupted(const uninterrupted&) = delete;
    uninterrupted& operator=(const uninterrupted&) = delete;
    ~uninterrupted() { ReleaseSRWLockShared(&guard); }

private:
    static BOOL WINAPI wait_for_all(DWORD /*event*/)
    {
        AcquireSRWLockExclusive(&guard); // for good
        return FALSE;                    // the next handler, the system's, ends the program
    }

    static inline SRWLOCK guard = SRWLOCK_INIT;
};

inline int create(const fs::path& name)
{
    const int created = open_as(name, GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_DELETE, CREATE_NEW);
    if (created >= 0) {
        set_vanishing(created, true); // where the file system cannot, remove_file() does it
    }
    return created;
}

inline bool finish(int& descriptor, const fs::path& /*replaced*/)
{
    return set_vanishing(descriptor, false) && close(std::exchange(descriptor, -1)) == 0;
}

inline bool put_in_place(int /*descriptor*/, const fs::path& temporary, const fs::path& target, output_options options)
{
    const DWORD how = (options.replace ? MOVEFILE_REPLACE_EXISTING : 0U) | (options.sync ? MOVEFILE_WRITE_THROUGH : 0U);
    if (MoveFileExW(long_name(temporary).c_str(), long_name(target).c_str(), how) != FALSE) {
        return true;
    }
    // What is held open without the right to delete it counts as a matter of access here.
    if (GetLastError() == ERROR_ACCESS_DENIED
        && GetFileAttributesW(long_name(target).c_str()) != INVALID_FILE_ATTRIBUTES) {
        SetLastError(ERROR_SHARING_VIOLATION);
    }
    return false;
}

inline bool sync_directory_of(const fs::path& /*file*/)
{
    return true; // put_in_place() has waited for it
}

inline void remove_file(const fs::path& file)
{
    DeleteFileW(long_name(file).c_str());
}

} // namespace kx::files
