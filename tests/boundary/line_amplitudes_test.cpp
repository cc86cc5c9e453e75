// Order and frequency spectra of known signals. The shaft turns steadily at 32 Hz and both rings
// hold 1024 samples a second, so the same samples make the same block in both; order o is on line
// 4 o of either.

#include "expectations.h"
#include "test_host.h"

#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <tuple>
#include <vector>

namespace Boundary {
namespace {

constexpr int32_t kSize = 128; // of both blocks
constexpr int32_t kLines = 64;
constexpr int32_t kLine = 16; // of order 4, 128 Hz

struct AmplitudeScale {
    int32_t type;
    double factor;
};

constexpr std::array<AmplitudeScale, 4> kAmplitudeScales = {
    {{HARMOTRACK_AMPLITUDE_PEAK, 1.0},
     {HARMOTRACK_AMPLITUDE_RMS, 0.70710678118654752},
     {HARMOTRACK_AMPLITUDE_PEAK_TO_PEAK, 2.0},
     {9, 1.0}}}; // no type of this number: peak

// Both spectra of the bin that is crossed once.
void runOnce(Host& host, Signal signalA, Signal signalB)
{
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binTimeSpectrum = 1;
    host.start();
    const std::vector<Outcome> outcomes =
        host.run(record(crossing(std::move(signalA), std::move(signalB)), kCrossingSamples));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({BinOrderSpectrum, BinTimeSpectrum}));
    EXPECT_EQ(outcomes[0].bin, kCrossedBin);
    EXPECT_EQ(outcomes[0].rpmTime, static_cast<double>(kCrossing) / 1024.0);
}

void expectBothRows(const Host& host,
                    int32_t which,
                    const std::vector<double>& expected,
                    double tolerance = kFloatTolerance)
{
    {
        SCOPED_TRACE("order spectrum");
        expectRow(host.orderRow(kCrossedBin, which), expected, tolerance);
    }
    SCOPED_TRACE("frequency spectrum");
    expectRow(host.timeRow(kCrossedBin, which), expected, tolerance);
}

// ---- a tone on a line ---------------------------------------------------------------------------

class SpectraByWindow : public testing::TestWithParam<std::tuple<int32_t, int32_t>> {};

INSTANTIATE_TEST_SUITE_P(Mode,
                         SpectraByWindow,
                         testing::Combine(testing::ValuesIn(kModes),
                                          testing::Values(0, 1, 2, 3, 4, 5, 8)));

// The windows are made amplitude-true, and a whole number of cycles that is clear of both ends has
// no share of its mirror image on its own line.
TEST_P(SpectraByWindow, SineOnALineReadsItsAmplitudeInEveryAmplitudeType)
{
    const auto [mode, window] = GetParam();
    for (const AmplitudeScale& scale : kAmplitudeScales) {
        SCOPED_TRACE(scale.type);
        Host host(mode);
        host.analysis.windowType = window;
        host.analysis.amplitudeType = scale.type;
        runOnce(host, tone(3.0, 4.0, 0.7), mode == 1 ? tone(1.5, 6.0, -1.2) : silence());

        const auto set = host.firstSet();
        EXPECT_NEAR(host.orderRow(kCrossedBin, set)[16], 3.0 * scale.factor, 4 * kFloatTolerance);
        EXPECT_NEAR(host.timeRow(kCrossedBin, set)[16], 3.0 * scale.factor, 4 * kFloatTolerance);
        if (mode != 1) continue;
        EXPECT_NEAR(host.orderRow(kCrossedBin, 2)[24], 1.5 * scale.factor, 4 * kFloatTolerance);
        EXPECT_NEAR(host.timeRow(kCrossedBin, 2)[24], 1.5 * scale.factor, 4 * kFloatTolerance);
    }
}

// ---- the whole row ------------------------------------------------------------------------------

class Spectra : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Spectra, testing::ValuesIn(kModes));

