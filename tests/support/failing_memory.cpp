#include "support/failing_memory.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstddef>
#include <utility>

#define KX_REPLACED __attribute__((visibility("default")))

namespace {

// Plain numbers: the first allocations come before any constructor. One thread allocates at a time.
int until_failure = 0; // 0: there is memory
bool goes_on_failing = false;
bool has_failed = false;
long living = 0;

bool fails()
{
    if (until_failure == 0) {
        return false;
    }
    if (until_failure > 1) {
        --until_failure;
        return false;
    }
    until_failure = goes_on_failing ? 1 : 0;
    has_failed = true;
    errno = ENOMEM;
    return true;
}

void* counted(void* memory)
{
    living += memory != nullptr ? 1 : 0;
    return memory;
}

} // namespace

extern "C" {

// The C library's own, for those who replace them.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);

KX_REPLACED void* malloc(std::size_t size) noexcept
{
    return fails() ? nullptr : counted(__libc_malloc(size));
}

KX_REPLACED void* calloc(std::size_t count, std::size_t size) noexcept
{
    return fails() ? nullptr : counted(__libc_calloc(count, size));
}

KX_REPLACED void* realloc(void* memory, std::size_t size) noexcept
{
    if (memory == nullptr) {
        return malloc(size);
    }
    return fails() ? nullptr : __libc_realloc(memory, size);
}

KX_REPLACED void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return fails() ? nullptr : counted(__libc_memalign(alignment, size));
}

KX_REPLACED void free(void* memory) noexcept
{
    living -= memory != nullptr ? 1 : 0;
    __libc_free(memory);
}
}

namespace kx_test {

failing_memory::failing_memory(int number, bool all_later_ones)
{
    goes_on_failing = all_later_ones;
    has_failed = false;
    until_failure = number;
}

bool failing_memory::stop()
{
    until_failure = 0;
    return std::exchange(has_failed, false);
}

long failing_memory::living_pieces()
{
    dlerror(); // twice: the loader keeps its last message until it has been read and asked for again
    dlerror();
    return living;
}

} // namespace kx_test
