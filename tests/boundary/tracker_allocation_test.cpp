// A step of the tracker allocates nothing. Every way to the C heap is counted: the process defines
// malloc and its family itself, over those of glibc.

#include "tracker_host.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

struct Count {
    bool armed = false;
    int allocations = 0;
};

Count count;

void note()
{
    if (count.armed) ++count.allocations;
}

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): names of the C library
extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t number, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
void __libc_free(void* block);

void* malloc(size_t bytes) noexcept
{
    note();
    return __libc_malloc(bytes);
}

void* calloc(size_t number, size_t bytes) noexcept
{
    note();
    return __libc_calloc(number, bytes);
}

void* realloc(void* block, size_t bytes) noexcept
{
    note();
    return __libc_realloc(block, bytes);
}

void* memalign(size_t alignment, size_t bytes) noexcept
{
    note();
    return __libc_memalign(alignment, bytes);
}

void* aligned_alloc(size_t alignment, size_t bytes) noexcept
{
    note();
    return __libc_memalign(alignment, bytes);
}

int posix_memalign(void** block, size_t alignment, size_t bytes) noexcept
{
    note();
    *block = __libc_memalign(alignment, bytes);
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) noexcept
{
    __libc_free(block);
}
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace Boundary {
namespace {

TEST(TrackerAllocation, IsCounted)
{
    void* (*const volatile allocate)(size_t) =
        std::malloc; // no pair that the compiler may leave out
    count = {.armed = true};
    std::free(allocate(100));
    count.armed = false;
    EXPECT_EQ(count.allocations, 1);
}

void useOrders(TrackerHost& host, std::size_t orderCount)
{
    host.orders.clear();
    for (std::size_t j = 1; j <= orderCount; ++j) host.orders.push_back(static_cast<float>(j));
    host.setup.maxFrequency = 18000.0 / static_cast<double>(orderCount); // the top order at 300 Hz
    host.setup.minFrequency = host.setup.maxFrequency / 2;
}

// Allocations of a whole run behind its first sample, which may load the kernels.
int allocationsOfARun(double rate, std::size_t orderCount)
{
    TrackerHost host;
    host.sampleRate = rate;
    useOrders(host, orderCount);
    host.start();
    const std::vector<double> samples = steadyMachine(20000, rate, 20.0);
    host.feed(std::span(samples).first(1));
    static_cast<void>(host.call());
    int estimates = 0;
    count = {.armed = true};
    for (std::size_t k = 1; k + 100 <= samples.size(); k += 100) {
        host.feed(std::span(samples).subspan(k, 100));
        for (TrackingResult result{}; result.needsMoreSamples == 0;) {
            result = host.call();
            estimates += result.valid;
        }
    }
    count.armed = false;
    EXPECT_GT(estimates, 2);
    return count.allocations;
}

// Allocations of one step with a block of some length.
int allocationsOfABlock(int32_t samples, std::size_t orderCount)
{
    TrackerHost host;
    useOrders(host, orderCount);
    host.setup.manualParameters = 1;
    host.setup.blockDuration = samples / 1000.0;
    host.setup.searchStep = 0.5;
    host.setup.predictionSigmaPercent = 1.0;
    host.start();
    host.feed(steadyMachine(static_cast<std::size_t>(samples), 1000.0, 10.3));
    count = {.armed = true};
    EXPECT_EQ(host.call().valid, 1);
    count.armed = false;
    return count.allocations;
}

TEST(TrackerAllocation, StepsOfARunAllocateNothing)
{
    for (const double rate : {1000.0, 20000.0})
        for (const std::size_t orderCount : {1U, 3U, 5U, 10U, 32U, 64U})
            EXPECT_EQ(allocationsOfARun(rate, orderCount), 0) << rate << ' ' << orderCount;
}

TEST(TrackerAllocation, StepsOfBlocksOfAnyLengthAllocateNothing)
{
    for (const int32_t samples : {250, 1000, 20000})
        for (const std::size_t orderCount : {1U, 3U, 5U, 10U, 32U, 64U})
            EXPECT_EQ(allocationsOfABlock(samples, orderCount), 0) << samples << ' ' << orderCount;
}

} // namespace
} // namespace Boundary
