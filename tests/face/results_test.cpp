// What the spans of results show, against closed forms: which line, which signal, which unit.

#include "face_host.h"

#include <gtest/gtest.h>

namespace Face {
namespace {

using namespace Boundary;
using Harmotrack::Signal;

constexpr int kLine4 = 16; // order 4 by 0.25

/// A steady shaft whose binned value crosses the centre of bin kCrossedBin once, all results asked
/// for that the mode has.
AnalyzerSetup everything(Mode mode)
{
    const bool two = mode == Mode::TwoReal;
    AnalyzerSetup setup = machineSetup();
    setup.orders.harmonicOrders = {1.0F, 4.0F};
    setup.analysis.deltaOnTime = true;
    setup.analysis.deltaSeconds = 0.2F;
    setup.results = {true, true, two, true, two, true, two, true, true, true};
    return setup;
}

double number(float value)
{
    return static_cast<double>(value);
}

void runAll(AnyAnalyzer& analyzer, const Machine& machine)
{
    runThrough(analyzer, record(machine, 768), 768, 100);
}

// A Hanning window is amplitude-true, and order 4 at 32 Hz is 128 Hz, line 16 by 8 Hz.
TEST(Result, OfOneRealSignalReadsItsAmplitudeAndPhase)
{
    Analyzer<Mode::OneReal> analyzer(everything(Mode::OneReal));
    runAll(analyzer, crossing(tone(3.0, 4.0, 0.5)));

    EXPECT_EQ(analyzer.sizes().bins, 11);
    EXPECT_EQ(analyzer.sizes().orderBlock, 128);
    EXPECT_EQ(analyzer.sizes().timeBlock, 128);
    EXPECT_EQ(analyzer.binOrderSpectrum(kCrossedBin).size(), 64U);
    EXPECT_NEAR(number(analyzer.binOrderSpectrum(kCrossedBin)[kLine4]), 3.0, 1e-6);
    EXPECT_NEAR(number(analyzer.binTimeSpectrum(kCrossedBin)[16]), 3.0, 1e-6);
    EXPECT_NEAR(number(analyzer.timeOrderSpectrum().values[kLine4]), 3.0, 1e-6);
    EXPECT_NEAR(number(analyzer.overall()[kCrossedBin]), 3.0 / std::sqrt(2.0), 1e-4);
    EXPECT_EQ(analyzer.overall()[0], 0.0F);
    const std::complex<float> harmonic = analyzer.binHarmonics(1)[kCrossedBin];
    EXPECT_NEAR(number(std::abs(harmonic)), 3.0, 1e-6);
    EXPECT_NEAR(number(std::arg(harmonic)), 0.5, 1e-6);
    EXPECT_NEAR(number(std::abs(analyzer.binHarmonics(0)[kCrossedBin])), 0.0, 1e-6);
    EXPECT_NEAR(number(std::arg(analyzer.deltaHarmonics().values[1])), 0.5, 1e-5);
    EXPECT_NEAR(number(std::abs(analyzer.deltaOrderSpectrum()[kLine4])), 3.0, 1e-5);
    EXPECT_GT(analyzer.deltaHarmonics().time, 0.2);
    // 768 samples but half a block of 128, 32 to a revolution; sample 672 begins a turn.
    EXPECT_EQ(analyzer.turns().count, 21);
    EXPECT_EQ(analyzer.turns().time, 672.0 / 1024.0);
    EXPECT_EQ(analyzer.speed()->rpm, 1920.0F);
}

// What turns with the shaft, x = cos and y = sin, stands behind the middle.
TEST(Result, OfTwoRealSignalsTellsThemAndTheSenseOfRotationApart)
{
    Analyzer<Mode::TwoReal> analyzer(everything(Mode::TwoReal));
    runAll(analyzer, crossing(tone(3.0, 4.0, 0.0), tone(3.0, 4.0, -kPi / 2)));
    EXPECT_NEAR(number(analyzer.binOrderTwoSided(kCrossedBin)[63 + kLine4]), 3.0, 1e-6);
    EXPECT_NEAR(number(analyzer.binOrderTwoSided(kCrossedBin)[63 - kLine4]), 0.0, 1e-6);
    EXPECT_NEAR(number(analyzer.binTimeTwoSided(kCrossedBin)[63 + 16]), 3.0, 1e-6);
    EXPECT_NEAR(number(analyzer.timeOrderTwoSided().values[63 + kLine4]), 3.0, 1e-6);
    EXPECT_EQ(analyzer.binOrderTwoSided(kCrossedBin).size(), 127U);

    runAll(analyzer = Analyzer<Mode::TwoReal>(everything(Mode::TwoReal)),
           crossing(tone(3.0, 4.0, 0.0), tone(2.0, 1.0, 0.25)));
    EXPECT_NEAR(number(analyzer.binOrderSpectrum(kCrossedBin)[kLine4]), 3.0, 1e-6);
    EXPECT_NEAR(number(analyzer.binOrderSpectrum(kCrossedBin, Signal::Second)[4]), 2.0, 1e-6);
    EXPECT_NEAR(number(analyzer.binTimeSpectrum(kCrossedBin, Signal::Second)[4]), 2.0, 1e-6);
    EXPECT_NEAR(number(analyzer.timeOrderSpectrum(Signal::Second).values[4]), 2.0, 1e-6);
    EXPECT_NEAR(number(analyzer.overall(Signal::Second)[kCrossedBin]), std::sqrt(2.0), 1e-4);
    EXPECT_NEAR(
        number(std::arg(analyzer.binHarmonics(0, Signal::Second)[kCrossedBin])), 0.25, 1e-6);
    EXPECT_NEAR(number(std::abs(analyzer.deltaHarmonics(Signal::Second).values[0])), 2.0, 1e-5);
    EXPECT_NEAR(number(std::abs(analyzer.deltaOrderSpectrum(Signal::Second)[4])), 2.0, 1e-5);
}

// cos - j sin turns against the shaft: order -4 of N = 128 lines that ascend from -16 by 0.25.
TEST(Result, OfAComplexSignalAscendsFromTheNegativeOrders)
{
    AnalyzerSetup setup = everything(Mode::OneComplex);
    setup.analysis.twoSided = true;
    setup.orders.harmonicOrders = {-4.0F};
    Analyzer<Mode::OneComplex> analyzer(setup);
    runAll(analyzer, crossing(tone(3.0, 4.0, 0.0), tone(3.0, 4.0, kPi / 2)));
    EXPECT_EQ(analyzer.sizes().orderLines, 128);
    const auto row = analyzer.binOrderSpectrum(kCrossedBin);
    ASSERT_EQ(row.size(), 128U);
    const auto largest = std::max_element(row.begin(), row.end()) - row.begin();
    EXPECT_EQ(largest, 64 - kLine4);
    const Row byCount = analyzer.timeOrderSpectrum();
    EXPECT_EQ(byCount.values[64 - kLine4], row[64 - kLine4]);
    EXPECT_EQ(std::abs(analyzer.binHarmonics(0)[kCrossedBin]), row[64 - kLine4]);
}

// The library hands out the first half of the lines of either half.
TEST(Result, OfATwoSidedDeltaIsTheFirstHalfOfThePositiveOrders)
{
    AnalyzerSetup setup = everything(Mode::OneComplex);
    setup.analysis.twoSided = true;
    Analyzer<Mode::OneComplex> analyzer(setup);
    runAll(analyzer, crossing(tone(3.0, 4.0, 0.0), tone(3.0, 4.0, -kPi / 2)));
    const auto delta = analyzer.deltaOrderSpectrum();
    ASSERT_EQ(delta.size(), 32U);
    EXPECT_NEAR(number(std::abs(delta[kLine4])),
                number(analyzer.binOrderSpectrum(kCrossedBin)[64 + kLine4]),
                1e-5);
    for (std::size_t k = 20; k < delta.size(); ++k) EXPECT_LT(std::abs(delta[k]), 1e-5F) << k;
}

// The face and the boundary are one library: the same samples give the same bits.
TEST(Result, IsThatOfTheBoundary)
{
    const Recording recording = record(runUp(sum(tone(1.0, 1.0, 0.4), noise(3))), 7200);
    Host host(0);
    host.harmonicOrders = {1.0F, 2.5F};
    host.parameters = {1, 1, 0, 0, 0, 1, 0, 0, 0, 1};
    host.start();
    host.run(recording);

    AnalyzerSetup setup = machineSetup();
    setup.orders.harmonicOrders = {1.0F, 2.5F};
    setup.results = {true, true, false, false, false, true, false, false, false, true};
    Analyzer<Mode::OneReal> analyzer(setup);
    runThrough(analyzer, recording, 7200, 333);

    for (int bin = 0; bin < kRunUpBins; ++bin) {
        const auto order = analyzer.binOrderSpectrum(bin);
        const auto time = analyzer.binTimeSpectrum(bin);
        const auto expectedOrder = host.orderRow(bin, 0);
        const auto expectedTime = host.timeRow(bin, 0);
        for (std::size_t k = 0; k < 64; ++k) {
            EXPECT_EQ(number(order[k]), expectedOrder[k]) << bin << ", " << k;
            EXPECT_EQ(number(time[k]), expectedTime[k]) << bin << ", " << k;
        }
        const auto harmonic = host.harmonic(1, bin, 0);
        EXPECT_EQ(number(analyzer.binHarmonics(1)[static_cast<std::size_t>(bin)].real()),
                  harmonic.real());
    }
}

} // namespace
} // namespace Face
