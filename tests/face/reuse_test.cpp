// Handles are used again, and no one can tell: neither by what the run before left in the library's
// object, nor by memory that it pointed to.

#include "face_host.h"

#include <gtest/gtest.h>

#include <random>

namespace Face {
namespace {

using Boundary::Recording;

/// Analyzers that take all idle handles of a mode out of the pool.
std::vector<AnyAnalyzer> emptyPool(Mode mode)
{
    AnalyzerSetup setup = machineSetup();
    setup.results.binOrderSpectrum = true;
    std::vector<AnyAnalyzer> holders;
    while (analyzerPool(mode).idle > 0) holders.emplace_back(mode).setUp(setup);
    return holders;
}

/// A run-up that ends in a sudden stop: the last two speeds are 32 Hz and 0.
Recording runUpAndStop(uint64_t seed, int64_t samples)
{
    using namespace Boundary;
    Machine machine = runUp(sum(tone(1.0, 1.0, 0.4), noise(seed)), tone(0.5, 2.5, 0.1));
    machine.shaft.hertzPerSecond = 8.0;
    Recording recording = record(machine, samples);
    for (std::size_t k = recording.frequency.size() - 40; k < recording.frequency.size(); ++k)
        recording.frequency[k] = 0.0;
    return recording;
}

AnalyzerSetup randomSetup(Mode mode, std::mt19937& random)
{
    const auto below = [&](int count) {
        return static_cast<int>(random() % static_cast<unsigned>(count));
    };
    const auto chance = [&] { return below(2) == 1; };
    AnalyzerSetup setup = machineSetup();
    setup.binning.direction = static_cast<Direction>(below(4));
    setup.binning.step = static_cast<float>(20 + 10 * below(10));
    setup.orders.orderResolution = 1.0F / static_cast<float>(1 + below(6));
    setup.orders.harmonicOrders = {1.0F, 2.5F, 3.0F};
    setup.orders.harmonicOrders.resize(static_cast<std::size_t>(below(4)));
    setup.analysis.windowType = static_cast<Window>(below(6));
    setup.analysis.amplitudeType = static_cast<Amplitude>(below(3));
    setup.analysis.blockMode = static_cast<BlockMode>(below(2));
    setup.analysis.averagingType = static_cast<Averaging>(below(4));
    setup.analysis.timeLines = 16 + 8 * below(6);
    setup.analysis.overlapPercent = static_cast<float>(25 * below(4));
    setup.analysis.deltaOnBinChange = chance();
    setup.analysis.deltaOnTime = !setup.analysis.deltaOnBinChange || chance();
    setup.analysis.deltaSeconds = 0.1F + 0.2F * static_cast<float>(below(10));
    setup.analysis.phaseMode = static_cast<PhaseMode>(below(2));
    setup.analysis.maxRpm = 3000.0F;
    setup.analysis.weightingType = static_cast<Weighting>(below(5));
    setup.analysis.twoSided = mode == Mode::OneComplex && chance();
    setup.analysis.removeMeanOrder = chance();
    const bool two = mode == Mode::TwoReal;
    setup.results = {chance(),
                     chance(),
                     false,
                     chance(),
                     two && chance(),
                     chance(),
                     two && chance(),
                     chance(),
                     chance(),
                     chance()};
    setup.results.binOrderTwoSided =
        two && (setup.results.binOrderSpectrum || setup.results.binHarmonics);
    if (sentenceOf([&] { setup.validate(mode); }) != "") setup.results.binOrderSpectrum = true;
    // Values of the run-up stay on this axis, so that contiguous blocks have nothing to make up
    // for.
    if (setup.analysis.blockMode == BlockMode::Contiguous) setup.binning.minValue = 940.0F;
    return setup;
}

// The property that all the others are cases of.
TEST(ReusedAnalyzer, GivesTheBitsOfANewOne)
{
    std::mt19937 random(20240);
    const Recording first = runUpAndStop(1, 1900);
    const Recording second = runUpAndStop(2, 1500);
    for (int round = 0; round < 60; ++round) {
        const Mode mode = kModes[round % 3];
        const std::vector<AnyAnalyzer> others = emptyPool(mode);
        const AnalyzerSetup setup = randomSetup(mode, random);
        const int64_t samples = 200 + static_cast<int64_t>(random() % 1300);
        const int64_t piece = 1 + static_cast<int64_t>(random() % 700);
        const std::size_t made = analyzerPool(mode).made;

        AnyAnalyzer fresh(mode);
        fresh.setUp(setup);
        ASSERT_EQ(analyzerPool(mode).made, made + 1);
        {
            AnyAnalyzer before(mode);
            before.setUp(randomSetup(mode, random));
            runThrough(before, first, 300 + static_cast<int64_t>(random() % 1600), 1024);
        }
        ASSERT_EQ(analyzerPool(mode).idle, 1U);
        AnyAnalyzer reused(mode);
        reused.setUp(setup);
        ASSERT_EQ(analyzerPool(mode).idle, 0U);

        const auto expected = runThrough(fresh, second, samples, piece);
        EXPECT_TRUE(runThrough(reused, second, samples, piece) == expected) << "round " << round;
        reused.restart();
        EXPECT_TRUE(runThrough(reused, second, samples, piece) == expected)
            << "round " << round << ", second run";
    }
}

// restart() forgets the stream and reset() goes on in it: positions count on, so blocks of the new
// run lie elsewhere in their ring, and what comes of them is the same.
TEST(ReusedAnalyzer, StartsARunWithinItsStreamWithNothingOfTheRunBefore)
{
    using namespace Boundary;
    AnalyzerSetup setup = machineSetup();
    setup.results.binOrderSpectrum = setup.results.deltaHarmonics = true;
    setup.orders.harmonicOrders = {4.0F};
    setup.analysis.deltaOnBinChange = true;
    setup.analysis.averagingType = Averaging::Mean;
    Analyzer<Mode::OneReal> analyzer(setup);
    const Recording recording = record(runUp(tone(3.0, 4.0, 0.0)), 7200);
    const auto take = [&](int64_t first, int64_t last) {
        std::vector<News> all;
        for (; first < last; first += 400) {
            analyzer.feed(angleSamples(recording, Mode::OneReal, first, first + 400));
            while (const auto news = analyzer.next()) all.push_back(*news);
        }
        return all;
    };
    EXPECT_FALSE(take(0, 2000).empty());
    EXPECT_GT(analyzer.turns().count, 50);
    ASSERT_TRUE(analyzer.speed());

    analyzer.reset();

    EXPECT_EQ(analyzer.turns().count, 0);
    EXPECT_FALSE(analyzer.speed());
    for (int bin = 0; bin < analyzer.sizes().bins; ++bin)
        for (const float value : analyzer.binOrderSpectrum(bin)) ASSERT_EQ(value, 0.0F);
    const std::vector<News> rest = take(2000, 7200);
    ASSERT_FALSE(rest.empty());
    // The old block value would have released deltas at the first sample, before any block.
    EXPECT_TRUE(rest.front().binOrderSpectrum || analyzer.deltaHarmonics().time > 2.5);
    EXPECT_NEAR(static_cast<double>(analyzer.binOrderSpectrum(10)[16]), 3.0, 1e-5);
}

// ---- what reset() of the library leaves, one by one ---------------------------------------------

class LeftOver : public testing::Test {
protected:
    LeftOver() : others(emptyPool(Mode::OneReal)) {}

