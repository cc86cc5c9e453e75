// Sizes, starts and resets of the tracker.

#include "autotracker/autotracker.h"

#include "test_tracker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <new>
#include <vector>

namespace Velmora::Autotracker {
namespace {

// ---- a new tracker ------------------------------------------------------------------------------

TEST(Autotracker, NewTrackerHasTheConstantsOfItsMethod)
{
    const Autotracker tracker;
    EXPECT_EQ(tracker.transitionPercent(), 10.0);
    EXPECT_EQ(tracker.stopbandAttenuation(), 60.0);
    EXPECT_EQ(tracker.maxRefineDepth(), 200);
    EXPECT_EQ(tracker.goldenRatio(), 0.61803398874989);
}

TEST(Autotracker, NewTrackerHasARateAndNoSizes)
{
    const Autotracker tracker;
    EXPECT_EQ(tracker.sampleRate(), 20000.0);
    EXPECT_EQ(tracker.rateDivider(), 1);
    EXPECT_EQ(tracker.setup(), nullptr);
    EXPECT_EQ(tracker.blockLength(), 0);
    EXPECT_EQ(tracker.hop(), 0);
    EXPECT_EQ(tracker.decimation(), 1);
    EXPECT_EQ(tracker.decimationPhase(), 0);
    EXPECT_EQ(tracker.filteredCount(), 0);
    EXPECT_EQ(tracker.timeOffset(), 0.0);
    EXPECT_EQ(tracker.currentFrequency(), 0.0);
    EXPECT_EQ(tracker.previousFrequency(), 0.0);
    EXPECT_EQ(tracker.unitFactor(), 1.0);
    EXPECT_TRUE(tracker.firstEstimate());
}

void expectEmpty(const SignalBuffer& ring)
{
    EXPECT_EQ(+ring.samples, nullptr);
    EXPECT_EQ(ring.capacity, 1);
    EXPECT_EQ(ring.readIndex, 0);
    EXPECT_EQ(+ring.writeCount, 0);
    EXPECT_EQ(+ring.readCount, 0);
}

TEST(Autotracker, NewTrackerHasTwoEmptyRingsAndNoResult)
{
    const Autotracker tracker;
    expectEmpty(tracker.signal());
    expectEmpty(tracker.decimatedSignal());
    EXPECT_EQ(tracker.decimatedSignal().writeIndex, 0);
    EXPECT_TRUE(tracker.decimatedSignal().storage.empty());
    EXPECT_EQ(+tracker.result().frequency, 0.0);
    EXPECT_EQ(+tracker.result().time, 0.0);
    EXPECT_EQ(tracker.result().valid, 0);
    EXPECT_EQ(tracker.result().needsMoreSamples, 1);
}

// ---- units and rates ----------------------------------------------------------------------------

TEST(Autotracker, UnitFactorTurnsRadiansPerSecondIntoTheUnitOfTheSetup)
{
    TestTracker test;
    test.prepare();
    EXPECT_EQ(test.tracker.unitFactor(), 0.15915494309189535);
    EXPECT_NEAR(test.tracker.unitFactor(), 1.0 / kTwoPi, 1e-16);
    test.setup.frequencyInRpm = 1;
    test.prepare();
    EXPECT_EQ(test.tracker.unitFactor(), 9.549296585513721);
    EXPECT_NEAR(test.tracker.unitFactor(), 60.0 / kTwoPi, 2e-15);
}

TEST(Autotracker, RateIsDividedBeforeAnythingElse)
{
    TestTracker test;
    test.sampleRate = 40000.0;
    test.rateDivider = 2;
    test.prepare();
    EXPECT_EQ(test.tracker.effectiveRate(), 20000.0);
    EXPECT_EQ(test.tracker.decimation(), 16);
    EXPECT_EQ(test.tracker.trackingRate(), 1250.0);
}

// ---- decimation ---------------------------------------------------------------------------------

// 20000 / 2 / (2 * 3 * 100) = 16.67.
TEST(Autotracker, DecimationKeepsTheTopOrderBelowHalfOfWhatIsLeftOfNyquist)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 16);
    test.setup.frequencyInRpm = 1;
    test.setup.minFrequency = 600.0;
    test.setup.maxFrequency = 6000.0;
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 16);
}

