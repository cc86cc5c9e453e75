#include "counted_heap.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstring>

namespace Boundary {

HeapCount heapCount;

namespace {

bool isInFftw(const void* caller)
{
    Dl_info place;
    return dladdr(caller, &place) != 0 && place.dli_fname != nullptr &&
           std::strstr(place.dli_fname, "libfftw3") != nullptr;
}

void noteAllocation(size_t bytes, const void* caller)
{
    if (!heapCount.armed) return;
    if (isInFftw(caller)) {
        ++heapCount.fftwBlocks;
        return;
    }
    ++heapCount.allocations;
    heapCount.bytes += bytes;
}

void noteFree(const void* block, const void* caller)
{
    if (!heapCount.armed || block == nullptr) return;
    if (isInFftw(caller))
        --heapCount.fftwBlocks;
    else
        ++heapCount.frees;
}

} // namespace
} // namespace Boundary

using Boundary::noteAllocation;
using Boundary::noteFree;

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): names of the C library
extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t number, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
void __libc_free(void* block);

void* malloc(size_t bytes) noexcept
{
    noteAllocation(bytes, __builtin_return_address(0));
    return __libc_malloc(bytes);
}

void* calloc(size_t number, size_t bytes) noexcept
{
    noteAllocation(number * bytes, __builtin_return_address(0));
    return __libc_calloc(number, bytes);
}

void* realloc(void* block, size_t bytes) noexcept
{
    noteAllocation(bytes, __builtin_return_address(0));
    return __libc_realloc(block, bytes);
}

void* memalign(size_t alignment, size_t bytes) noexcept
{
    noteAllocation(bytes, __builtin_return_address(0));
    return __libc_memalign(alignment, bytes);
}

void* aligned_alloc(size_t alignment, size_t bytes) noexcept
{
    noteAllocation(bytes, __builtin_return_address(0));
    return __libc_memalign(alignment, bytes);
}

int posix_memalign(void** block, size_t alignment, size_t bytes) noexcept
{
    noteAllocation(bytes, __builtin_return_address(0));
    *block = __libc_memalign(alignment, bytes);
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) noexcept
{
    noteFree(block, __builtin_return_address(0));
    __libc_free(block);
}
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)
