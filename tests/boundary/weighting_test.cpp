// Frequency weighting. Frequency spectra take the response at their lines; order spectra take it
// from a table of speeds, at the speed of the nearest row.

#include "expectations.h"
#include "test_host.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace Boundary {
namespace {

// IEC 61672-1, 5.4.10 and annex E: poles at 20.6, 107.7, 737.9 and 12194 Hz, 2.00 and 0.06 dB of
// gain at 1 kHz.
double aWeighting(double f)
{
    const double f2 = f * f;
    const double pole4 = 12194.0 * 12194.0;
    return std::pow(10.0, 0.1) * pole4 * f2 * f2 /
           ((f2 + 20.6 * 20.6) * (f2 + pole4) *
            std::sqrt((f2 + 107.7 * 107.7) * (f2 + 737.9 * 737.9)));
}

double cWeighting(double f)
{
    const double f2 = f * f;
    const double pole4 = 12194.0 * 12194.0;
    return std::pow(10.0, 0.003) * pole4 * f2 / ((f2 + 20.6 * 20.6) * (f2 + pole4));
}

std::complex<double> response(int32_t weighting, double f)
{
    const std::complex<double> jw(0.0, 2.0 * kPi * f);
    switch (weighting) {
    case HARMOTRACK_WEIGHTING_A:
        return aWeighting(f);
    case HARMOTRACK_WEIGHTING_C:
        return cWeighting(f);
    case HARMOTRACK_WEIGHTING_INTEGRATE:
        return f == 0.0 ? 0.0 : 1.0 / jw;
    case HARMOTRACK_WEIGHTING_DOUBLE_INTEGRATE:
        return f == 0.0 ? 0.0 : 1.0 / (jw * jw);
    case HARMOTRACK_WEIGHTING_DIFFERENTIATE:
        return jw;
    case HARMOTRACK_WEIGHTING_DOUBLE_DIFFERENTIATE:
        return jw * jw;
    default:
        return 1.0;
    }
}

/// The table of speeds of an order spectrum: the row that a speed takes.
struct SpeedTable {
    double minRpm = 600.0;
    double maxRpm = 6000.0;
    int32_t rows = 100;

    [[nodiscard]] int32_t rowOf(double rpm) const
    {
        const double row = std::round((rpm - minRpm) * rows / (maxRpm - minRpm));
        return static_cast<int32_t>(std::clamp(row, 0.0, rows - 1.0));
    }

    [[nodiscard]] double rowRpm(double rpm) const
    {
        return minRpm + rowOf(rpm) * (maxRpm - minRpm) / rows;
    }
};

// 0, 9 and -1 multiply by 1.
constexpr std::array<int32_t, 9> kWeightings = {0, 1, 2, 3, 4, 5, 6, 9, -1};

class Weighting : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Weighting, testing::ValuesIn(kModes));

// ---- frequency spectra --------------------------------------------------------------------------

// Table 3 of IEC 61672-1, decibels, rounded to a tenth; its 4 kHz is 3981 Hz, which is 0.01 dB
// away.
TEST_P(Weighting, AAndCWeightingMeetTheTableOfTheStandard)
{
    struct Nominal {
        int32_t line; // of 50 Hz
        double a, c;
    };

    for (const Nominal& nominal :
         {Nominal{2, -19.1, -0.3}, {20, 0.0, 0.0}, {80, 1.0, -0.8}, {200, -2.5, -4.4}}) {
        SCOPED_TRACE(nominal.line);
        for (const auto& [type, decibels] :
             {std::pair{HARMOTRACK_WEIGHTING_A, nominal.a}, {HARMOTRACK_WEIGHTING_C, nominal.c}}) {
            Host host(GetParam());
            host.sampleRate = 32000.0;
            host.analysis.timeLines = 320;
            host.analysis.weightingType = type;
            host.angleSlots = host.timeSlots = 20000;
            host.parameters.binTimeSpectrum = 1;
            host.start();
            EXPECT_EQ(getTimeFFTResolution(host.handle()), 50.0);
            const Signal sine = tone(1.0, 50.0 * nominal.line / 32.0, 0.3);
            const Machine machine{Shaft{}, sine, sine, stepAt(255.5 / 32.0, 1180.0, 1220.0)};
            host.run(record(machine, 512, 32, 32000.0));
            for (const int32_t which : resultSets(GetParam())) {
                const double level =
                    host.timeRow(kCrossedBin, which)[static_cast<size_t>(nominal.line)];
                // one complex signal of two equal parts has the modulus of 1 + j
                const double unit = GetParam() == 2 ? std::sqrt(2.0) : 1.0;
                EXPECT_NEAR(20.0 * std::log10(level / unit), decibels, 0.051);
            }
        }
    }
}

