// Heap accounting for the benchmarks: the program's malloc family wraps glibc's own and
// keeps the bytes in use and their peak, so memory figures are measured in the process that
// builds the data, whatever library (Qt, the host stand-in, kxxml) allocates it.
#include "memcount.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <malloc.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* pointer, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* pointer);
}

namespace {

std::atomic<long long> inUse{0};
std::atomic<long long> peak{0};

void added(void* pointer)
{
    if (!pointer)
        return;
    const long long now = inUse.fetch_add(static_cast<long long>(malloc_usable_size(pointer)),
                                          std::memory_order_relaxed)
                          + static_cast<long long>(malloc_usable_size(pointer));
    long long high = peak.load(std::memory_order_relaxed);
    while (now > high && !peak.compare_exchange_weak(high, now, std::memory_order_relaxed)) {
    }
}

void removed(void* pointer)
{
    if (pointer)
        inUse.fetch_sub(static_cast<long long>(malloc_usable_size(pointer)), std::memory_order_relaxed);
}

} // namespace

extern "C" {

void* malloc(std::size_t size) noexcept
{
    void* p = __libc_malloc(size);
    added(p);
    return p;
}

void* calloc(std::size_t count, std::size_t size) noexcept
{
    void* p = __libc_calloc(count, size);
    added(p);
    return p;
}

void* realloc(void* pointer, std::size_t size) noexcept
{
    const long long before = pointer ? static_cast<long long>(malloc_usable_size(pointer)) : 0;
    void* p = __libc_realloc(pointer, size);
    if (p || size == 0) { // realloc(p, 0) frees p; a failed realloc leaves it as it was
        inUse.fetch_sub(before, std::memory_order_relaxed);
        added(p);
    }
    return p;
}

void free(void* pointer) noexcept
{
    removed(pointer);
    __libc_free(pointer);
}

void* memalign(std::size_t alignment, std::size_t size) noexcept
{
    void* p = __libc_memalign(alignment, size);
    added(p);
    return p;
}

void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return memalign(alignment, size);
}

int posix_memalign(void** out, std::size_t alignment, std::size_t size) noexcept
{
    void* p = memalign(alignment, size);
    if (!p)
        return ENOMEM;
    *out = p;
    return 0;
}

} // extern "C"

namespace memcount {

long long bytesInUse()
{
    return inUse.load(std::memory_order_relaxed);
}

long long peakBytes()
{
    return peak.load(std::memory_order_relaxed);
}

void resetPeak()
{
    peak.store(inUse.load(std::memory_order_relaxed), std::memory_order_relaxed);
}

} // namespace memcount