TEST(Autotracker, DecimationFollowsTheLargestOrderWhereverItStands)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    for (const std::vector<float>& orders :
         {std::vector{5.0F, 1.0F, 2.0F}, {1.0F, 5.0F, 2.0F}, {1.0F, 2.0F, 5.0F}}) {
        test.orders = orders;
        test.prepare();
        EXPECT_EQ(test.tracker.decimation(), 10);
    }
}

TEST(Autotracker, LowRateIsNotDecimated)
{
    TestTracker test;
    test.sampleRate = 100.0; // 0.08 before it is raised
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 1);
}

TEST(Autotracker, ZeroTopFrequencyIsNotDecimated)
{
    TestTracker test;
    test.setup.maxFrequency = 0.0;
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 1);
}

// Quotients that no integer holds, a NaN among them.
TEST(Autotracker, QuotientBeyondIntegersIsNotDecimated)
{
    TestTracker test;
    test.setup.maxFrequency = 1e-9;
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 1);
    test.setup.maxFrequency = -100.0;
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 1);
    test.setup.maxFrequency = std::numeric_limits<double>::quiet_NaN();
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 1);
}

TEST(Autotracker, NoOrdersStillReadTheFirstForTheDecimation)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.orders = {5.0F, 50.0F};
    test.prepare();
    EXPECT_EQ(test.tracker.decimation(), 1);
    test.setup.orderCount = 0;
    test.tracker.update();
    EXPECT_EQ(test.tracker.decimation(), 10);
}

// ---- automatic parameters -----------------------------------------------------------------------

double automaticBlockDuration(double minFrequencyHz)
{
    TestTracker test;
    test.setup.minFrequency = minFrequencyHz;
    test.prepare();
    return test.setup.blockDuration;
}

TEST(Autotracker, AutomaticBlockLastsOneTurnOfTheSlowestRotation)
{
    EXPECT_NEAR(automaticBlockDuration(5.0), 0.2, 1e-15);
    EXPECT_NEAR(automaticBlockDuration(2.5), 0.4, 1e-15);
}

TEST(Autotracker, AutomaticBlockIsHeldWithinATenthAndOneSecond)
{
    EXPECT_EQ(automaticBlockDuration(0.9), 1.0);
    EXPECT_EQ(automaticBlockDuration(0.001), 1.0);
    EXPECT_EQ(automaticBlockDuration(10.1), 0.1);
    EXPECT_EQ(automaticBlockDuration(1000.0), 0.1);
}

TEST(Autotracker, AutomaticBlockOfARangeFromZeroLastsATenthOfASecond)
{
    EXPECT_EQ(automaticBlockDuration(0.0), 0.1);
}

TEST(Autotracker, AutomaticBlockIsTheSameInBothUnits)
{
    TestTracker test;
    test.setup.frequencyInRpm = 1;
    test.setup.minFrequency = 300.0;
    test.setup.maxFrequency = 6000.0;
    test.prepare();
    EXPECT_NEAR(+test.setup.blockDuration, 0.2, 1e-15);
}

TEST(Autotracker, AutomaticParametersAreWrittenWhateverWasThere)
{
    TestTracker test;
    test.setup.blockDuration = 7.0;
    test.setup.overlapPercent = 7.0;
    test.setup.searchStep = 7.0;
    test.setup.predictionSigmaPercent = 7.0;
    test.prepare();
    EXPECT_EQ(+test.setup.overlapPercent, 50.0);
    EXPECT_EQ(+test.setup.searchStep, 0.5);
    EXPECT_EQ(+test.setup.predictionSigmaPercent, 1.0);
    EXPECT_EQ(+test.setup.blockDuration, 0.1);
}