TEST_P(Weighting, FrequencySpectrumTakesTheResponseAtItsLines)
{
    for (const int32_t type : kWeightings) {
        SCOPED_TRACE(type);
        Host host(GetParam());
        host.analysis.weightingType = type;
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.parameters.binTimeSpectrum = 1;
        host.parameters.overall = 1;
        host.start();
        const Signal signal = sum(constant(2.0), tone(3.0, 4.0, 0.7));
        host.run(record(crossing(signal, GetParam() == 1 ? signal : silence()), kCrossingSamples));
        for (const int32_t which : resultSets(GetParam())) {
            const double mean = 2.0 * std::abs(response(type, 0.0));
            const double sine = 3.0 * std::abs(response(type, 128.0));
            EXPECT_NEAR(host.timeRow(kCrossedBin, which)[0], mean, kFloatTolerance);
            EXPECT_NEAR(host.timeRow(kCrossedBin, which)[16], sine, 1e-6 * sine);
            // what is in the row is in the level
            const double level = std::sqrt((mean * mean + sine * sine) / 2.0);
            EXPECT_NEAR(host.overall(kCrossedBin, which), level, 2e-6 * level);
        }
    }
}

// ---- order spectra ------------------------------------------------------------------------------

// Order 4 is 66.7 to 133.3 Hz in this run-up; each block takes the row nearest to the speed of its
// middle sample, which is the one that crosses the bin's centre.
TEST_P(Weighting, OrderSpectrumTakesTheResponseAtTheSpeedOfTheNearestRow)
{
    const Signal signal = tone(3.0, 4.0, 0.7);
    const Recording recording =
        record(runUp(signal, GetParam() == 1 ? signal : silence()), kRunUpSamples);
    for (const int32_t type : kWeightings) {
        SCOPED_TRACE(type);
        Host host(GetParam());
        host.analysis.weightingType = type;
        host.harmonicOrders = {4.0F};
        host.parameters.binOrderSpectrum = 1;
        host.parameters.binHarmonics = 1;
        host.start();
        const std::vector<Outcome> outcomes = host.run(recording);
        ASSERT_EQ(outcomes.size(), 11U);
        for (const Outcome& outcome : outcomes) {
            SCOPED_TRACE(outcome.bin);
            const double rowRpm = SpeedTable{}.rowRpm(outcome.rpm);
            const std::complex<double> expected =
                std::polar(3.0, 0.7) * response(type, 4.0 * rowRpm / 60.0);
            const double tolerance = 2e-6 * std::abs(expected);
            for (const int32_t which : resultSets(GetParam())) {
                EXPECT_NEAR(host.orderRow(outcome.bin, which)[16], std::abs(expected), tolerance);
                expectComplex(host.harmonic(0, outcome.bin, which), expected, tolerance);
            }
        }
    }
}

// The speed of a steady shaft as a row sees it.
double integratedOrderFour(Host& host, double rpm)
{
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_INTEGRATE;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    Machine machine = crossing(tone(1.0, 4.0, 0.7));
    machine.shaft.startHertz = rpm / 60.0;
    host.run(record(machine, kCrossingSamples));
    return host.orderRow(kCrossedBin, host.firstSet())[16];
}

double integrated(double rpm)
{
    return 1.0 / (2.0 * kPi * 4.0 * rpm / 60.0);
}

// Rows of a table of 600 to 6000 are 54 rpm apart: at 626 rpm the factor is that of 600, and off
// by 4.3 %; at 628 it is that of 654.
TEST_P(Weighting, FactorOfTheRowIsUpToHalfARowOff)
{
    Host low(GetParam());
    EXPECT_NEAR(integratedOrderFour(low, 626.0), integrated(600.0), 1e-8);
    EXPECT_GT(std::abs(integrated(600.0) / integrated(626.0) - 1.0), 0.04);
    Host high(GetParam());
    EXPECT_NEAR(integratedOrderFour(high, 628.0), integrated(654.0), 1e-8);
}

// The last row is one step below the highest speed.
TEST_P(Weighting, SpeedsOutsideTheTableTakeItsEnds)
{
    for (const double rpm : {120.0, 480.0, 599.0}) {
        Host host(GetParam());
        EXPECT_NEAR(integratedOrderFour(host, rpm), integrated(600.0), 1e-8) << rpm;
    }
    for (const double rpm : {5973.5, 6000.0, 9000.0}) {
        Host host(GetParam());
        EXPECT_NEAR(integratedOrderFour(host, rpm), integrated(5946.0), 1e-8) << rpm;
    }
}

