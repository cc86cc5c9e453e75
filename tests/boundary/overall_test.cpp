// The overall level of a bin: the RMS of the signal.

#include "expectations.h"
#include "test_host.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <functional>
#include <tuple>
#include <vector>

namespace Boundary {
namespace {

void runLevel(Host& host, Signal signalA, Signal signalB = silence())
{
    host.parameters.overall = 1;
    host.start();
    const auto outcomes =
        host.run(record(crossing(std::move(signalA), std::move(signalB)), kCrossingSamples));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({Overall}));
}

class OverallLevelByWindow : public testing::TestWithParam<std::tuple<int32_t, int32_t>> {};

INSTANTIATE_TEST_SUITE_P(Mode,
                         OverallLevelByWindow,
                         testing::Combine(testing::ValuesIn(kModes),
                                          testing::Values(0, 1, 2, 3, 4, 5, 8)));

// Half the sum of squared amplitudes is the mean square (Parseval); the factor of the window takes
// back what it spreads. The triangle spreads a little beyond the lines that are kept.
TEST_P(OverallLevelByWindow, OverallOfASineIsItsRmsInEveryAmplitudeType)
{
    const auto [mode, window] = GetParam();
    const double tolerance = window == HARMOTRACK_WINDOW_TRIANGLE ? 1e-3 : 1e-5;
    for (const int32_t type : {0, 1, 2, 9}) {
        SCOPED_TRACE(type);
        Host host(mode);
        host.analysis.windowType = window;
        host.analysis.amplitudeType = type;
        runLevel(host, tone(3.0, 4.0, 0.7), mode == 1 ? tone(1.5, 6.0, -1.2) : silence());
        EXPECT_NEAR(host.overall(kCrossedBin, host.firstSet()), 3.0 / std::sqrt(2.0), tolerance);
        if (mode != 1) continue;
        EXPECT_NEAR(host.overall(kCrossedBin, 2), 1.5 / std::sqrt(2.0), tolerance);
    }
}

// The sum of squares holds for all lines together wherever the tone lies between two of them.
TEST_P(OverallLevelByWindow, OverallOfASineBetweenTwoLinesIsItsRms)
{
    const auto [mode, window] = GetParam();
    // A rectangle over 16.8 cycles has not quite the RMS of the sine, and spreads beyond the lines.
    const double tolerance = window == HARMOTRACK_WINDOW_RECTANGLE ? 0.05 : 2e-3;
    Host host(mode);
    host.analysis.windowType = window;
    runLevel(host, tone(3.0, 4.2, 0.7));
    EXPECT_NEAR(host.overall(kCrossedBin, host.firstSet()), 3.0 / std::sqrt(2.0), tolerance);
}

// ---- noise --------------------------------------------------------------------------------------

// Periodic windows by their definitions, x = 2 pi i / N; a shift of the block is left out, the
// seven-term window begins one sample later.
double windowAt(int32_t window, double i, double size)
{
    const auto cosines = [](const std::vector<double>& a, double x) {
        double sum = 0.0;
        double sign = 1.0;
        for (size_t k = 0; k < a.size(); ++k, sign = -sign)
            sum += sign * a[k] * std::cos(static_cast<double>(k) * x);
        return sum;
    };
    const double x = 2.0 * kPi * i / size;
    switch (window) {
    case HARMOTRACK_WINDOW_HANNING:
        return cosines({0.5, 0.5}, x);
    case HARMOTRACK_WINDOW_HAMMING:
        return cosines({0.54, 0.46}, x);
    case HARMOTRACK_WINDOW_FLATTOP:
        return cosines({0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368}, x);
    case HARMOTRACK_WINDOW_TRIANGLE:
        return 1.0 - std::abs(2.0 * i - size) / size;
    case HARMOTRACK_WINDOW_BLACKMAN:
        return cosines({0.42, 0.5, 0.08}, x);
    case HARMOTRACK_WINDOW_BLACKMAN_HARRIS:
        return cosines({0.271051400693424,
                        0.433297939234485,
                        0.21812299954311,
                        0.065925446388031,
                        0.010811742098371,
                        0.000776584825226,
                        1.3887217352e-5},
                       x + 2.0 * kPi / size);
    default:
        return 1.0;
    }
}

// Mean square of a block as a window weighs it, sum (w x)^2 / sum w^2, less what the level leaves
// out: half of the squared mean, since line 0 is not doubled and yet halved with the others, and
// the line at half the rate, which is not kept.
double weighedRms(const std::vector<double>& block, int32_t window)
{
    const auto size = static_cast<double>(block.size());
    double squares = 0.0;
    double weights = 0.0;
    double gain = 0.0;
    double mean = 0.0;
    double alternating = 0.0;
    double sign = 1.0;
    for (size_t i = 0; i < block.size(); ++i, sign = -sign) {
        const double w = windowAt(window, static_cast<double>(i), size);
        squares += w * w * block[i] * block[i];
        weights += w * w;
        gain += w;
        mean += w * block[i];
        alternating += sign * w * block[i];
    }
    mean /= gain;
    alternating /= gain;
    const double leftOut =
        (0.5 * mean * mean + alternating * alternating) * gain * gain / (size * weights);
    return std::sqrt(squares / weights - leftOut);
}

// White noise of standard deviation 1 in a block of 4096. What its window sees is met but for the
// rounding of 2048 squares summed in float; the RMS of the process within 5 standard deviations of
// such an estimate, which is sqrt((1.8 - 1) * 3.8 / 4096) / 2 for uniform noise (fourth moment 1.8)
// and the widest window (3.8 lines).
TEST_P(OverallLevelByWindow, OverallOfNoiseIsItsRms)
{
    const auto [mode, window] = GetParam();
    constexpr int64_t kNoiseSize = 4096;
    constexpr int64_t kSamples = 3 * kNoiseSize;
    Host host(mode);
    host.analysis.windowType = window;
    host.analysis.timeLines = kNoiseSize / 2;
    host.angleSlots = host.timeSlots = kSamples;
    host.parameters.overall = 1;
    host.start();
    const Machine machine{Shaft{},
                          noise(1),
                          mode == 1 ? noise(2) : silence(),
                          stepAt((1.5 * kNoiseSize - 0.5) / 32.0, 1180.0, 1220.0)};
    const Recording recording = record(machine, kSamples);
    ASSERT_EQ(host.run(recording).size(), 1U);

    for (const int32_t which : resultSets(mode)) {
        const std::vector<double>& signal = which == 2 ? recording.timeB : recording.timeA;
        const auto first = signal.begin() + kNoiseSize;
        const double level = host.overall(kCrossedBin, which);
        EXPECT_NEAR(level, weighedRms(std::vector(first, first + kNoiseSize), window), 3e-5);
        EXPECT_NEAR(level, 1.0, 0.07);
    }
}

// ---- the odd cases ------------------------------------------------------------------------------

class OverallLevel : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, OverallLevel, testing::ValuesIn(kModes));