TEST(Autotracker, ManualParametersAreLeftAlone)
{
    TestTracker test;
    test.setup.manualParameters = 1;
    test.setup.blockDuration = 0.3;
    test.setup.overlapPercent = 25.0;
    test.setup.searchStep = 0.7;
    test.setup.predictionSigmaPercent = 2.0;
    test.prepare();
    EXPECT_EQ(+test.setup.blockDuration, 0.3);
    EXPECT_EQ(+test.setup.overlapPercent, 25.0);
    EXPECT_EQ(+test.setup.searchStep, 0.7);
    EXPECT_EQ(+test.setup.predictionSigmaPercent, 2.0);
    EXPECT_EQ(test.tracker.blockLength(), 300);
    EXPECT_EQ(test.tracker.hop(), 225);
}

TEST(Autotracker, NothingElseOfTheSetupIsWritten)
{
    TestTracker test;
    test.setup.startFrequencySource = 1;
    test.setup.startFrequency = 33.0;
    test.setup.useStartFrequency = 0;
    for (std::uint8_t& byte : test.setup.reserved) byte = 0xA5;
    test.start();
    EXPECT_EQ(test.setup.startFrequencySource, 1);
    EXPECT_EQ(test.setup.manualParameters, 0);
    EXPECT_EQ(+test.setup.minFrequency, 10.0);
    EXPECT_EQ(+test.setup.maxFrequency, 100.0);
    EXPECT_EQ(+test.setup.startFrequency, 33.0);
    for (const std::uint8_t byte : test.setup.reserved) EXPECT_EQ(byte, 0xA5);
    EXPECT_EQ(test.setup.orderCount, 3);
    EXPECT_EQ(+test.setup.orders, test.orders.data());
    EXPECT_EQ(test.setup.frequencyInRpm, 0);
    EXPECT_EQ(test.setup.useStartFrequency, 0);
}

// ---- block and hop ------------------------------------------------------------------------------

// 1250 * 0.1 = 125, and half of it 62.5.
TEST(Autotracker, BlockAndHopAreCutToWholeSamples)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.prepare();
    EXPECT_EQ(test.tracker.blockLength(), 125);
    EXPECT_EQ(test.tracker.hop(), 62);
    test.setup.manualParameters = 1;
    test.setup.blockDuration = 0.0999;
    test.prepare();
    EXPECT_EQ(test.tracker.blockLength(), 124);
}

TEST(Autotracker, FullOverlapHasNoHop)
{
    TestTracker test;
    test.useBlocksOf(100);
    test.setup.overlapPercent = 100.0;
    test.prepare();
    EXPECT_EQ(test.tracker.hop(), 0);
}

// What no integer holds is the most negative one; a host that hands such a duration over does not
// go on to initiate().
TEST(Autotracker, DurationThatIsNoNumberMakesNoBlockAndNoFault)
{
    TestTracker test;
    test.useBlocksOf(100);
    test.setup.blockDuration = std::numeric_limits<double>::quiet_NaN();
    test.prepare();
    EXPECT_EQ(test.tracker.blockLength(), std::numeric_limits<std::int32_t>::min());
}

// ---- start of the frequency ---------------------------------------------------------------------

void expectStart(const Autotracker& tracker, double radiansPerSecond)
{
    EXPECT_EQ(tracker.currentFrequency(), radiansPerSecond);
    EXPECT_EQ(tracker.previousFrequency(), radiansPerSecond);
    EXPECT_TRUE(tracker.firstEstimate());
}

TEST(Autotracker, FrequencyStartsAtALimitOrAtZero)
{
    TestTracker test;
    test.setup.startFrequency = 50.0; // not asked for
    test.setup.startFrequencySource = HARMOTRACK_START_AT_MINIMUM;
    test.prepare();
    expectStart(test.tracker, 10.0 / 0.15915494309189535);
    test.setup.startFrequencySource = HARMOTRACK_START_AT_MAXIMUM;
    test.prepare();
    expectStart(test.tracker, 100.0 / 0.15915494309189535);
    for (const std::int32_t other : {2, 3, -1}) {
        test.setup.startFrequencySource = other;
        test.prepare();
        expectStart(test.tracker, 0.0);
    }
}

TEST(Autotracker, StartFrequencyOverridesTheLimits)
{
    TestTracker test;
    test.setup.startFrequencySource = HARMOTRACK_START_AT_MAXIMUM;
    test.setup.useStartFrequency = -1;
    test.setup.startFrequency = 50.0;
    test.prepare();
    expectStart(test.tracker, 50.0 / 0.15915494309189535);
}