// A window that is a sum of cosines with coefficients a[d] spreads a tone over the lines at
// distance d: a[d] / (2 a[0]) of its amplitude on either side, and nothing beyond the last term.
TEST_P(Spectra, SumOfCosinesSpreadsASineAsItsCoefficientsSay)
{
    struct CosineSum {
        int32_t type;
        std::vector<double> a;
    };

    const std::vector<CosineSum> windows = {
        {HARMOTRACK_WINDOW_RECTANGLE, {1.0}},
        {HARMOTRACK_WINDOW_HANNING, {0.5, 0.5}},
        {HARMOTRACK_WINDOW_HAMMING, {0.54, 0.46}},
        {HARMOTRACK_WINDOW_FLATTOP,
         {0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368}},
        {HARMOTRACK_WINDOW_BLACKMAN, {0.42, 0.5, 0.08}},
        {HARMOTRACK_WINDOW_BLACKMAN_HARRIS,
         {0.271051400693424,
          0.433297939234485,
          0.21812299954311,
          0.065925446388031,
          0.010811742098371,
          0.000776584825226,
          1.3887217352e-5}}};
    for (const CosineSum& window : windows) {
        SCOPED_TRACE(window.type);
        std::vector<double> expected(kLines);
        expected[kLine] = 3.0;
        for (size_t d = 1; d < window.a.size(); ++d)
            expected[kLine + d] = expected[kLine - d] = 3.0 * window.a[d] / (2.0 * window.a[0]);

        Host host(GetParam());
        host.analysis.windowType = window.type;
        runOnce(host, tone(3.0, 4.0, 0.7), silence());
        expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
    }
}

// A periodic triangle is a rectangle of M = N / 2 samples convolved with itself: line d off the
// tone has (-1)^d / (M sin(pi d / N))^2 of it for odd d, and nothing for even d.
TEST_P(Spectra, TriangleSpreadsASineOverTheLinesAtOddDistances)
{
    const auto leakage = [](int32_t d) {
        if (d == 0) return 1.0;
        if (d % 2 == 0) return 0.0;
        return -1.0 / std::pow(0.5 * kSize * std::sin(kPi * d / kSize), 2.0);
    };
    const double phase = 0.7; // at the block's start, a whole number of cycles into the run
    std::vector<double> expected(kLines);
    for (int32_t k = 1; k < kLines; ++k) {
        expected[static_cast<size_t>(k)] = 3.0 * std::abs(std::polar(leakage(k - kLine), phase) +
                                                          std::polar(leakage(k + kLine), -phase));
    }

    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_TRIANGLE;
    runOnce(host, tone(3.0, 4.0, phase), silence());
    expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
}

// With g the decay of one sample the transform of the window is a geometric series; so line k of
// A cos(2 pi m n / N + p) is A (1 - g) [e^jp / (1 - g e^(j 2 pi (m-k)/N)) + e^-jp / (1 - g
// e^(-j 2 pi (m+k)/N))], and half of it on line 0.
TEST_P(Spectra, ExponentialWindowSpreadsASineAsItsGeometricSeriesSays)
{
    const double finalValue = static_cast<double>(0.1F);
    const double g = std::exp(std::log(finalValue) / kSize);
    const double phase = 0.7;
    std::vector<double> expected(kLines);
    for (int32_t k = 0; k < kLines; ++k) {
        const auto series = [&](int32_t distance) {
            return 1.0 / (1.0 - std::polar(g, 2.0 * kPi * distance / kSize));
        };
        const std::complex<double> line = 3.0 * (1.0 - g) *
                                          (std::polar(1.0, phase) * series(kLine - k) +
                                           std::polar(1.0, -phase) * series(-kLine - k));
        expected[static_cast<size_t>(k)] = std::abs(line) * (k == 0 ? 0.5 : 1.0);
    }
    EXPECT_NEAR(expected[kLine], 3.0, 0.1); // the mirror image leaks in, but not much

    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_EXPONENTIAL;
    host.analysis.windowParameter = 0.1F;
    runOnce(host, tone(3.0, 4.0, phase), silence());
    expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
}

