// A step of the tracker allocates nothing.

#include "counted_heap.h"
#include "tracker_host.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace Boundary {
namespace {

TEST(TrackerAllocation, IsCounted)
{
    void* (*const volatile allocate)(size_t) =
        std::malloc; // no pair that the compiler may leave out
    {
        const Counting counting;
        std::free(allocate(100));
    }
    EXPECT_EQ(heapCount.allocations, 1);
}

void useOrders(TrackerHost& host, std::size_t orderCount)
{
    host.orders.clear();
    for (std::size_t j = 1; j <= orderCount; ++j) host.orders.push_back(static_cast<float>(j));
    host.setup.maxFrequency = 18000.0 / static_cast<double>(orderCount); // the top order at 300 Hz
    host.setup.minFrequency = host.setup.maxFrequency / 2;
}

// Allocations of a whole run behind its first sample, which may load the kernels.
std::int64_t allocationsOfARun(double rate, std::size_t orderCount)
{
    TrackerHost host;
    host.sampleRate = rate;
    useOrders(host, orderCount);
    host.start();
    const std::vector<double> samples = steadyMachine(20000, rate, 20.0);
    host.feed(std::span(samples).first(1));
    static_cast<void>(host.call());
    int estimates = 0;
    const Counting counting;
    for (std::size_t k = 1; k + 100 <= samples.size(); k += 100) {
        host.feed(std::span(samples).subspan(k, 100));
        for (TrackingResult result{}; result.needsMoreSamples == 0;) {
            result = host.call();
            estimates += result.valid;
        }
    }
    const std::int64_t allocations = heapCount.allocations;
    EXPECT_GT(estimates, 2);
    return allocations;
}

// Allocations of one step with a block of some length.
std::int64_t allocationsOfABlock(int32_t samples, std::size_t orderCount)
{
    TrackerHost host;
    useOrders(host, orderCount);
    host.setup.manualParameters = 1;
    host.setup.blockDuration = samples / 1000.0;
    host.setup.searchStep = 0.5;
    host.setup.predictionSigmaPercent = 1.0;
    host.start();
    host.feed(steadyMachine(static_cast<std::size_t>(samples), 1000.0, 10.3));
    const Counting counting;
    const TrackingResult result = host.call();
    const std::int64_t allocations = heapCount.allocations;
    EXPECT_EQ(+result.valid, 1);
    return allocations;
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
