#include "autotracker/autotracker.h"
#include "dsp/fir/filter.h"

#include "test_tracker.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <numeric>
#include <utility>
#include <vector>

namespace Velmora::Autotracker {
namespace {

// 5000 / 2 / (2 * 3 * 100) = 4.17: a decimation of 4.
void useFourfold(TestTracker& test)
{
    test.sampleRate = 5000.0;
    test.start();
    ASSERT_EQ(test.tracker.decimation(), 4);
}

std::vector<double> storedSamples(const Autotracker& tracker)
{
    const DecimatedRing& ring = tracker.decimatedSignal();
    return {ring.storage.begin(), ring.storage.begin() + ring.writeCount};
}

// Designs the anti-alias filter of a rate and decimation.
void designFilter(KorLib::Dsp::Fir::Filter& filter, double rate, int decimation)
{
    filter.setWindowDesign(KorLib::Dsp::Fir::FilterType::LowPass,
                           rate * 0.1,
                           rate,
                           rate * 0.5 / decimation,
                           0.0,
                           KorLib::Dsp::Fir::FilterWindow::Kaiser,
                           60.0);
}

// Its outputs, output 1 first.
std::vector<double> filtered(const std::vector<double>& samples, double rate, int decimation)
{
    KorLib::Dsp::Fir::Filter filter;
    designFilter(filter, rate, decimation);
    std::vector<double> outputs;
    outputs.reserve(samples.size());
    for (const double sample : samples)
        outputs.push_back(static_cast<double>(filter.process(static_cast<float>(sample))));
    return outputs;
}

// Its delay of slow signals in samples: the centre of gravity of its coefficients.
double slowDelay(double rate, int decimation)
{
    KorLib::Dsp::Fir::Filter filter;
    designFilter(filter, rate, decimation);
    double delay = 0.0;
    double number = 0.0;
    for (const float coefficient : filter.getCoefficients())
        delay += number++ * static_cast<double>(coefficient);
    return delay;
}

// ---- the filter ---------------------------------------------------------------------------------

TEST(Decimator, FilterHas38TapsAtAnyRate)
{
    for (const double rate : {2500.0, 5000.0, 51200.0, 1e6}) {
        TestTracker test;
        test.sampleRate = rate;
        test.start();
        EXPECT_GT(test.tracker.decimation(), 1);
        EXPECT_EQ(test.tracker.filter().tapCount(), 38);
        EXPECT_EQ(test.tracker.filter().status(), 0);
    }
}

TEST(Decimator, FilterIsALowPassToHalfOfTheDecimatedRate)
{
    TestTracker test;
    test.sampleRate = 40000.0;
    test.rateDivider = 2;
    test.start();
    const KorLib::Dsp::Fir::Filter& filter = test.tracker.filter();
    EXPECT_EQ(filter.filterType(), KorLib::Dsp::Fir::FilterType::LowPass);
    EXPECT_EQ(filter.design(), KorLib::Dsp::Fir::FilterDesign::WindowMethod);
    EXPECT_EQ(filter.windowType(), KorLib::Dsp::Fir::FilterWindow::Kaiser);
    EXPECT_EQ(filter.sampleRate(), 20000.0);
    EXPECT_EQ(filter.transitionWidth(), 2000.0);
    EXPECT_EQ(filter.cutoff1(), 625.0);
    EXPECT_EQ(filter.attenuation(), 60.0);
    EXPECT_NEAR(filter.magnitudeAt(0.0), 1.0, 1e-6);
}

// Its transition, a tenth of the rate, is wider than what is left of the band at high decimations.
TEST(Decimator, FilterLeaksAtHighDecimations)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.start();
    ASSERT_EQ(test.tracker.decimation(), 16);
    const auto dampingDb = [&](double hertz) {
        return -20 * std::log10(test.tracker.filter().magnitudeAt(hertz));
    };
    EXPECT_NEAR(dampingDb(625.0), 5.0, 0.5);
    EXPECT_NEAR(dampingDb(1250.0), 24.0, 1.0);
}

// ---- which samples are kept ---------------------------------------------------------------------

TEST(Decimator, WithoutDecimationTheHostsRingIsNotTouched)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(120, 1000.0, 40.0));
    test.tracker.feedDecimator();
    EXPECT_EQ(+test.tracker.signal().readCount, 0);
    static_cast<void>(test.tracker.calculate());
    EXPECT_EQ(+test.tracker.signal().readCount, 50); // the hop
    EXPECT_EQ(test.tracker.filteredCount(), 0);
}

TEST(Decimator, SamplesWithinTheDelayAreReadAndNothingIsKept)
{
    TestTracker test;
    useFourfold(test);
    test.feed(std::vector<double>(17, 1.0));
    test.tracker.feedDecimator();
    EXPECT_EQ(+test.tracker.signal().readCount, 17);
    EXPECT_EQ(test.tracker.signal().readIndex, 17);
    EXPECT_EQ(test.tracker.filteredCount(), 17);
    EXPECT_EQ(test.tracker.decimationPhase(), 0);
    EXPECT_EQ(+test.tracker.decimatedSignal().writeCount, 0);
}

// The delay is (38 - 1) / 2 = 18.
TEST(Decimator, KeepsOutput21AndEveryFourthFromThere)
{
    TestTracker test;
    useFourfold(test);
    const std::vector<double> samples = steadyMachine(100, 5000.0, 40.0);
    const std::vector<double> outputs = filtered(samples, 5000.0, 4);
    test.feed(samples);
    test.tracker.feedDecimator();
    std::vector<double> expected;
    for (std::size_t number = 21; number <= 100; number += 4)
        expected.push_back(outputs[number - 1]);
    EXPECT_EQ(storedSamples(test.tracker), expected);
    EXPECT_EQ(test.tracker.decimationPhase(), (100 - 17) % 4);
}