// 32, 64 and 96 samples hold a whole number of half cycles of order 4, so that its mirror image
// vanishes on its line; a length of 0, or one beyond the block, takes the whole block.
TEST_P(Spectra, TransientWindowReadsTheAmplitudeTimesItsShareOfTheBlock)
{
    struct Length {
        float samples;
        double share;
    };

    for (const Length& length : {Length{32.0F, 0.25},
                                 {64.0F, 0.5},
                                 {96.9F, 0.75},
                                 {0.0F, 1.0},
                                 {128.0F, 1.0},
                                 {500.0F, 1.0}}) {
        for (const AmplitudeScale& scale : kAmplitudeScales) {
            SCOPED_TRACE(testing::Message() << length.samples << " samples, type " << scale.type);
            Host host(GetParam());
            host.analysis.windowType = HARMOTRACK_WINDOW_TRANSIENT;
            host.analysis.windowParameter = length.samples;
            host.analysis.amplitudeType = scale.type;
            runOnce(host, tone(3.0, 4.0, 0.7), silence());

            const double expected = 3.0 * length.share * scale.factor;
            const auto set = host.firstSet();
            EXPECT_NEAR(host.orderRow(kCrossedBin, set)[16], expected, 4 * kFloatTolerance);
            EXPECT_NEAR(host.timeRow(kCrossedBin, set)[16], expected, 4 * kFloatTolerance);
        }
    }
}

// A size with other prime factors, and lines at a third of an order: line 12 of 96 points.
TEST_P(Spectra, SizesNeedNoPowerOfTwo)
{
    Host host(GetParam());
    host.orders.orderResolution = 1.0F / 3.0F;
    host.analysis.timeLines = 48;
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binTimeSpectrum = 1;
    host.start();
    EXPECT_EQ(host.orderSize(), 96);
    EXPECT_EQ(host.timeSize(), 96);
    const auto outcomes = host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples));
    ASSERT_EQ(outcomes.size(), 1U);

    std::vector<double> expected(48);
    expected[12] = 3.0;
    expected[11] = expected[13] = 1.5;
    expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
}

// ---- line 0 -------------------------------------------------------------------------------------

TEST_P(Spectra, LineZeroIsTheMeanWhateverTheAmplitudeType)
{
    for (const AmplitudeScale& scale : kAmplitudeScales) {
        SCOPED_TRACE(scale.type);
        Host host(GetParam());
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.analysis.amplitudeType = scale.type;
        runOnce(host, constant(-2.5), silence());
        std::vector<double> expected(kLines);
        expected[0] = 2.5;
        expectBothRows(host, host.firstSet(), expected);
    }
}

TEST_P(Spectra, RemovedMeanLeavesLineZeroEmpty)
{
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.removeMeanOrder = 1;
    host.analysis.removeMeanTime = 1;
    runOnce(host, sum(constant(2.5), tone(3.0, 4.0, 0.7)), constant(-1.0));
    std::vector<double> expected(kLines);
    expected[kLine] = 3.0;
    expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
}

// The mean is taken before the window: one cycle a block has none, and leaves
// 1/N sum (1 - cos x) A cos(x + p) = -A cos(p) / 2 on line 0 through a Hanning window. Order 0.25
// has turned by one and a half cycles when the block begins: p = phase + pi.
TEST_P(Spectra, RemovedMeanIsThatOfTheBlockBeforeTheWindow)
{
    const double phase = 0.7;
    const double windowedMean = 0.5 * std::cos(phase);

    Host removed(GetParam());
    removed.analysis.removeMeanOrder = 1;
    removed.analysis.removeMeanTime = 1;
    runOnce(removed, sum(constant(2.5), tone(1.0, 0.25, phase)), silence());
    EXPECT_NEAR(
        removed.orderRow(kCrossedBin, removed.firstSet())[0], windowedMean, kFloatTolerance);
    EXPECT_NEAR(removed.timeRow(kCrossedBin, removed.firstSet())[0], windowedMean, kFloatTolerance);

    Host kept(GetParam());
    runOnce(kept, sum(constant(2.5), tone(1.0, 0.25, phase)), silence());
    EXPECT_NEAR(
        kept.orderRow(kCrossedBin, kept.firstSet())[0], 2.5 + windowedMean, 4 * kFloatTolerance);
    EXPECT_NEAR(
        kept.timeRow(kCrossedBin, kept.firstSet())[0], 2.5 + windowedMean, 4 * kFloatTolerance);
}

