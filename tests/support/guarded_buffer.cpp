#include "guarded_buffer.h"

#include <cerrno>
#include <system_error>

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace kx_test {

#if defined(_WIN32)

guarded_buffer::guarded_buffer(std::size_t capacity)
    : page_size_(4096), size_((capacity + page_size_ - 1) / page_size_ * page_size_), begin_(nullptr)
{
    void* const mapping = VirtualAlloc(nullptr, size_ + 2 * page_size_, MEM_RESERVE, PAGE_NOACCESS);
    begin_ = static_cast<std::uint8_t*>(mapping) + page_size_;
    if (mapping == nullptr || (size_ > 0 && VirtualAlloc(begin_, size_, MEM_COMMIT, PAGE_READWRITE) == nullptr)) {
        const std::system_error error(static_cast<int>(GetLastError()), std::system_category(), "memory");
        VirtualFree(mapping, 0, MEM_RELEASE);
        throw error;
    }
}

guarded_buffer::~guarded_buffer()
{
    VirtualFree(begin_ - page_size_, 0, MEM_RELEASE);
}

#else

guarded_buffer::guarded_buffer(std::size_t capacity)
    : page_size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
      size_((capacity + page_size_ - 1) / page_size_ * page_size_), begin_(nullptr)
{
    void* const mapping =
        mmap(nullptr, size_ + 2 * page_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "address space");
    }
    begin_ = static_cast<std::uint8_t*>(mapping) + page_size_;
    if (size_ > 0 && mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0) {
        const std::system_error error(errno, std::generic_category(), "memory");
        munmap(mapping, size_ + 2 * page_size_);
        throw error;
    }
}

guarded_buffer::~guarded_buffer()
{
    munmap(begin_ - page_size_, size_ + 2 * page_size_);
}

#endif

} // namespace kx_test