// With more bins than 100 the table has a row a bin.
TEST_P(Weighting, TableHasAsManyRowsAsBinsButAtLeastAHundred)
{
    Host host(GetParam());
    host.binning.step = 4.0F; // 251 bins of 4 rpm; the centre at 1200 is that of bin 50
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_INTEGRATE;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    EXPECT_EQ(host.bins(), 251);
    Machine machine = crossing(tone(1.0, 4.0, 0.7));
    machine.shaft.startHertz = 2345.0 / 60.0;
    machine.binSignal = stepAt(255.5 / 32.0, 1198.5, 1201.5);
    const auto outcomes = host.run(record(machine, kCrossingSamples));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].bin, 50);
    const double rowRpm = SpeedTable{600.0, 6000.0, 251}.rowRpm(2345.0);
    EXPECT_NEAR(host.orderRow(50, host.firstSet())[16], integrated(rowRpm), 1e-8);
    EXPECT_GT(std::abs(rowRpm - SpeedTable{}.rowRpm(2345.0)), 1.0);
}

// A table of one speed: no row can be told from the next, and all hold the same.
TEST_P(Weighting, TableWithoutARangeHoldsItsOneSpeed)
{
    for (const double rpm : {120.0, 1200.0, 6000.0}) {
        Host host(GetParam());
        host.analysis.minRpm = 1200.0F;
        host.analysis.maxRpm = 1200.0F;
        EXPECT_NEAR(integratedOrderFour(host, rpm), integrated(1200.0), 1e-8) << rpm;
    }
}

// Rows by sample count are weighted like those of bins.
TEST_P(Weighting, OrderRowsBySampleCountAreWeightedToo)
{
    Host host(GetParam());
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_INTEGRATE;
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    const Signal signal = tone(1.0, 4.0, 0.7);
    host.run(record(crossing(signal, GetParam() == 1 ? signal : silence()), kCrossingSamples));
    const double rowRpm = SpeedTable{}.rowRpm(1920.0);
    for (const int32_t which : resultSets(GetParam()))
        EXPECT_NEAR(host.hopRow(which).value[16], integrated(rowRpm), 1e-8);
}

// ---- with all N lines ---------------------------------------------------------------------------

// The upper half of a two-sided spectrum walks the row from its start, as the lower half does: the
// line of order -k has the weight of order 16 - k, and that of order -16 has the weight of order 0.
TEST(Weighting, NegativeOrdersTakeTheWeightsOfTheRowFromItsStart)
{
    Host host(2);
    host.analysis.twoSided = 1;
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_DIFFERENTIATE;
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    // one real signal: both lines of order 4 and -4 read 1
    host.run(record(crossing(tone(1.0, 4.0, 0.7)), kCrossingSamples));
    const double hertz = SpeedTable{}.rowRpm(1920.0) / 60.0;
    const std::vector<double> row = host.orderRow(kCrossedBin, 0);
    EXPECT_NEAR(row[64 + 16], 2.0 * kPi * 4.0 * hertz, 1e-3);
    EXPECT_NEAR(row[64 - 16], 2.0 * kPi * 12.0 * hertz, 1e-3);
}

// The second signal is weighted by columns that run on into the next row of the table, and by 1
// past its end.
TEST(Weighting, SecondSignalWithAllLinesRunsOnIntoTheNextRow)
{
    struct Case {
        double rpm;
        double upperFactor; // on the line of order -4, that is column 48 of the next row
    };

    const SpeedTable table;
    for (const Case& at :
         {Case{1920.0, 2.0 * kPi * 12.0 * (table.rowRpm(1920.0) + 54.0) / 60.0}, {9000.0, 1.0}}) {
        SCOPED_TRACE(at.rpm);
        Host host(1);
        host.analysis.twoSided = 1;
        host.analysis.weightingType = HARMOTRACK_WEIGHTING_DIFFERENTIATE;
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.parameters.binOrderSpectrum = 1;
        host.start();
        Machine machine = crossing(tone(1.0, 4.0, 0.7), tone(1.0, 4.0, 0.1));
        machine.shaft.startHertz = at.rpm / 60.0;
        host.run(record(machine, kCrossingSamples));
        const double hertz = table.rowRpm(at.rpm) / 60.0;
        const std::vector<double> first = host.orderRow(kCrossedBin, 1);
        EXPECT_NEAR(first[64 + 16], 2.0 * kPi * 4.0 * hertz, 1e-2);
        EXPECT_NEAR(first[64 - 16], 2.0 * kPi * 12.0 * hertz, 1e-2);
        const std::vector<double> second = host.orderRow(kCrossedBin, 2);
        EXPECT_NEAR(second[64 + 16], 2.0 * kPi * 4.0 * hertz, 1e-2);
        EXPECT_NEAR(second[64 - 16], at.upperFactor, 1e-2);
    }
}

// The table follows the setup of each initiate.
TEST(Weighting, SecondInitiateWithoutWeightingMultipliesByNothing)
{
    Host host(0);
    integratedOrderFour(host, 1920.0);
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_NONE;
    host.start();
    host.run(record(crossing(tone(1.0, 4.0, 0.7)), kCrossingSamples));
    EXPECT_NEAR(host.orderRow(kCrossedBin, 0)[16], 1.0, kFloatTolerance);
}

} // namespace
} // namespace Boundary