TEST(Autotracker, UpdateInitiateAndResetStartTheFrequencyAnew)
{
    TestTracker test;
    test.start();
    const std::vector<double> samples = steadyMachine(200, 1000.0, 40.0);
    const auto track = [&] {
        test.handOver();
        test.feed(samples);
        static_cast<void>(test.tracker.calculate());
        EXPECT_FALSE(test.tracker.firstEstimate());
        EXPECT_NE(test.tracker.currentFrequency(), 10.0 / 0.15915494309189535);
    };
    track();
    test.tracker.update();
    expectStart(test.tracker, 10.0 / 0.15915494309189535);
    track();
    test.tracker.initiate();
    expectStart(test.tracker, 10.0 / 0.15915494309189535);
    track();
    test.tracker.reset();
    expectStart(test.tracker, 10.0 / 0.15915494309189535);
}

// ---- initiate -----------------------------------------------------------------------------------

TEST(Autotracker, InitiateSizesBlockAndMatrices)
{
    TestTracker test;
    test.start();
    EXPECT_EQ(test.tracker.block().size(), 100);
    EXPECT_EQ(test.tracker.design().rows(), 100);
    EXPECT_EQ(test.tracker.design().cols(), 7);
    EXPECT_EQ(test.tracker.gram().rows(), 7);
    EXPECT_EQ(test.tracker.gram().cols(), 7);
    EXPECT_EQ(test.tracker.gramInverse().rows(), 7);
    EXPECT_EQ(test.tracker.gramInverse().cols(), 7);
}

TEST(Autotracker, NoOrdersLeaveTheConstant)
{
    TestTracker test;
    test.prepare();
    test.setup.orderCount = 0;
    test.handOver();
    test.tracker.initiate();
    EXPECT_EQ(test.tracker.design().cols(), 1);
}

TEST(Autotracker, BlockOfTheSameLengthKeepsItsStorage)
{
    TestTracker test;
    test.start();
    const double* const storage = test.tracker.block().data();
    test.tracker.initiate();
    EXPECT_EQ(test.tracker.block().data(), storage);
}

TEST(Autotracker, WithoutDecimationNeitherRingNorFilterIsMade)
{
    TestTracker test;
    test.start();
    EXPECT_TRUE(test.tracker.decimatedSignal().storage.empty());
    EXPECT_EQ(test.tracker.decimatedSignal().capacity, 1);
    EXPECT_EQ(test.tracker.filter().order(), 0);
    EXPECT_EQ(&test.tracker.activeRing(), &test.tracker.signal());
}

// 3001 / 16 = 187.6.
TEST(Autotracker, DecimatedRingHoldsAsMuchTimeAsTheRingOfTheHost)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.slots = 3001;
    test.start();
    const DecimatedRing& ring = test.tracker.decimatedSignal();
    EXPECT_EQ(ring.capacity, 188);
    EXPECT_EQ(ring.storage, std::vector<double>(188, 0.0));
    EXPECT_EQ(+ring.samples, ring.storage.data());
    EXPECT_EQ(&test.tracker.activeRing(), &ring);
}

// N is 0 here, so that the first matrix that can not exist is K by K with K = 2 * 10^9 + 1.
TEST(Autotracker, MatricesBeyondAllMemoryThrow)
{
    TestTracker test;
    test.useBlocksOf(0);
    test.prepare();
    test.handOver();
    test.setup.orderCount = 1'000'000'000;
    EXPECT_THROW(test.tracker.initiate(), std::bad_alloc);
}

// ---- reset --------------------------------------------------------------------------------------

TEST(Autotracker, ResetWithoutDecimationLeavesTheCountsAlone)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(120, 1000.0, 40.0));
    static_cast<void>(test.tracker.calculate());
    test.tracker.reset();
    EXPECT_EQ(test.tracker.timeOffset(), 0.0);
    EXPECT_EQ(+test.tracker.signal().writeCount, 120);
    EXPECT_EQ(+test.tracker.signal().readCount, 50);
    EXPECT_EQ(test.tracker.signal().readIndex, 50);
}

