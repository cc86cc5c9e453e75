// Memory of the process that really runs out, anywhere in setting up. FFTW does not report it but
// ends the process: that must never be.

#include "limited_process.h"

#include <harmotrack/harmotrack.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <utility>

namespace {

using namespace Harmotrack;

AnalyzerSetup setupOf(int maxOrder, int timeLines)
{
    AnalyzerSetup setup;
    setup.sampleRate = 1e6;
    setup.binning = {.minValue = 1000.0F, .maxValue = 2000.0F, .step = 100.0F};
    setup.orders = {.orderResolution = 1.0F, .maxOrder = maxOrder, .harmonicOrders = {1.0F}};
    setup.analysis.timeLines = timeLines;
    setup.analysis.maxRpm = 2000.0F;
    setup.results = {.binHarmonics = true, .binOrderSpectrum = true};
    setup.results.overall = true;
    return setup;
}

// Powers of two and twice primes, of which FFTW makes plans of every kind.
const std::pair<int, int> kSizes[] = {{16, 16}, {17, 19}, {64, 4096}, {1009, 8191}, {9973, 16381}};

// One that decimates, so that the kernels are loaded too. It comes first: what other tests have
// freed would serve the set-up, and not the loader of libraries, which then seems to lack the file.
TEST(LimitedMemory, EndsSettingUpATrackerByASentence)
{
    TrackerSetup setup;
    setup.sampleRate = 51200.0;
    setup.orders = {1, 2, 3};
    setup.minFrequency = 600.0;
    setup.maxFrequency = 6000.0;
    EXPECT_GT(attemptWithMoreAndMore([&] { Autotracker tracker(setup); }), 10);
}

// The first attempts find FFTW not even loaded.
TEST(LimitedMemory, EndsSettingUpAnAnalyzerByASentence)
{
    int sentences = 0;
    for (const auto& [maxOrder, timeLines] : kSizes) {
        const AnalyzerSetup setup = setupOf(maxOrder, timeLines);
        sentences += attemptWithMoreAndMore([&] { Analyzer<Mode::OneReal>{setup}; });
    }
    EXPECT_GT(sentences, 50);
}

// With FFTW loaded and an idle handle in the pool, there is little that could fail before FFTW.
TEST(LimitedMemory, EndsSettingUpAnotherAnalyzerByASentence)
{
    std::optional<Analyzer<Mode::TwoReal>> before(setupOf(16, 16));
    before.reset();
    int sentences = 0;
    for (const auto& [maxOrder, timeLines] : kSizes) {
        const AnalyzerSetup setup = setupOf(maxOrder, timeLines);
        sentences += attemptWithMoreAndMore([&] { Analyzer<Mode::TwoReal>{setup}; });
    }
    EXPECT_GT(sentences, 50);
}

// Its handle goes back to the pool, for which it is planned anew, small; and so it is to restart.
TEST(LimitedMemory, EndsSettingUpAnewAndRestartingByASentence)
{
    const AnalyzerSetup small = setupOf(16, 16);
    const AnalyzerSetup large = setupOf(9973, 16381);
    Analyzer<Mode::OneReal> analyzer(small);
    EXPECT_GT(attemptWithMoreAndMore([&] {
                  analyzer.setUp(large);
                  analyzer.restart();
                  analyzer.setUp(small);
                  analyzer.setUp(large);
              }),
              5);
}

} // namespace
