#include "pending_file.h"

#include "image_file.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <unistd.h>

namespace kx::images {

namespace fs = std::filesystem;

namespace {

// The temporary files that exist now, where a signal handler can find them. A program has one or two.
std::array<std::atomic<const char*>, 8> temporary_files;

void exchange_in_list(const char* from, const char* to)
{
    for (auto& entry : temporary_files) {
        const char* expected = from;
        if (entry.compare_exchange_strong(expected, to)) {
            return;
        }
    }
}

mode_t permissions_for(const fs::path& target)
{
    struct stat status {};
    if (stat(target.c_str(), &status) == 0) {
        return status.st_mode & 0777;
    }
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

} // namespace

pending_file::pending_file(const fs::path& file) : final_name_(file), target_(file)
{
    std::error_code ignored;
    if (fs::exists(file, ignored)) {
        if (!fs::is_regular_file(file, ignored)) {
            throw image_error(file, "cannot be written: it exists and is no regular file");
        }
        target_ = fs::canonical(file);
    }
    std::string name = (target_.parent_path() / ".kx-XXXXXX").string();
    const int descriptor = mkstemp(name.data());
    if (descriptor < 0) {
        throw image_error(file, std::string("cannot be written: no file can be created in its directory: ")
                                    + std::strerror(errno));
    }
    close(descriptor);
    temporary_name_ = name;
    exchange_in_list(nullptr, temporary_name_.c_str());
}

pending_file::~pending_file()
{
    if (!temporary_name_.empty()) {
        unlink(temporary_name_.c_str());
        exchange_in_list(temporary_name_.c_str(), nullptr);
    }
}

void pending_file::commit()
{
    if (chmod(temporary_name_.c_str(), permissions_for(target_)) != 0
        || std::rename(temporary_name_.c_str(), target_.c_str()) != 0) {
        throw image_error(final_name_, std::string("cannot be put in place: ") + std::strerror(errno));
    }
    exchange_in_list(temporary_name_.c_str(), nullptr);
    temporary_name_.clear();
}

void remove_temporary_files() noexcept
{
    for (const auto& entry : temporary_files) {
        if (const char* name = entry.load()) {
            unlink(name);
        }
    }
}

} // namespace kx::images
