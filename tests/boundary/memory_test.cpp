// Who frees what, and what happens when there is no more memory. The C++ heap of this process is
// counted, and fails on demand. destroy() leaves everything that an analyzer owns allocated, so the
// process runs with leak detection off.

#include "expectations.h"
#include "test_host.h"

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <vector>

namespace {

struct Heap {
    std::atomic<int64_t> live{0};      ///< blocks
    std::atomic<bool> watching{false}; ///< note what is freed
    std::atomic<int64_t> freed{0};     ///< blocks, while watching
    std::atomic<void*> lastFreed{nullptr};
    std::atomic<int64_t> failAt{-1}; ///< fail the allocation after so many others; -1: none
    std::atomic<bool> failed{false};
};

Heap heap;

void* allocate(std::size_t size, std::size_t alignment)
{
    if (heap.failAt >= 0 && heap.failAt-- == 0) {
        heap.failed = true;
        throw std::bad_alloc();
    }
    const std::size_t whole = (size / alignment + 1) * alignment;
    void* block = std::aligned_alloc(alignment, whole);
    if (block == nullptr) throw std::bad_alloc();
    ++heap.live;
    return block;
}

void release(void* block)
{
    if (block == nullptr) return;
    --heap.live;
    if (heap.watching) {
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

void* operator new[](std::size_t size)
{
    return allocate(size, alignof(std::max_align_t));
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}

void* operator new[](std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* block) noexcept
{
    release(block);
}

void operator delete[](void* block) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t /*size*/) noexcept
{
    release(block);
}

void operator delete[](void* block, std::size_t /*size*/) noexcept
{
    release(block);
}

void operator delete(void* block, std::align_val_t /*alignment*/) noexcept
{
    release(block);
}

void operator delete[](void* block, std::align_val_t /*alignment*/) noexcept
{
    release(block);
}

void operator delete(void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    release(block);
}

void operator delete[](void* block, std::size_t /*size*/, std::align_val_t /*alignment*/) noexcept
{
    release(block);
}

namespace Boundary {
namespace {

class Memory : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Memory, testing::ValuesIn(kModes));

// All flags, weighting and harmonics, so that everything that can be owned is owned.
void askForEverything(Host& host, bool hostTables)
{
    host.hostTables = hostTables;
    host.harmonicOrders = {1.0F, 2.5F};
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_A;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 0.2F;
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
}

void expectOnlyItsBlockFreed(AnalyzerHandle analyzer)
{
    heap.freed = 0;
    heap.watching = true;
    destroy(analyzer);
    heap.watching = false;
    EXPECT_EQ(heap.freed, 1);
    EXPECT_EQ(heap.lastFreed, static_cast<void*>(analyzer));
}

// ---- destroy ------------------------------------------------------------------------------------

TEST_P(Memory, DestroyFreesTheBlockOfANewAnalyzerAlone)
{
    expectOnlyItsBlockFreed(create(GetParam()));
}

// No destructor runs: what the analyzer owns stays allocated, and the host's tables stay the
// host's.
TEST_P(Memory, DestroyFreesTheBlockOfAWorkedAnalyzerAlone)
{
    for (const bool hostTables : {false, true}) {
        Host host(GetParam());
        askForEverything(host, hostTables);
        host.start();
        EXPECT_FALSE(host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples)).empty());
        const std::vector<float> table = host.orderTableA;
        const int64_t live = heap.live;
        expectOnlyItsBlockFreed(host.handle());
        EXPECT_EQ(heap.live, live - 1);
        EXPECT_EQ(host.orderTableA, table);
    }
}

// FFTW stays loaded and its plans stay good: other analyzers go on.
TEST_P(Memory, DestroyLeavesOtherAnalyzersAlone)
{
    Host other(GetParam());
    other.parameters.binOrderSpectrum = 1;
    other.start();
    {
        Host host(GetParam());
        askForEverything(host, false);
        host.start();
        destroy(host.handle());
    }
    EXPECT_EQ(other.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples)).size(), 1U);
    EXPECT_NEAR(other.orderRow(kCrossedBin, other.firstSet())[16], 3.0, 1e-5);
}

// ---- no more memory -----------------------------------------------------------------------------

// Whichever allocation fails.
TEST_P(Memory, CreateThatRunsOutOfMemoryThrowsAndLeavesNothingBehind)
{
    keepReachable(create(GetParam())); // FFTW is loaded once in a process
    int64_t failures = 0;
    for (;; ++failures) {
        const int64_t live = heap.live;
        AnalyzerHandle analyzer = nullptr;
        heap.failed = false;
        heap.failAt = failures;
        try {
            analyzer = create(GetParam());
        } catch (const std::bad_alloc&) {
            EXPECT_EQ(heap.live, live) << "allocation " << failures;
        }
        heap.failAt = -1;
        EXPECT_EQ(analyzer == nullptr, heap.failed.load());
        if (analyzer == nullptr) continue;
        keepReachable(analyzer);
        break;
    }
    EXPECT_GT(failures, 0);
}

TEST_P(Memory, InitiateThatRunsOutOfMemoryWritesOneAndThrowsNothing)
{
    int64_t failures = 0;
    for (;; ++failures) {
        Host host(GetParam());
        askForEverything(host, false);
        host.prepare();
        host.handOver();
        heap.failed = false;
        heap.failAt = failures;
        const int32_t error = host.begin();
        heap.failAt = -1;
        EXPECT_EQ(error, heap.failed ? 1 : 0) << "allocation " << failures;
        destroy(host.handle());
        if (!heap.failed) break;
    }
    EXPECT_GT(failures, 10);
}

// Planning and updating are locked inside; a failure leaves no lock behind.
TEST_P(Memory, AnalyzerThatRanOutOfMemoryHoldsUpNoOther)
{
    for (int64_t failure = 0; failure < 10; ++failure) {
        Host host(GetParam());
        askForEverything(host, false);
        host.prepare();
        host.handOver();
        heap.failAt = failure;
        EXPECT_EQ(host.begin(), 1);
        heap.failAt = -1;
        Host other(GetParam());
        other.start();
    }
}

// The shaft turns twice between sample 0 and the crossing at sample 70. The values of its harmonics
// find no memory, so that the call fails; the next one takes the same samples again, and with them
// the turns.
TEST_P(Memory, CalculateThatRunsOutOfMemoryTakesItsSamplesAgain)
{
    Host host(GetParam());
    host.harmonicOrders = {4.0F};
    host.parameters.binHarmonics = 1;
    host.start();
    Machine machine = crossing(tone(3.0, 4.0, 0.7));
    machine.binSignal = stepAt(69.5 / 32.0, 1180.0, 1220.0);
    host.feed(record(machine, 140), 140); // takes up to sample 75
    heap.failAt = 0;
    EXPECT_THROW(static_cast<void>(host.call()), std::bad_alloc);
    heap.failAt = -1;
    EXPECT_EQ(host.turns().value, 2); // at 32 and 64

    const Call again = host.call();
    EXPECT_TRUE(again.hasResult());
    EXPECT_EQ(again.bin, kCrossedBin);
    EXPECT_EQ(host.speed().time, 70.0 / 1024.0);
    EXPECT_EQ(host.turns().value, 4);
    expectComplex(host.harmonic(0, kCrossedBin, host.firstSet()), std::polar(3.0, 0.7), 1e-5);
}

} // namespace
} // namespace Boundary
