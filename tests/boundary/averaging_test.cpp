// Repeated visits of one bin. The binned value rises through the bin's centre every half second;
// each visit has an amplitude and a phase of its own, the same in all samples of its block.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace Boundary {
namespace {

struct Visit {
    double order, amplitude, phase;
};

size_t visitAt(const Instant& now)
{
    return static_cast<size_t>(now.seconds / 0.5);
}

Signal byVisit(const std::vector<Visit>& visits)
{
    return [visits](const Instant& now) {
        const Visit& visit = visits.at(std::min(visitAt(now), visits.size() - 1));
        return visit.amplitude * std::cos(2.0 * kPi * visit.order * now.revolutions + visit.phase);
    };
}

// Rises through 1200 in the middle of every half second.
double revisiting(const Instant& now)
{
    return now.seconds - 0.5 * static_cast<double>(visitAt(now)) < 0.2495 ? 1180.0 : 1220.0;
}

void startAveraging(Host& host, int32_t averagingType)
{
    host.hostTables = true;
    host.harmonicOrders = {4.0F};
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.averagingType = averagingType;
    host.parameters.binHarmonics = 1;
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binOrderTwoSided = 1;
    host.parameters.binTimeSpectrum = 1;
    host.parameters.binTimeTwoSided = 1;
    host.parameters.overall = 1;
    host.start();
}

size_t runVisits(Host& host, const std::vector<Visit>& visitsA, const std::vector<Visit>& visitsB)
{
    const Machine machine{Shaft{}, byVisit(visitsA), byVisit(visitsB), revisiting};
    return host.run(record(machine, static_cast<int64_t>(512 * visitsA.size()))).size();
}

struct Average {
    double level;                  ///< of order 4 in a row
    std::complex<double> harmonic; ///< of order 4
};

void expectAverage(const Host& host, const Average& expected, int32_t which)
{
    EXPECT_NEAR(host.orderRow(kCrossedBin, which)[16], expected.level, 1e-5);
    EXPECT_NEAR(host.timeRow(kCrossedBin, which)[16], expected.level, 1e-5);
    EXPECT_NEAR(host.overall(kCrossedBin, which), expected.level / std::sqrt(2.0), 1e-5);
    expectComplex(host.harmonic(0, kCrossedBin, which), expected.harmonic, 1e-5);
}

class Averaging : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Averaging, testing::ValuesIn(kModes));

const std::vector<Visit> kVisitsA = {{4.0, 1.0, 0.0}, {4.0, 3.0, 1.0}, {4.0, 2.0, 2.0}};
const std::vector<Visit> kVisitsB = {{4.0, 0.5, 0.2}, {4.0, 0.1, 2.0}, {4.0, 0.9, -1.0}};

void expectOverVisits(int32_t mode, int32_t averagingType, const Average& a, const Average& b)
{
    Host host(mode);
    startAveraging(host, averagingType);
    EXPECT_EQ(runVisits(host, kVisitsA, mode == 1 ? kVisitsB : std::vector<Visit>{{4.0, 0.0, 0.0}}),
              3U);
    expectAverage(host, a, host.firstSet());
    if (mode == 1) expectAverage(host, b, 2);
}

TEST_P(Averaging, OverwriteKeepsTheLastVisit)
{
    expectOverVisits(GetParam(),
                     HARMOTRACK_AVERAGING_OVERWRITE,
                     {2.0, std::polar(2.0, 2.0)},
                     {0.9, std::polar(0.9, -1.0)});
}

TEST_P(Averaging, KeepFirstKeepsTheFirstVisit)
{
    expectOverVisits(
        GetParam(), HARMOTRACK_AVERAGING_KEEP_FIRST, {1.0, 1.0}, {0.5, std::polar(0.5, 0.2)});
}

// Rows average their moduli, harmonics their complex values.
TEST_P(Averaging, MeanIsThatOfModuliInRowsAndOfComplexValuesInHarmonics)
{
    expectOverVisits(
        GetParam(),
        HARMOTRACK_AVERAGING_MEAN,
        {2.0, (1.0 + std::polar(3.0, 1.0) + std::polar(2.0, 2.0)) / 3.0},
        {0.5, (std::polar(0.5, 0.2) + std::polar(0.1, 2.0) + std::polar(0.9, -1.0)) / 3.0});
}

TEST_P(Averaging, PeakHoldKeepsTheGreatestVisit)
{
    expectOverVisits(GetParam(),
                     HARMOTRACK_AVERAGING_PEAK_HOLD,
                     {3.0, std::polar(3.0, 1.0)},
                     {0.9, std::polar(0.9, -1.0)});
}

TEST_P(Averaging, AnyOtherTypeWritesNothingAndStillAnnouncesIt)
{
    for (const int32_t type : {4, -1}) {
        SCOPED_TRACE(type);
        expectOverVisits(GetParam(), type, {0.0, 0.0}, {0.0, 0.0});
    }
}