// A setup that decimates leaves an offset; one that does not takes it away again.
TEST(Autotracker, ResetWithoutDecimationZeroesTheTimeOffset)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.samplesBefore = 10000;
    test.start();
    EXPECT_EQ(test.tracker.timeOffset(), 0.5);
    test.sampleRate = 1000.0;
    test.prepare();
    EXPECT_EQ(test.tracker.timeOffset(), 0.5);
    test.tracker.reset();
    EXPECT_EQ(test.tracker.timeOffset(), 0.0);
}

TEST(Autotracker, ResetWithDecimationEmptiesItsRingAndKeepsTime)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.slots = 5000;
    test.start();
    test.feed(steadyMachine(2500, 20000.0, 40.0));
    EXPECT_EQ(test.tracker.calculate().valid, 1);
    EXPECT_EQ(test.tracker.decimatedSignal().readIndex, 62);
    EXPECT_EQ(+test.tracker.decimatedSignal().readCount, 62);
    EXPECT_GT(test.tracker.decimatedSignal().writeIndex, 125);
    EXPECT_GT(+test.tracker.decimatedSignal().writeCount, 125);
    EXPECT_GT(test.tracker.filteredCount(), 0);
    test.tracker.reset();
    const DecimatedRing& ring = test.tracker.decimatedSignal();
    EXPECT_EQ(ring.readIndex, 0);
    EXPECT_EQ(ring.writeIndex, 0);
    EXPECT_EQ(+ring.readCount, 0);
    EXPECT_EQ(+ring.writeCount, 0);
    EXPECT_EQ(test.tracker.decimationPhase(), 0);
    EXPECT_EQ(test.tracker.filteredCount(), 0);
    EXPECT_EQ(test.tracker.filter().position(), 0);
    EXPECT_EQ(test.tracker.timeOffset(), 2500 / 20000.0);
    EXPECT_EQ(+test.tracker.signal().readCount, 2500);
}

TEST(Autotracker, UpdateAndInitiateLeaveCountersAndPhase)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.slots = 5000;
    test.start();
    test.feed(steadyMachine(2505, 20000.0, 40.0));
    EXPECT_EQ(test.tracker.calculate().valid, 1);
    const DecimatedRing before = test.tracker.decimatedSignal();
    const std::int32_t phase = test.tracker.decimationPhase();
    const std::int32_t position = test.tracker.filter().position();
    EXPECT_GT(phase, 0);
    EXPECT_GT(position, 0);

    test.tracker.update();
    test.tracker.initiate();

    const DecimatedRing& ring = test.tracker.decimatedSignal();
    EXPECT_EQ(ring.readIndex, before.readIndex);
    EXPECT_EQ(ring.writeIndex, before.writeIndex);
    EXPECT_EQ(+ring.readCount, +before.readCount);
    EXPECT_EQ(+ring.writeCount, +before.writeCount);
    EXPECT_EQ(ring.storage, before.storage);
    EXPECT_EQ(test.tracker.filteredCount(), 2505);
    EXPECT_EQ(test.tracker.decimationPhase(), phase);
    EXPECT_EQ(test.tracker.filter().position(), position);
    EXPECT_EQ(+test.tracker.signal().readCount, 2505);
}

// ---- what takes effect when ---------------------------------------------------------------------

TEST(Autotracker, SettersDeriveNothing)
{
    TestTracker test;
    test.start();
    test.tracker.setSampleRate(20000.0, 1);
    EXPECT_EQ(test.tracker.decimation(), 1);
    EXPECT_EQ(test.tracker.blockLength(), 100);
    test.tracker.update();
    EXPECT_EQ(test.tracker.decimation(), 16);
    EXPECT_EQ(test.tracker.blockLength(), 125);
}

// The base class's bracket plays no part, as update() is called by itself.
TEST(Autotracker, UpdateRunsInsideAnOpenBracketToo)
{
    TestTracker test;
    test.tracker.beginUpdate();
    test.prepare();
    EXPECT_EQ(test.tracker.blockLength(), 100);
    test.tracker.endUpdate();
}

} // namespace
} // namespace Velmora::Autotracker
