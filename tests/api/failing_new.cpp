#include "failing_new.h"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local bool counting = false;
thread_local bool failed = false;
thread_local int left = 0;

} // namespace

FailingNew::FailingNew(int allocations)
{
    left = allocations;
    failed = false;
    counting = true;
}

FailingNew::~FailingNew()
{
    counting = false;
}

bool FailingNew::hasFailed()
{
    return failed;
}

void* operator new(std::size_t size)
{
    if (counting && left-- <= 0) {
        failed = true;
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept
{
    std::free(memory);
}
