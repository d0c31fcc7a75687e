#include "support/failing_memory.h"

#include <cerrno>
#include <cstdlib>
#include <new>
#include <utility>

#define KX_EVERYWHERE __attribute__((visibility("default")))

namespace {

// Plain numbers: the first allocations come before any constructor. Only one thread allocates while memory fails.
int until_failure = 0; // 0: there is memory
bool goes_on_failing = false;
bool has_failed = false;
long allocated = 0;
long freed = 0;

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

void* counted(void* object)
{
    if (object == nullptr) {
        throw std::bad_alloc();
    }
    ++allocated;
    return object;
}

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
bool object_fails()
{
    return fails();
}
#else
bool object_fails()
{
    return false; // but malloc may
}
#endif

} // namespace

KX_EVERYWHERE void* operator new(std::size_t size)
{
    return counted(object_fails() ? nullptr : std::malloc(size));
}

KX_EVERYWHERE void* operator new(std::size_t size, std::align_val_t alignment)
{
    const auto multiple = static_cast<std::size_t>(alignment);
    return counted(object_fails() ? nullptr
                                  : std::aligned_alloc(multiple, (size + multiple - 1) / multiple * multiple));
}

KX_EVERYWHERE void operator delete(void* object) noexcept
{
    freed += object != nullptr ? 1 : 0;
    std::free(object);
}

KX_EVERYWHERE void operator delete(void* object, std::size_t /*size*/) noexcept
{
    operator delete(object);
}

KX_EVERYWHERE void operator delete(void* object, std::align_val_t /*alignment*/) noexcept
{
    operator delete(object);
}

KX_EVERYWHERE void operator delete(void* object, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    operator delete(object);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)

extern "C" {

// The C library's own, for those who replace them.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

KX_EVERYWHERE void* malloc(std::size_t size) noexcept
{
    return fails() ? nullptr : __libc_malloc(size);
}

KX_EVERYWHERE void* calloc(std::size_t count, std::size_t size) noexcept
{
    return fails() ? nullptr : __libc_calloc(count, size);
}

KX_EVERYWHERE void* realloc(void* memory, std::size_t size) noexcept
{
    return fails() ? nullptr : __libc_realloc(memory, size);
}

KX_EVERYWHERE void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return fails() ? nullptr : __libc_memalign(alignment, size);
}
}

#endif

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

long failing_memory::allocated_objects()
{
    return allocated;
}

long failing_memory::living_objects()
{
    return allocated - freed;
}

} // namespace kx_test
