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

namespace {

std::size_t size_of_page()
{
    SYSTEM_INFO info{};
    GetSystemInfo(&info);
    return info.dwPageSize;
}

// Address space that cannot be read or written. Null if there is none.
void* reserve(std::size_t size)
{
    return VirtualAlloc(nullptr, size, MEM_RESERVE, PAGE_NOACCESS);
}

bool make_usable(void* begin, std::size_t size)
{
    return size == 0 || VirtualAlloc(begin, size, MEM_COMMIT, PAGE_READWRITE) != nullptr;
}

void release(void* mapping, std::size_t /*size*/)
{
    VirtualFree(mapping, 0, MEM_RELEASE);
}

std::system_error last_error(const char* what)
{
    return {static_cast<int>(GetLastError()), std::system_category(), what};
}

} // namespace

#else

namespace {

std::size_t size_of_page()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

void* reserve(std::size_t size)
{
    void* const mapping = mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    return mapping != MAP_FAILED ? mapping : nullptr;
}

bool make_usable(void* begin, std::size_t size)
{
    return mprotect(begin, size, PROT_READ | PROT_WRITE) == 0;
}

void release(void* mapping, std::size_t size)
{
    munmap(mapping, size);
}

std::system_error last_error(const char* what)
{
    return {errno, std::generic_category(), what};
}

} // namespace

#endif

guarded_buffer::guarded_buffer(std::size_t capacity)
    : page_size_(size_of_page()), size_((capacity + page_size_ - 1) / page_size_ * page_size_), begin_(nullptr)
{
    void* const mapping = reserve(size_ + 2 * page_size_);
    if (mapping == nullptr) {
        throw last_error("address space");
    }
    begin_ = static_cast<std::uint8_t*>(mapping) + page_size_;
    if (!make_usable(begin_, size_)) {
        const std::system_error error = last_error("memory");
        release(mapping, size_ + 2 * page_size_);
        throw error;
    }
}

guarded_buffer::~guarded_buffer()
{
    release(begin_ - page_size_, size_ + 2 * page_size_);
}

} // namespace kx_test