// Line by line: two visits with tones on different lines are both held, and make the level of a
// signal that has both.
TEST_P(Averaging, PeakHoldHoldsEveryLineByItself)
{
    Host host(GetParam());
    startAveraging(host, HARMOTRACK_AVERAGING_PEAK_HOLD);
    EXPECT_EQ(runVisits(host, {{4.0, 3.0, 0.0}, {6.0, 4.0, 0.0}}, {{4.0, 0.0, 0.0}}), 2U);
    const auto set = host.firstSet();
    EXPECT_NEAR(host.orderRow(kCrossedBin, set)[16], 3.0, 1e-5);
    EXPECT_NEAR(host.orderRow(kCrossedBin, set)[24], 4.0, 1e-5);
    EXPECT_NEAR(host.timeRow(kCrossedBin, set)[16], 3.0, 1e-5);
    EXPECT_NEAR(host.timeRow(kCrossedBin, set)[24], 4.0, 1e-5);
    EXPECT_NEAR(host.overall(kCrossedBin, set), 5.0 / std::sqrt(2.0), 1e-5);
}

// The level is computed from the stored row, so that it averages as the row does.
TEST_P(Averaging, OverallIsThatOfTheAveragedRow)
{
    Host host(GetParam());
    startAveraging(host, HARMOTRACK_AVERAGING_MEAN);
    EXPECT_EQ(runVisits(host, {{4.0, 3.0, 0.0}, {6.0, 4.0, 0.0}}, {{4.0, 0.0, 0.0}}), 2U);
    EXPECT_NEAR(host.overall(kCrossedBin, host.firstSet()), 2.5 / std::sqrt(2.0), 1e-5);
}

// The two senses average apart: a forward circle of amplitude 2, then a backward one of 1.
TEST(Averaging, TwoSidedRowsAverageEveryLineByItself)
{
    struct Expected {
        int32_t type;
        double forward, backward;
    };

    for (const Expected& expected : {Expected{HARMOTRACK_AVERAGING_OVERWRITE, 0.0, 1.0},
                                     {HARMOTRACK_AVERAGING_KEEP_FIRST, 2.0, 0.0},
                                     {HARMOTRACK_AVERAGING_MEAN, 1.0, 0.5},
                                     {HARMOTRACK_AVERAGING_PEAK_HOLD, 2.0, 1.0},
                                     {4, 0.0, 0.0}}) {
        SCOPED_TRACE(expected.type);
        Host host(1);
        startAveraging(host, expected.type);
        EXPECT_EQ(runVisits(host,
                            {{4.0, 2.0, 0.0}, {4.0, 1.0, 0.0}},
                            {{4.0, 2.0, -kPi / 2}, {4.0, 1.0, kPi / 2}}),
                  2U);
        EXPECT_NEAR(host.orderTwoSidedRow(kCrossedBin)[63 + 16], expected.forward, 1e-5);
        EXPECT_NEAR(host.orderTwoSidedRow(kCrossedBin)[63 - 16], expected.backward, 1e-5);
        EXPECT_NEAR(host.timeTwoSidedRow(kCrossedBin)[63 + 16], expected.forward, 1e-5);
        EXPECT_NEAR(host.timeTwoSidedRow(kCrossedBin)[63 - 16], expected.backward, 1e-5);
    }
}

// Three blocks of one bin edge to edge: averaging goes by blocks, not by visits of the bin.
TEST(Averaging, MeanCountsBlocksInContiguousMode)
{
    Host host(0);
    host.parameters.binOrderSpectrum = 1;
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.blockMode = HARMOTRACK_BLOCK_CONTIGUOUS;
    host.analysis.averagingType = HARMOTRACK_AVERAGING_MEAN;
    host.start();
    // Blocks are samples 63..190, 191..318 and 319..446.
    const Signal growing = [](const Instant& now) {
        const double block = std::floor((now.revolutions * 32.0 - 62.5) / 128.0);
        return (1.0 + block * block) * std::cos(2.0 * kPi * 4.0 * now.revolutions);
    };
    const Machine machine{Shaft{}, growing, silence(), constant(1200.0)};
    EXPECT_EQ(host.run(record(machine, 450)).size(), 3U);
    EXPECT_NEAR(host.orderRow(kCrossedBin, 0)[16], (1.0 + 2.0 + 5.0) / 3.0, 1e-5);
}

// A harmonic is that of its own bin: what one bin averages leaves its neighbours alone.
TEST(Averaging, BinsAverageApart)
{
    Host host(0);
    startAveraging(host, HARMOTRACK_AVERAGING_MEAN);
    host.run(record(runUp([](const Instant& now) {
                        const double bin = std::round((60.0 * now.hertz - 1000.0) / 100.0);
                        return (bin + 1.0) * std::cos(2.0 * kPi * 4.0 * now.revolutions);
                    }),
                    kRunUpSamples));
    for (int32_t bin = 0; bin < kRunUpBins; ++bin) {
        EXPECT_NEAR(host.orderRow(bin, 0)[16], bin + 1.0, 1e-5);
        expectComplex(host.harmonic(0, bin, 0), {bin + 1.0, 0.0}, 1e-5);
    }
}

} // namespace
} // namespace Boundary
