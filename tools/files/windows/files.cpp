#include "files/input_file.h"
#include "files/output_file.h"

#include <algorithm>
#include <random>
#include <string>
#include <system_error>
#include <utility>

#include <windows.h>

namespace kx::files {

namespace fs = std::filesystem;

namespace {

constexpr const char* name_is_taken = "exists already and is not to be overwritten";

HANDLE handle_of(std::intptr_t handle)
{
    return reinterpret_cast<HANDLE>(handle);
}

[[noreturn]] void fail(const fs::path& file, const std::string& what, DWORD code = GetLastError())
{
    if (code == ERROR_SHARING_VIOLATION) {
        throw file_error(file, what + ": another program holds it open");
    }
    std::string reason = std::system_category().message(static_cast<int>(code));
    reason.erase(reason.find_last_not_of(" .\r\n") + 1);
    throw file_error(file, what + ": " + reason);
}

// As the system takes it, whatever its length.
std::wstring long_name(const fs::path& file)
{
    std::error_code ignored;
    const std::wstring name = fs::absolute(file, ignored).lexically_normal().make_preferred().wstring();
    if (name.size() < MAX_PATH - 12 || name.starts_with(L"\\\\?\\")) {
        return name;
    }
    return name.starts_with(L"\\\\") ? L"\\\\?\\UNC" + name.substr(1) : L"\\\\?\\" + name;
}

// The system takes the place with each transfer, so that several threads may use a handle.
template <typename Transfer, typename Byte>
std::size_t transfer_all(Transfer transfer, std::intptr_t handle, Byte* bytes, std::size_t count, std::uint64_t place,
                         const fs::path& file, const char* failure)
{
    std::size_t done = 0;
    while (done < count) {
        OVERLAPPED where{};
        where.Offset = static_cast<DWORD>(place + done);
        where.OffsetHigh = static_cast<DWORD>((place + done) >> 32U);
        const auto wanted = static_cast<DWORD>(std::min<std::size_t>(count - done, std::size_t{1} << 30U));
        DWORD now = 0;
        if (transfer(handle_of(handle), bytes + done, wanted, &now, &where) == FALSE
            && GetLastError() != ERROR_HANDLE_EOF) {
            fail(file, failure);
        }
        if (now == 0) {
            break;
        }
        done += now;
    }
    return done;
}

std::size_t read_all(std::intptr_t handle, void* bytes, std::size_t count, std::uint64_t place, const fs::path& file)
{
    return transfer_all(ReadFile, handle, static_cast<char*>(bytes), count, place, file, "cannot be read");
}

std::uint64_t size_of(std::intptr_t handle)
{
    LARGE_INTEGER size{};
    return GetFileSizeEx(handle_of(handle), &size) == FALSE ? 0 : static_cast<std::uint64_t>(size.QuadPart);
}

// A name in the file's directory that nothing has, as far as chance can tell.
fs::path temporary_name(const fs::path& file)
{
    std::random_device random;
    return file.parent_path() / (".kx-" + std::to_string(random()) + std::to_string(random()));
}

// Whether the file goes when its last handle is closed, also when the process ends in the middle of its work.
bool set_vanishing(std::intptr_t handle, bool vanishing)
{
    FILE_DISPOSITION_INFO wanted{};
    wanted.DeleteFile = vanishing ? TRUE : FALSE;
    return SetFileInformationByHandle(handle_of(handle), FileDispositionInfo, &wanted, sizeof(wanted)) != FALSE;
}

} // namespace

input_file::input_file(const fs::path& file)
    : name_(file), handle_(reinterpret_cast<std::intptr_t>(CreateFileW(long_name(file).c_str(), GENERIC_READ,
                                                                       FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr,
                                                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr)))
{
    if (handle_of(handle_) == INVALID_HANDLE_VALUE) {
        fail(file, "cannot be opened");
    }
}

input_file::~input_file()
{
    CloseHandle(handle_of(handle_));
}

std::size_t input_file::read(std::uint64_t place, void* bytes, std::size_t count) const
{
    return read_all(handle_, bytes, count, place, name_);
}

std::uint64_t input_file::size() const noexcept
{
    return size_of(handle_);
}

output_file::output_file(const fs::path& file, output_options options)
    : name_(file), target_(long_name(file)), options_(options)
{
    const DWORD attributes = GetFileAttributesW(target_.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES) {
        if (!options.replace) {
            throw file_error(file, name_is_taken);
        }
        if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_DEVICE)) != 0) {
            throw file_error(file, "cannot be written: it exists and is no regular file");
        }
        if ((attributes & FILE_ATTRIBUTE_READONLY) != 0) {
            throw file_error(file, "cannot be written: it is write-protected");
        }
    }
    temporary_ = long_name(temporary_name(target_));
    const HANDLE created = CreateFileW(temporary_.c_str(), GENERIC_READ | GENERIC_WRITE | DELETE, FILE_SHARE_DELETE,
                                       nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (created == INVALID_HANDLE_VALUE) {
        fail(file, "cannot be written: no file can be created in its directory");
    }
    handle_ = reinterpret_cast<std::intptr_t>(created);
    set_vanishing(handle_, true); // where the file system cannot, the destructor deletes it
}

output_file::~output_file()
{
    if (handle_ != -1) {
        CloseHandle(handle_of(handle_));
    }
    if (!temporary_.empty()) {
        DeleteFileW(temporary_.c_str());
    }
}

void output_file::write(std::uint64_t place, const void* bytes, std::size_t count)
{
    if (transfer_all(WriteFile, handle_, static_cast<const char*>(bytes), count, place, name_, "cannot be written")
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
    if ((options_.sync && FlushFileBuffers(handle_of(handle_)) == FALSE) || !set_vanishing(handle_, false)) {
        fail(name_, "cannot be written");
    }
    if (CloseHandle(handle_of(std::exchange(handle_, -1))) == FALSE) {
        fail(name_, "cannot be written");
    }
    const DWORD how =
        (options_.replace ? MOVEFILE_REPLACE_EXISTING : 0U) | (options_.sync ? MOVEFILE_WRITE_THROUGH : 0U);
    if (MoveFileExW(temporary_.c_str(), target_.c_str(), how) == FALSE) {
        const DWORD code = GetLastError();
        if (code == ERROR_ALREADY_EXISTS || code == ERROR_FILE_EXISTS) {
            throw file_error(name_, name_is_taken);
        }
        // What is held open without the right to delete it counts as a matter of access here.
        const bool there = GetFileAttributesW(target_.c_str()) != INVALID_FILE_ATTRIBUTES;
        fail(name_, "cannot be put in place", code == ERROR_ACCESS_DENIED && there ? ERROR_SHARING_VIOLATION : code);
    }
    temporary_.clear();
}

} // namespace kx::files