TEST(Decimator, FirstSampleIsKeptAtItsOutputAndNotBefore)
{
    TestTracker test;
    useFourfold(test);
    test.feed(std::vector<double>(20, 1.0));
    test.tracker.feedDecimator();
    EXPECT_EQ(+test.tracker.decimatedSignal().writeCount, 0);
    test.feed(std::vector<double>(1, 1.0));
    test.tracker.feedDecimator();
    EXPECT_EQ(+test.tracker.decimatedSignal().writeCount, 1);
}

TEST(Decimator, AllAnnouncedSamplesAreTakenAtEveryCall)
{
    TestTracker test;
    useFourfold(test);
    for (const std::size_t count : {1U, 500U, 3U}) {
        test.feed(std::vector<double>(count, 1.0));
        static_cast<void>(test.tracker.calculate());
        EXPECT_EQ(+test.tracker.signal().readCount, +test.tracker.signal().writeCount);
    }
}

TEST(Decimator, CountThatIsNotAboveTheReadOneFeedsNothing)
{
    TestTracker test;
    useFourfold(test);
    test.feed(std::vector<double>(30, 1.0));
    test.tracker.feedDecimator();
    const auto expectNothingFed = [&] {
        test.tracker.feedDecimator();
        EXPECT_EQ(+test.tracker.signal().readCount, 30);
        EXPECT_EQ(test.tracker.filteredCount(), 30);
    };
    expectNothingFed();
    test.tracker.updateNewSamples(-5);
    expectNothingFed();
    test.tracker.updateNewSamples(5);
    expectNothingFed();
}

// Samples are doubles in the rings and floats in the filter.
TEST(Decimator, SteadySignalComesThroughAtItsHeight)
{
    TestTracker test;
    useFourfold(test);
    test.feed(std::vector<double>(200, 0.7));
    test.tracker.feedDecimator();
    const std::vector<double> kept = storedSamples(test.tracker);
    EXPECT_NEAR(kept.back(), 0.7, 1e-6);
    EXPECT_EQ(kept.back(), static_cast<double>(static_cast<float>(kept.back())));
}

// ---- time ---------------------------------------------------------------------------------------

// A ramp comes out of the filter late by its delay. The stamps put sample k of the decimated ring
// at input sample k * decimation; it holds what was delivered decimation - 2.0 to 2.3 samples
// later.
TEST(Decimator, StampsAreEarlyByTheDecimationLessAboutTwoSamples)
{
    for (const auto& [rate, decimation] : {std::pair{5000.0, 4}, {20000.0, 16}}) {
        TestTracker test;
        test.sampleRate = rate;
        test.start();
        ASSERT_EQ(test.tracker.decimation(), decimation);
        std::vector<double> ramp(1000);
        std::iota(ramp.begin(), ramp.end(), 0.0);
        test.feed(ramp);
        test.tracker.feedDecimator();
        const std::vector<double> kept = storedSamples(test.tracker);
        const double early = 16 + decimation - slowDelay(rate, decimation);
        EXPECT_NEAR(early, decimation - 2.15, 0.2);
        for (std::size_t k = 10; k < kept.size(); ++k)
            EXPECT_NEAR(kept[k] - static_cast<double>(k) * decimation, early, 1e-3);
    }
}

TEST(Decimator, ResetDropsWhatWasKeptAndSkipsTheDelayAgain)
{
    TestTracker test;
    useFourfold(test);
    const std::vector<double> samples = steadyMachine(100, 5000.0, 40.0);
    test.feed(samples);
    test.tracker.feedDecimator();
    const std::vector<double> first = storedSamples(test.tracker);
    test.tracker.reset();
    EXPECT_TRUE(storedSamples(test.tracker).empty());
    test.feed(samples);
    test.tracker.feedDecimator();
    EXPECT_EQ(storedSamples(test.tracker), first);
    EXPECT_EQ(test.tracker.timeOffset(), 100 / 5000.0);
}

// The design empties the filter, and nothing else: the phase goes on.
TEST(Decimator, SecondInitiateKeepsThePhaseAndForgetsTheFilteredSignal)
{
    TestTracker test;
    useFourfold(test);
    test.feed(std::vector<double>(103, 1.0));
    test.tracker.feedDecimator();
    EXPECT_EQ(test.tracker.decimationPhase(), (103 - 17) % 4);
    test.tracker.initiate();
    test.feed(std::vector<double>(2, 0.0));
    test.tracker.feedDecimator();
    EXPECT_EQ(+test.tracker.decimatedSignal().writeCount, (105 - 17) / 4);
    EXPECT_EQ(storedSamples(test.tracker).back(), 0.0);
}

// ---- the decimated ring -------------------------------------------------------------------------

// 3000 / 4 = 750 slots; 3200 samples give 795 outputs.
TEST(Decimator, FullRingIsOverwrittenAndTheCountsGoOn)
{
    TestTracker test;
    useFourfold(test);
    for (int delivery = 0; delivery < 4; ++delivery) {
        test.feed(std::vector<double>(800, delivery));
        test.tracker.feedDecimator();
    }
    const DecimatedRing& ring = test.tracker.decimatedSignal();
    EXPECT_EQ(ring.capacity, 750);
    EXPECT_EQ(+ring.writeCount, (3200 - 17) / 4);
    EXPECT_EQ(ring.writeIndex, (3200 - 17) / 4 - 750);
    EXPECT_EQ(+ring.readCount, 0);
    EXPECT_NEAR(ring.storage[0], 3.0, 1e-5);   // output 751, of the last delivery
    EXPECT_NEAR(ring.storage[100], 0.0, 1e-5); // output 101, of the first
}

} // namespace
} // namespace Velmora::Autotracker
