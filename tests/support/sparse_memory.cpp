#include "support/sparse_memory.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <sys/mman.h>
#endif

namespace kx_test {

#if defined(_WIN32)

sparse_memory::sparse_memory(std::size_t size)
    : size_(size), data_(VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_READWRITE))
{
}

sparse_memory::~sparse_memory()
{
    if (data_ != nullptr) {
        VirtualFree(data_, 0, MEM_RELEASE);
    }
}

bool sparse_memory::commit(std::size_t offset, std::size_t size)
{
    return offset + size <= size_
           && VirtualAlloc(static_cast<char*>(data_) + offset, size, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

#else

sparse_memory::sparse_memory(std::size_t size)
    : size_(size),
      data_(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0))
{
    if (data_ == MAP_FAILED) {
        data_ = nullptr;
    }
}

sparse_memory::~sparse_memory()
{
    if (data_ != nullptr) {
        munmap(data_, size_);
    }
}

bool sparse_memory::commit(std::size_t offset, std::size_t size)
{
    return offset + size <= size_;
}

#endif

} // namespace kx_test
