// Two signals at right angles make an orbit: the two senses of rotation come apart.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace Boundary {
namespace {

constexpr size_t kCentre = 63; // element of line 0: 64 lines, less one
constexpr size_t kLine = 16;   // of order 4

// x = a cos(o phi + alpha), y = b cos(o phi + beta): x + j y turns forward with amplitude
// |a e^(j alpha) + j b e^(j beta)| / 2 and backward with |a e^(-j alpha) + j b e^(-j beta)| / 2.
struct Orbit {
    double a, alpha, b, beta;

    [[nodiscard]] Signal x(double order = 4.0) const { return tone(a, order, alpha); }

    [[nodiscard]] Signal y(double order = 4.0) const { return tone(b, order, beta); }

    [[nodiscard]] double forward() const { return std::abs(circle(1.0)); }

    [[nodiscard]] double backward() const { return std::abs(circle(-1.0)); }

private:
    [[nodiscard]] std::complex<double> circle(double sense) const
    {
        const std::complex<double> j(0.0, 1.0);
        return 0.5 * (std::polar(a, sense * alpha) + j * std::polar(b, sense * beta));
    }
};

const std::vector<Orbit> kOrbits = {{2.0, 0.3, 2.0, 0.3 - kPi / 2}, // a forward circle
                                    {2.0, 0.3, 2.0, 0.3 + kPi / 2}, // a backward circle
                                    {2.0, 0.3, 2.0, 0.3},           // a straight line: both alike
                                    {3.0, 0.3, 1.0, 0.3 - kPi / 2}, // an upright ellipse
                                    {3.0, -1.0, 1.5, 2.0}};         // any ellipse

void startTwoSided(Host& host, int32_t amplitudeType)
{
    host.hostTables = true;
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.amplitudeType = amplitudeType;
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binOrderTwoSided = 1;
    host.parameters.timeOrderSpectrum = 1;
    host.parameters.timeOrderTwoSided = 1;
    host.parameters.binTimeSpectrum = 1;
    host.parameters.binTimeTwoSided = 1;
    host.start();
}

void expectOrbit(const std::vector<double>& row, const Orbit& orbit, double scale)
{
    std::vector<double> expected(127);
    expected[kCentre + kLine] = scale * orbit.forward();
    expected[kCentre - kLine] = scale * orbit.backward();
    expectRow(row, expected, 1e-5);
}

TEST(Orbits, TwoSidedRowsSplitForwardFromBackward)
{
    for (const Orbit& orbit : kOrbits) {
        for (const auto& [type, scale] : {std::pair{0, 1.0}, {1, std::sqrt(0.5)}, {2, 2.0}}) {
            SCOPED_TRACE(testing::Message()
                         << "forward " << orbit.forward() << ", amplitude type " << type);
            Host host(1);
            startTwoSided(host, type);
            host.run(record(crossing(orbit.x(), orbit.y()), kCrossingSamples));
            {
                SCOPED_TRACE("order spectrum of the bin");
                expectOrbit(host.orderTwoSidedRow(kCrossedBin), orbit, scale);
            }
            {
                SCOPED_TRACE("order spectrum by sample count");
                expectOrbit(host.hopTwoSidedRow().value, orbit, scale);
            }
            SCOPED_TRACE("frequency spectrum of the bin");
            expectOrbit(host.timeTwoSidedRow(kCrossedBin), orbit, scale);
        }
    }
}

// The centre is |a + j b| of the two means, not halved and without the amplitude scale.
TEST(Orbits, CentreOfATwoSidedRowIsTheDistanceOfTheMeanFromTheOrigin)
{
    for (const int32_t type : {0, 1, 2}) {
        SCOPED_TRACE(type);
        Host host(1);
        startTwoSided(host, type);
        host.run(record(crossing(constant(3.0), constant(-4.0)), kCrossingSamples));
        std::vector<double> expected(127);
        expected[kCentre] = 5.0;
        expectRow(host.orderTwoSidedRow(kCrossedBin), expected);
        expectRow(host.hopTwoSidedRow().value, expected);
        expectRow(host.timeTwoSidedRow(kCrossedBin), expected);
    }
}

// The host's table of the same cells, and the marks round the row that was visited.
TEST(Orbits, TwoSidedTablesOfTheHostHoldOneRowAMinusOneShortBlockEach)
{
    const Orbit orbit = kOrbits[4];
    Host host(1);
    startTwoSided(host, HARMOTRACK_AMPLITUDE_PEAK);
    host.run(record(crossing(orbit.x(), orbit.y()), kCrossingSamples));
    for (int32_t bin = 0; bin < host.bins(); ++bin) {
        SCOPED_TRACE(bin);
        const auto first = host.orderTableTwoSided.begin() + bin * 127;
        const std::vector<double> row(first, first + 127);
        EXPECT_EQ(row, host.orderTwoSidedRow(bin));
        EXPECT_EQ(row[kCentre + kLine] > 1.0, bin == kCrossedBin);
    }
}

// Whirl of a rotor in its run-up: forward at order 1, backward at order 2, in every bin.
TEST(Orbits, SensesStayApartThroughARunUp)
{
    const Orbit forward{2.0, 0.3, 2.0, 0.3 - kPi / 2};
    const Orbit backward{0.5, 1.0, 0.5, 1.0 + kPi / 2};
    Host host(1);
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binOrderTwoSided = 1;
    host.start();
    host.run(
        record(runUp(sum(forward.x(1.0), backward.x(2.0)), sum(forward.y(1.0), backward.y(2.0))),
               kRunUpSamples));
    for (int32_t bin = 0; bin < kRunUpBins; ++bin) {
        SCOPED_TRACE(bin);
        const std::vector<double> row = host.orderTwoSidedRow(bin);
        EXPECT_NEAR(row[kCentre + 4], 2.0, 1e-5);
        EXPECT_NEAR(row[kCentre - 4], 0.0, 1e-5);
        EXPECT_NEAR(row[kCentre + 8], 0.0, 1e-5);
        EXPECT_NEAR(row[kCentre - 8], 0.5, 1e-5);
    }
}

// ---- all lines of one complex signal ------------------------------------------------------------

void startComplexTwoSided(Host& host)
{
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.twoSided = 1;
    host.parameters.binOrderSpectrum = 1;
    host.parameters.timeOrderSpectrum = 1;
    host.start();
}

// Line 0 is in the middle, at element N / 2; every line reads twice the amplitude of its
// exponential.
TEST(Orbits, TwoSidedSpectrumOfAComplexSignalReadsWithTheNegativeOrdersFirst)
{
    for (const Orbit& orbit : kOrbits) {
        SCOPED_TRACE(orbit.forward());
        Host host(2);
        startComplexTwoSided(host);
        host.run(record(crossing(sum(constant(0.75), sum(orbit.x(), orbit.x(12.0))),
                                 sum(orbit.y(), orbit.y(12.0))),
                        kCrossingSamples));
        std::vector<double> expected(128);
        expected[64] = 0.75;
        expected[64 + 48] = 2.0 * orbit.forward();
        expected[64 - 48] = 2.0 * orbit.backward();
        expected[64 + kLine] = 2.0 * orbit.forward();
        expected[64 - kLine] = 2.0 * orbit.backward();
        expectRow(host.orderRow(kCrossedBin, 0), expected, 1e-5);
        expectRow(host.hopRow(0).value, expected, 1e-5);
    }
}

// The host's own table keeps the order of the transform: the negative orders last.
TEST(Orbits, TwoSidedSpectrumInTheHostsTableHasTheNegativeOrdersLast)
{
    const Orbit orbit = kOrbits[4];
    Host host(2);
    host.hostTables = true;
    startComplexTwoSided(host);
    host.run(record(crossing(orbit.x(), orbit.y()), kCrossingSamples));
    const auto first = host.orderTableA.begin() + kCrossedBin * 128;
    std::vector<double> expected(128);
    expected[kLine] = 2.0 * orbit.forward();
    expected[128 - kLine] = 2.0 * orbit.backward();
    expectRow(std::vector<double>(first, first + 128), expected, 1e-5);
}

// A real signal has no lines above N / 2 of its own: they are the conjugates of their mirror lines.
TEST(Orbits, TwoSidedSpectrumOfARealSignalMirrorsItself)
{
    Host host(0);
    startComplexTwoSided(host);
    host.run(record(crossing(sum(constant(0.75), tone(3.0, 4.0, 0.7))), kCrossingSamples));
    std::vector<double> expected(128);
    expected[64] = 0.75;
    expected[64 + kLine] = expected[64 - kLine] = 3.0;
    expectRow(host.orderRow(kCrossedBin, 0), expected, 1e-5);
}

// Each signal of a pair keeps all N lines too, mirrored as any real signal's.
TEST(Orbits, TwoSidedSpectraOfTwoRealSignalsMirrorThemselves)
{
    Host host(1);
    startComplexTwoSided(host);
    host.run(record(crossing(tone(3.0, 4.0, 0.7), tone(1.5, 5.0, -0.2)), kCrossingSamples));
    std::vector<double> expected(128);
    expected[64 + kLine] = expected[64 - kLine] = 3.0;
    expectRow(host.orderRow(kCrossedBin, 1), expected, 1e-5);
    expected.assign(128, 0.0);
    expected[64 + 20] = expected[64 - 20] = 1.5;
    expectRow(host.orderRow(kCrossedBin, 2), expected, 1e-5);
}

} // namespace
} // namespace Boundary
