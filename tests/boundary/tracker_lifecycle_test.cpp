// The tracker through its exported functions, from create to the end of a run.

#include "tracker_host.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <thread>
#include <vector>

namespace Boundary {
namespace {

void expectNoEstimate(const TrackingResult& result)
{
    EXPECT_EQ(result.valid, 0);
    EXPECT_EQ(result.needsMoreSamples, 1);
}

TEST(Tracker, BeforeAnySamplesThereIsNoEstimate)
{
    TrackerHost host;
    host.start();
    const TrackingResult result = host.call();
    expectNoEstimate(result);
    EXPECT_EQ(result.frequency, 0.0);
    EXPECT_EQ(result.time, 0.0);
}

TEST(Tracker, SteadyMachineIsTracked)
{
    for (const double rate : {1000.0, 20000.0}) {
        TrackerHost host;
        host.sampleRate = rate;
        host.start();
        const std::vector<double> samples = steadyMachine(30000, rate, 40.0);
        int estimates = 0;
        for (std::size_t k = 0; k < samples.size(); k += 500) {
            host.feed(std::span(samples).subspan(k, 500));
            TrackingResult result{};
            do {
                result = host.call();
                if (result.valid == 0) break;
                EXPECT_NEAR(result.frequency, 2400.0, 10.0) << result.time;
                ++estimates;
            } while (result.needsMoreSamples == 0);
        }
        EXPECT_GT(estimates, 20);
    }
}

// The copy that follows overwrites it.
TEST(Tracker, SamplesAnnouncedBeforeTheRingIsHandedOverAreForgotten)
{
    TrackerHost host;
    host.prepare();
    autotrackerUpdateNewSamples(host.handle(), 1000);
    host.handOver(0);
    autotrackerInitiate(host.handle());
    autotrackerReset(host.handle());
    expectNoEstimate(host.call());
}

TEST(Tracker, SecondRingReplacesPositionAndCountsToo)
{
    TrackerHost host;
    host.start();
    const std::vector<double> samples = steadyMachine(120, 1000.0, 40.0);
    host.feed(samples);
    EXPECT_EQ(host.call().time, 0.05);
    host.handOver(5000);
    expectNoEstimate(host.call());
    host.feed(samples);
    const TrackingResult result = host.call();
    EXPECT_EQ(result.valid, 1);
    EXPECT_EQ(result.time, 5.05);
}

// Writing alone tells the tracker nothing, and a negative count takes an announcement back.
TEST(Tracker, OnlyAnnouncedSamplesCount)
{
    TrackerHost host;
    host.start();
    const std::vector<double> samples = steadyMachine(100, 1000.0, 40.0);
    host.write(samples);
    expectNoEstimate(host.call());
    autotrackerUpdateNewSamples(host.handle(), 100);
    autotrackerUpdateNewSamples(host.handle(), -1);
    expectNoEstimate(host.call());
    autotrackerUpdateNewSamples(host.handle(), 1);
    EXPECT_EQ(host.call().valid, 1);
}

TEST(Tracker, SetupIsReadLiveAndWrittenByPreinitiateAlone)
{
    TrackerHost host;
    host.start();
    EXPECT_EQ(host.setup.overlapPercent, 50.0);
    EXPECT_EQ(host.setup.searchStep, 0.5);
    EXPECT_EQ(host.setup.predictionSigmaPercent, 1.0);
    EXPECT_EQ(host.setup.blockDuration, 0.1);
    host.setup.minFrequency = 4000.0; // the first search begins there from now on
    host.setup.overlapPercent = 7.0;
    host.feed(steadyMachine(100, 1000.0, 40.0));
    EXPECT_GT(host.call().frequency, 3800.0);
    EXPECT_EQ(host.setup.overlapPercent, 7.0);
}

TEST(Tracker, ResetSearchesTheWholeRangeAgain)
{
    TrackerHost host;
    host.setup.manualParameters = 1;
    host.setup.blockDuration = 0.1;
    host.setup.searchStep = 0.5;
    host.setup.predictionSigmaPercent = 1.0;
    host.start();
    host.feed(steadyMachine(100, 1000.0, 40.0));
    EXPECT_NEAR(host.call().frequency, 2400.0, 10.0);
    host.feed(steadyMachine(100, 1000.0, 80.0)); // far beyond a later search
    EXPECT_NEAR(host.call().frequency, 2400.0, 300.0);
    autotrackerReset(host.handle());
    host.feed(steadyMachine(100, 1000.0, 80.0));
    const TrackingResult result = host.call();
    EXPECT_NEAR(result.frequency, 4800.0, 40.0);
    EXPECT_EQ(result.time, 0.25);
}

TEST(Tracker, OneHandleServesOneSetupAfterTheOther)
{
    const TrackerHandle handle = keepReachable(autotrackerCreate());
    for (const double rate : {20000.0, 1000.0, 5000.0, 20000.0}) {
        TrackerHost host(handle);
        host.sampleRate = rate;
        host.start();
        host.feed(steadyMachine(2900, rate, 40.0));
        const TrackingResult result = host.call();
        EXPECT_EQ(result.valid, 1);
        EXPECT_NEAR(result.frequency, 2400.0, 10.0);
    }
}

// No samples in a block, so that the first matrix that can not exist is the square one of
// 2 * 10^9 + 1 columns.
TEST(Tracker, MatricesBeyondAllMemoryLeaveInitiateAsBadAlloc)
{
    TrackerHost host;
    host.setup.manualParameters = 1;
    host.prepare();
    host.handOver(0);
    host.setup.orderCount = 1'000'000'000;
    EXPECT_THROW(autotrackerInitiate(host.handle()), std::bad_alloc);
}

// A step of 0 never leaves the grid, and a negative one neither. The child ends itself with 3 after
// three seconds; it would exit with 0 if the call came back.
TEST(TrackerDeathTest, StepOfZeroOrBelowNeverEnds)
{
    const auto trackFor3Seconds = [](double searchStep) {
        TrackerHost host;
        host.start();
        host.setup.searchStep = searchStep;
        host.feed(steadyMachine(100, 1000.0, 40.0));
        std::thread([] {
            std::this_thread::sleep_for(std::chrono::seconds(3));
            std::_Exit(3);
        }).detach();
        static_cast<void>(host.call());
        std::_Exit(0);
    };
    EXPECT_EXIT(trackFor3Seconds(0.0), testing::ExitedWithCode(3), "");
    EXPECT_EXIT(trackFor3Seconds(-0.5), testing::ExitedWithCode(3), "");
}

} // namespace
} // namespace Boundary
