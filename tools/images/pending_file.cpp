#include "pending_file.h"

#include "image_file.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <random>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace kx::images {

namespace fs = std::filesystem;

namespace {

// The temporary files that exist now, where a signal handler can find them: one for each file in work.
std::array<std::atomic<const char*>, 512> temporary_files;

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

pending_file::pending_file(const fs::path& file, bool overwrite)
    : final_name_(file), target_(file), overwrite_(overwrite)
{
    struct stat status {};
    if (stat(file.c_str(), &status) == 0) {
        if (!overwrite) {
            throw image_error(file, "exists already and is not to be overwritten");
        }
        if (!S_ISREG(status.st_mode)) {
            throw image_error(file, "cannot be written: it exists and is no regular file");
        }
        // Root may write anywhere; the protection was meant for somebody.
        if ((status.st_mode & 0222) == 0 || access(file.c_str(), W_OK) != 0) {
            throw image_error(file, "cannot be written: it is write-protected");
        }
        target_ = fs::canonical(file);
    }
    std::random_device random;
    int descriptor = -1;
    do {
        // Known to the signal handler before it exists.
        temporary_name_ = (target_.parent_path() / (".kx-" + std::to_string(random()))).string();
        exchange_in_list(nullptr, temporary_name_.c_str());
        descriptor = open(temporary_name_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (descriptor < 0) {
            exchange_in_list(temporary_name_.c_str(), nullptr);
        }
    } while (descriptor < 0 && errno == EEXIST);
    if (descriptor < 0) {
        throw image_error(file, std::string("cannot be written: no file can be created in its directory: ")
                                    + std::strerror(errno));
    }
    close(descriptor);
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
    const char* const from = temporary_name_.c_str();
    // A link, unlike a new name, replaces nothing.
    const bool in_place = chmod(from, permissions_for(target_)) == 0
                          && (overwrite_ ? std::rename(from, target_.c_str()) == 0
                                         : link(from, target_.c_str()) == 0 && unlink(from) == 0);
    if (!in_place) {
        throw image_error(final_name_, std::string("cannot be put in place: ") + std::strerror(errno));
    }
    exchange_in_list(temporary_name_.c_str(), nullptr);
    temporary_name_.clear();
}

extern "C" {
static void clean_up_and_end(int signal_number)
{
    for (const auto& entry : temporary_files) {
        if (const char* name = entry.load()) {
            unlink(name);
        }
    }
    std::signal(signal_number, SIG_DFL);
    std::raise(signal_number);
}
}

void remove_temporary_files_on_signals()
{
    // All that end a process by default, but for what cannot be caught.
    for (int number = 1; number <= SIGRTMAX; ++number) {
        constexpr std::array without_effect{SIGCHLD, SIGCONT, SIGURG, SIGWINCH, SIGTSTP, SIGTTIN, SIGTTOU};
        if (std::ranges::find(without_effect, number) == without_effect.end()
            && std::signal(number, clean_up_and_end) == SIG_IGN) { // nohup stays in force
            std::signal(number, SIG_IGN);
        }
    }
    std::signal(SIGXFSZ, SIG_IGN); // a write beyond the file size limit then fails like any other
}

} // namespace kx::images