    std::vector<AnyAnalyzer> others;
    Analyzer<Mode::OneReal> analyzer;
};

// A stop that was reported is not reported again before a sample was taken.
TEST_F(LeftOver, AStopAtTheStartOfARunIsNewsAgain)
{
    AnalyzerSetup setup = machineSetup();
    setup.results.binOrderSpectrum = true;
    const std::vector<double> zeros(8, 0.0);
    const std::vector<double> speed{32, 32, 32, 32, 32, 32, 32, 0};
    const std::vector<double> time{0, 1, 2, 3, 4, 5, 6, 7};
    for (int run = 0; run < 2; ++run) {
        analyzer.setUp(setup);
        analyzer.feed({zeros, {}, zeros, speed, zeros, time});
        const auto news = analyzer.next();
        ASSERT_TRUE(news) << "run " << run;
        EXPECT_TRUE(news->rpmUpdated);
        EXPECT_EQ(analyzer.speed()->rpm, 0.0F);
        EXPECT_EQ(analyzer.speed()->time, 7.0);
    }
}

// The mean binned value of the last block would be far from 0, where a run begins.
TEST_F(LeftOver, NoDeltaIsReleasedBeforeTheFirstBlock)
{
    AnalyzerSetup setup = machineSetup();
    setup.results.deltaOrderSpectrum = true;
    setup.analysis.deltaOnBinChange = true;
    const Recording recording = record(Boundary::runUp(Boundary::tone(1, 4, 0)), 1000);
    for (int run = 0; run < 2; ++run) {
        analyzer.setUp(setup);
        analyzer.feed(angleSamples(recording, Mode::OneReal, 0, 128)); // 64 taken: no block yet
        while (const auto news = analyzer.next())
            EXPECT_FALSE(news->deltaOrderSpectrum) << "run " << run;
        analyzer.feed(angleSamples(recording, Mode::OneReal, 128, 1000));
        const auto news = analyzer.next();
        ASSERT_TRUE(news);
        EXPECT_TRUE(news->deltaOrderSpectrum);
    }
}

// Results without a flag raised since the last reset are not cleared: turns and delta means.
TEST_F(LeftOver, ARunWithoutAResultLeavesNothing)
{
    AnalyzerSetup setup = machineSetup();
    setup.results.deltaHarmonics = true;
    setup.orders.harmonicOrders = {4.0F};
    setup.analysis.deltaOnTime = true;
    setup.analysis.deltaSeconds = 100.0F;
    const Recording loud = record(Boundary::runUp(Boundary::tone(9, 4, 0)), 1000);
    analyzer.setUp(setup);
    analyzer.feed(angleSamples(loud, Mode::OneReal, 0, 1000));
    while (const auto news = analyzer.next()) ASSERT_FALSE(news->deltaHarmonics);
    EXPECT_EQ(analyzer.turns().count, 29); // (1000 - 64) / 32
    EXPECT_GT(std::abs(analyzer.deltaHarmonics().values[0]), 8.9F);

    analyzer.setUp(setup);

    EXPECT_EQ(analyzer.turns().count, 0);
    EXPECT_EQ(analyzer.turns().time, 0.0);
    EXPECT_EQ(std::abs(analyzer.deltaHarmonics().values[0]), 0.0F);
    const Recording quiet = record(Boundary::runUp(Boundary::tone(1, 4, 0)), 1000);
    analyzer.feed(angleSamples(quiet, Mode::OneReal, 0, 1000));
    while (analyzer.next()) {
    }
    EXPECT_NEAR(static_cast<double>(std::abs(analyzer.deltaHarmonics().values[0])), 1.0, 0.02);
}

// A table of a path that the next setup leaves out would be cleared where it was: under the address
// sanitizer that is a use after free.
TEST_F(LeftOver, NoTableOfTheRunBeforeIsTouched)
{
    AnalyzerSetup setup = machineSetup();
    setup.results = {true, true, false, true, false, true, false, true, true, true};
    setup.analysis.deltaOnTime = true;
    const Recording recording = record(Boundary::runUp(Boundary::tone(1, 4, 0)), 2000);
    analyzer.setUp(setup);
    runThrough(analyzer, recording, 2000, 500);
    AnalyzerSetup other = machineSetup();
    other.results.timeOrderSpectrum = true;
    analyzer.setUp(other);
    runThrough(analyzer, recording, 2000, 500);
    analyzer.restart();
    EXPECT_EQ(analyzer.timeOrderSpectrum().time, 0.0);
}

// ---- trackers -----------------------------------------------------------------------------------

std::vector<double> gearSound(std::size_t count, double rate, double hertz)
{
    std::vector<double> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const double angle = 2.0 * Boundary::kPi * hertz * static_cast<double>(i) / rate;
        samples[i] = std::cos(angle) + 0.6 * std::cos(2 * angle + 1.0) +
                     0.4 * std::cos(3 * angle + 2.0) + 0.1 * std::cos(static_cast<double>(i * i));
    }
    return samples;
}

std::vector<double>
track(Autotracker& tracker, const std::vector<double>& samples, std::size_t piece)
{
    std::vector<double> estimates;
    for (std::size_t fed = 0; fed < samples.size(); fed += piece) {
        tracker.feed(std::span(samples).subspan(fed, std::min(piece, samples.size() - fed)));
        while (const auto estimate = tracker.next()) {
            estimates.push_back(estimate->frequency);
            estimates.push_back(estimate->time);
        }
    }
    return estimates;
}

TrackerSetup gearSetup(double rate)
{
    TrackerSetup setup;
    setup.sampleRate = rate;
    setup.orders = {1, 2, 3};
    setup.minFrequency = 600;
    setup.maxFrequency = 6000;
    return setup;
}

// At 1000 Hz the tracker takes the signal as it is, at 6000 Hz it decimates by 5.
TEST(ReusedTracker, GivesTheBitsOfANewOne)
{
    for (const double rate : {1000.0, 6000.0}) {
        const auto samples = gearSound(static_cast<std::size_t>(2 * rate), rate, 20.0);
        std::vector<Autotracker> others;
        while (trackerPool().idle > 0) others.emplace_back(gearSetup(1000.0));
        const std::size_t made = trackerPool().made;

        Autotracker fresh(gearSetup(rate));
        ASSERT_GT(trackerPool().made, made);
        {
            Autotracker before(gearSetup(rate == 1000.0 ? 6000.0 : 1000.0));
            track(before, gearSound(5001, 6000.0, 31.0), 900);
        }
        ASSERT_GT(trackerPool().idle, 0U);
        Autotracker reused(gearSetup(rate));

        const auto expected = track(fresh, samples, 700);
        ASSERT_GT(expected.size(), 20U);
        EXPECT_NEAR(expected[0], 1200.0, 3.0);
        EXPECT_EQ(track(reused, samples, 700), expected);
        reused.restart();
        EXPECT_EQ(track(reused, samples, 700), expected);
    }
}

// The result that a tracker holds before it has one is that of its last user.
TEST(ReusedTracker, GivesOutNothingBeforeItsFirstBlock)
{
    {
        Autotracker before(gearSetup(1000.0));
        track(before, gearSound(500, 1000.0, 20.0), 500);
    }
    Autotracker tracker(gearSetup(1000.0));
    EXPECT_FALSE(tracker.next());
    tracker.feed(gearSound(99, 1000.0, 20.0));
    EXPECT_FALSE(tracker.next());
}

TEST(ReusedTracker, GoesOnInItsStreamAfterAReset)
{
    Autotracker tracker(gearSetup(6000.0));
    const auto samples = gearSound(12000, 6000.0, 20.0);
    const auto before = track(tracker, samples, 1000);
    tracker.reset();
    const auto after = track(tracker, samples, 1000);
    EXPECT_EQ(after.size(), before.size());
    // 2 seconds later, but for what of the first stream was in the decimator.
    EXPECT_NEAR(after[1], before[1] + 2.0, 1e-9);
    EXPECT_NEAR(after[0], 1200.0, 3.0);
}

// A search round a frequency reaches three times 1 % of 6000 rpm to either side: from 1250 the
// machine at 1200 is within reach, from 900 it is not.
TEST(ReusedTracker, StartsWhereItIsTold)
{
    Autotracker tracker(gearSetup(1000.0));
    const auto samples = gearSound(1000, 1000.0, 20.0);
    tracker.startAt(1250.0);
    EXPECT_NEAR(track(tracker, samples, 500)[0], 1200.0, 3.0);
    tracker.startAt(900.0);
    EXPECT_LT(track(tracker, samples, 500)[0], 1081.0);
    tracker.reset();
    EXPECT_NEAR(track(tracker, samples, 500)[0], 1200.0, 3.0);
    EXPECT_EQ(sentenceOf([&] { tracker.startAt(-1.0); }),
              "The frequency to start at is -1, and it must be 0 or more.");
}

TEST(Tracker, TellsWhatTheLibraryHasChosen)
{
    TrackerSetup setup = gearSetup(6000.0);
    setup.searchStep = 9.0; // not manual: overwritten
    const Autotracker tracker(setup);
    EXPECT_EQ(tracker.decimation(), 5);
    EXPECT_EQ(tracker.blockSamples(), 120); // one turn at 600 rpm, 0.1 s of 1200 Hz
    EXPECT_EQ(tracker.setup().searchStep, 0.5);
    EXPECT_EQ(tracker.setup().blockDuration, 0.1);
}

} // namespace
} // namespace Face