// Each signal keeps its own mean through the one transform of both.
TEST(Spectra, BothSignalsOfAPairHaveTheirOwnMean)
{
    Host host(1);
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    runOnce(host, constant(2.5), constant(-1.0));
    std::vector<double> expected(kLines);
    expected[0] = 2.5;
    expectBothRows(host, 1, expected);
    expected[0] = 1.0;
    expectBothRows(host, 2, expected);

    host.analysis.removeMeanOrder = 1;
    host.analysis.removeMeanTime = 1;
    Host removed(1);
    removed.analysis = host.analysis;
    runOnce(removed, constant(2.5), constant(-1.0));
    expectBothRows(removed, 1, std::vector<double>(kLines));
    expectBothRows(removed, 2, std::vector<double>(kLines));
}

// ---- two signals, one complex signal ------------------------------------------------------------

// One complex transform serves both signals: even on one and the same line they do not mix.
TEST(Spectra, TwoSignalsOnTheSameLineStayApart)
{
    for (const double phaseB : {0.7, 0.7 + kPi / 2, -2.0}) {
        SCOPED_TRACE(phaseB);
        Host host(1);
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        runOnce(host, tone(3.0, 4.0, 0.7), tone(1.5, 4.0, phaseB));
        std::vector<double> expected(kLines);
        expected[kLine] = 3.0;
        expectBothRows(host, 1, expected, 4 * kFloatTolerance);
        expected[kLine] = 1.5;
        expectBothRows(host, 2, expected, 4 * kFloatTolerance);
    }
}

// Every line but line 0 is doubled, which makes a real sine read its amplitude; a complex
// exponential, which has no mirror image, reads twice its own.
TEST(Spectra, ComplexExponentialReadsTwiceItsAmplitude)
{
    for (const AmplitudeScale& scale : kAmplitudeScales) {
        SCOPED_TRACE(scale.type);
        Host host(2);
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.analysis.amplitudeType = scale.type;
        runOnce(host, tone(1.5, 4.0, 0.7), tone(1.5, 4.0, 0.7 - kPi / 2));
        std::vector<double> expected(kLines);
        expected[kLine] = 2.0 * 1.5 * scale.factor;
        expectBothRows(host, 0, expected, 8 * kFloatTolerance);
    }
}

// Turning backward, the exponential is on a negative line: not kept without twoSided, and never
// kept in frequency spectra.
TEST(Spectra, BackwardExponentialIsNotInAOneSidedSpectrum)
{
    Host host(2);
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    runOnce(host, tone(1.5, 4.0, 0.7), tone(1.5, 4.0, 0.7 + kPi / 2));
    expectBothRows(host, 0, std::vector<double>(kLines));
}

TEST(Spectra, FrequencySpectrumStaysOneSidedWhateverTwoSidedSays)
{
    Host host(2);
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.twoSided = 1;
    runOnce(host, tone(1.5, 4.0, 0.7), tone(1.5, 4.0, 0.7 - kPi / 2));
    std::vector<double> expected(kLines);
    expected[kLine] = 3.0;
    expectRow(host.timeRow(kCrossedBin, 0), expected, 8 * kFloatTolerance);
}