// An exponential window has no fixed factor.
TEST_P(OverallLevel, OverallThroughAnExponentialWindowIsNotANumber)
{
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_EXPONENTIAL;
    host.analysis.windowParameter = 0.5F;
    runLevel(host, tone(3.0, 4.0, 0.7), tone(3.0, 4.0, 0.7));
    for (const int32_t which : resultSets(GetParam()))
        EXPECT_TRUE(std::isnan(host.overall(kCrossedBin, which)));
}

// A transient window has the factor of the rectangle: with half the block cut off it is the RMS of
// what is left, over the whole block.
TEST_P(OverallLevel, OverallThroughATransientWindowIsTheRmsOverTheWholeBlock)
{
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_TRANSIENT;
    host.analysis.windowParameter = 64.0F;
    runLevel(host, tone(3.0, 4.0, 0.7));
    EXPECT_NEAR(host.overall(kCrossedBin, host.firstSet()), 3.0 / 2.0, 1e-3);
}

// Line 0 never had the amplitude scale, and counts like the others all the same:
// sqrt(1/2) c |mean| with c = 1, sqrt(2), 1/2 for peak, RMS and peak to peak.
TEST_P(OverallLevel, OverallOfAMeanDependsOnTheAmplitudeType)
{
    for (const auto& [type, factor] : {std::pair{0, 1.0}, {1, std::sqrt(2.0)}, {2, 0.5}}) {
        SCOPED_TRACE(type);
        Host host(GetParam());
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.analysis.amplitudeType = type;
        runLevel(host, constant(-2.0));
        EXPECT_NEAR(host.overall(kCrossedBin, host.firstSet()), std::sqrt(2.0) * factor, 1e-5);
    }
}

TEST_P(OverallLevel, FrequencySpectraAreFiledAlsoWhenOnlyTheOverallIsAskedFor)
{
    Host host(GetParam());
    runLevel(host, tone(3.0, 4.0, 0.7));
    EXPECT_NEAR(host.timeRow(kCrossedBin, host.firstSet())[16], 3.0, 1e-5);
}

// A bin that is not visited keeps its level of 0.
TEST_P(OverallLevel, OverallIsFiledUnderItsBin)
{
    Host host(GetParam());
    runLevel(host, tone(3.0, 4.0, 0.7), tone(3.0, 4.0, 0.7));
    for (const int32_t which : resultSets(GetParam())) {
        for (int32_t bin = 0; bin < host.bins(); ++bin)
            EXPECT_EQ(host.overall(bin, which) > 0.0, bin == kCrossedBin);
    }
}

// A complex exponential reads twice its amplitude on its line, and the level follows the lines.
TEST(OverallLevel, OfAComplexExponentialIsRootTwoOfItsAmplitude)
{
    Host host(2);
    runLevel(host, tone(1.5, 4.0, 0.7), tone(1.5, 4.0, 0.7 - kPi / 2));
    EXPECT_NEAR(host.overall(kCrossedBin, 0), 1.5 * std::sqrt(2.0), 1e-5);
}

} // namespace
} // namespace Boundary
