// What autotrackerDestroy frees. The C++ heap of this process is watched. What a tracker owns stays
// allocated, so the process runs with leak detection off.

#include "tracker_host.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

struct Heap {
    bool watching = false;
    int freed = 0; ///< blocks, while watching
    void* lastFreed = nullptr;
    int failAfter = -1; ///< fail the allocation after so many others; -1: none
};

Heap heap;

void* allocate(std::size_t size, std::size_t alignment)
{
    if (heap.failAfter >= 0 && heap.failAfter-- == 0) throw std::bad_alloc();
    void* block = std::aligned_alloc(alignment, (size / alignment + 1) * alignment);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void release(void* block)
{
    if (heap.watching && block != nullptr) {
        ++heap.freed;
        heap.lastFreed = block;
    }
    std::free(block);
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate(size, alignof(std::max_align_t));
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    release(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    release(block);
}

namespace Boundary {
namespace {

void expectOnlyItsBlockFreed(TrackerHandle tracker)
{
    heap.freed = 0;
    heap.watching = true;
    autotrackerDestroy(tracker);
    heap.watching = false;
    EXPECT_EQ(heap.freed, 1);
    EXPECT_EQ(heap.lastFreed, static_cast<void*>(tracker));
}

TEST(TrackerMemory, DestroyFreesTheBlockOfANewTrackerAlone)
{
    expectOnlyItsBlockFreed(autotrackerCreate());
}

// Ring, filter and matrices stay: no destructor runs.
TEST(TrackerMemory, DestroyFreesTheBlockOfAWorkedTrackerAlone)
{
    const TrackerHandle tracker = autotrackerCreate();
    TrackerHost host(tracker);
    host.sampleRate = 20000.0;
    host.start();
    host.feed(steadyMachine(2500, 20000.0, 40.0));
    EXPECT_EQ(host.call().valid, 1);
    const TrackingSetup before = host.setup;
    expectOnlyItsBlockFreed(tracker);
    EXPECT_EQ(host.setup.searchStep, before.searchStep);
    EXPECT_EQ(host.orders, (std::vector{1.0F, 2.0F, 3.0F}));
}

TEST(TrackerMemory, CreateWithoutMemoryThrows)
{
    heap.failAfter = 0;
    EXPECT_THROW(static_cast<void>(autotrackerCreate()), std::bad_alloc);
    heap.failAfter = -1;
}

// Whichever allocation of the C++ heap fails: ring, filter and its window. The next try succeeds,
// and the tracker tracks.
TEST(TrackerMemory, InitiateThatRunsOutOfMemoryThrowsAndMayBeRepeated)
{
    int failures = 0;
    for (;; ++failures) {
        TrackerHost host;
        host.sampleRate = 20000.0;
        host.prepare();
        host.handOver(0);
        heap.failAfter = failures;
        bool failed = false;
        try {
            autotrackerInitiate(host.handle());
        } catch (const std::bad_alloc&) {
            failed = true;
        }
        heap.failAfter = -1;
        if (!failed) break;
        autotrackerInitiate(host.handle());
        autotrackerReset(host.handle());
        host.feed(steadyMachine(2500, 20000.0, 40.0));
        EXPECT_NEAR(host.call().frequency, 2400.0, 10.0) << "allocation " << failures;
    }
    EXPECT_GT(failures, 3);
}

} // namespace
} // namespace Boundary
