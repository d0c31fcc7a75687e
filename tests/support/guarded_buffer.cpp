#include "guarded_buffer.h"

#include <cerrno>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

namespace kx_test {

guarded_buffer::guarded_buffer(std::size_t capacity)
    : page_size_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))),
      size_((capacity + page_size_ - 1) / page_size_ * page_size_), begin_(nullptr)
{
    void* const mapping =
        mmap(nullptr, size_ + 2 * page_size_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (mapping == MAP_FAILED) {
        throw std::system_error(errno, std::generic_category(), "mmap");
    }
    begin_ = static_cast<std::uint8_t*>(mapping) + page_size_;
    if (mprotect(begin_, size_, PROT_READ | PROT_WRITE) != 0) {
        const int error = errno;
        munmap(mapping, size_ + 2 * page_size_);
        throw std::system_error(error, std::generic_category(), "mprotect");
    }
}

guarded_buffer::~guarded_buffer()
{
    munmap(begin_ - page_size_, size_ + 2 * page_size_);
}

} // namespace kx_test