TEST(Spectra, DcLineModeGivesLineZeroOfAComplexOrderSpectrumTwiceTheScale)
{
    for (const AmplitudeScale& scale : kAmplitudeScales) {
        SCOPED_TRACE(scale.type);
        Host host(2);
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.analysis.amplitudeType = scale.type;
        host.analysis.dcLineMode = HARMOTRACK_DC_LINE_SCALED;
        runOnce(host, constant(3.0), constant(-4.0)); // |3 - 4j| = 5
        EXPECT_NEAR(host.orderRow(kCrossedBin, 0)[0], 2.0 * scale.factor * 5.0, 1e-5);
        EXPECT_NEAR(host.timeRow(kCrossedBin, 0)[0], 5.0, 1e-5);
    }
}

TEST(Spectra, DcLineModeIsWithoutEffectOnRealSignals)
{
    for (const int32_t mode : {0, 1}) {
        SCOPED_TRACE(mode);
        Host host(mode);
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.analysis.dcLineMode = HARMOTRACK_DC_LINE_SCALED;
        runOnce(host, constant(3.0), constant(-4.0));
        EXPECT_NEAR(host.orderRow(kCrossedBin, host.firstSet())[0], 3.0, kFloatTolerance * 4);
        EXPECT_NEAR(host.timeRow(kCrossedBin, host.firstSet())[0], 3.0, kFloatTolerance * 4);
    }
}

TEST(Spectra, OneRealSignalNeedsNoSecondArray)
{
    Host host(0);
    host.nullSignalB = true;
    host.analysis.removeMeanOrder = 1;
    host.analysis.removeMeanTime = 1;
    runOnce(host, tone(3.0, 4.0, 0.7), silence());
    EXPECT_NEAR(host.orderRow(kCrossedBin, 0)[16], 3.0, 4 * kFloatTolerance);
    EXPECT_NEAR(host.timeRow(kCrossedBin, 0)[16], 3.0, 4 * kFloatTolerance);
}

// A mode that is no mode is that of one complex signal.
TEST(Spectra, AnyOtherModeIsThatOfOneComplexSignal)
{
    for (const int32_t mode : {2, 5, -1}) {
        SCOPED_TRACE(mode);
        Host host(mode);
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        runOnce(host, tone(1.5, 4.0, 0.7), tone(1.5, 4.0, 0.7 - kPi / 2));
        EXPECT_NEAR(host.orderRow(kCrossedBin, 0)[16], 3.0, 8 * kFloatTolerance);
    }
}

// ---- block limits -------------------------------------------------------------------------------

// The equal-angle block at a crossing is [k - N/2, k + N/2), the equal-time one likewise: an
// amplitude that is different outside is not seen.
TEST_P(Spectra, BlockAtACrossingIsCentredOnItsSample)
{
    const Signal windowed = [](const Instant& now) {
        const double sample = now.revolutions * 32.0;
        return sample > 191.5 && sample < 319.5 ? 3.0 * std::cos(2.0 * kPi * 4.0 * now.revolutions)
                                                : 100.0;
    };
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    runOnce(host, windowed, silence());
    std::vector<double> expected(kLines);
    expected[kLine] = 3.0;
    expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
}

// The blocks start 192 samples into the run: at slot 192, at slots 896 and 897 of 1024, where they
// end with the ring and one sample beyond it, and at slot 960, where half of them wraps.
TEST_P(Spectra, BlocksMayEndWithTheRingAndWrap)
{
    std::vector<double> expected(kLines);
    expected[kLine] = 3.0;
    for (const int32_t writeIndex : {0, 704, 705, 768}) {
        SCOPED_TRACE(writeIndex);
        Host host(GetParam());
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.angleSlots = host.timeSlots = 1024;
        host.angleWriteIndex = host.timeWriteIndex = writeIndex;
        host.analysis.removeMeanOrder = 1;
        host.analysis.removeMeanTime = 1;
        runOnce(host, sum(constant(2.5), tone(3.0, 4.0, 0.7)), constant(-1.0));
        expectBothRows(host, host.firstSet(), expected, 4 * kFloatTolerance);
    }
}

} // namespace
} // namespace Boundary
