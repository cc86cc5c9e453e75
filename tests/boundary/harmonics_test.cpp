// Complex harmonics against the shaft: a component a cos(o phi + psi) of integer order o keeps
// a e^(j psi) whatever the speed; one of fractional order starts at phase 0 and shows its drift.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace Boundary {
namespace {

class Harmonics : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Harmonics, testing::ValuesIn(kModes));

struct Component {
    double amplitude, order, phase;
};

// Integer orders far enough apart for a Hanning window at 4 lines an order.
const std::vector<Component> kComponentsA = {{1.0, 1.0, 0.4}, {0.5, 2.0, -1.1}, {0.25, 5.0, 2.5}};
const std::vector<Component> kComponentsB = {{2.0, 1.0, -2.0}, {0.3, 2.0, 0.9}, {0.7, 5.0, 1.5}};

Signal machineOf(const std::vector<Component>& components)
{
    Signal signal = silence();
    for (const Component& c : components) signal = sum(signal, tone(c.amplitude, c.order, c.phase));
    return signal;
}

const std::vector<Component>& componentsOf(int32_t which)
{
    return which == 2 ? kComponentsB : kComponentsA;
}

double quarterTurn(int32_t phaseReference)
{
    return phaseReference == 0 ? kPi / 2 : 0.0;
}

void startHarmonics(Host& host, std::vector<float> orders)
{
    host.harmonicOrders = std::move(orders);
    host.parameters.binHarmonics = 1;
    host.start();
}

// ---- integer orders -----------------------------------------------------------------------------

// The shaft's angle at the first sample is 0.1 revolutions; equal angles make the run-up steady.
TEST_P(Harmonics, IntegerHarmonicsKeepTheirPhaseAgainstTheShaftThroughARunUp)
{
    Machine machine =
        runUp(machineOf(kComponentsA), GetParam() == 1 ? machineOf(kComponentsB) : silence());
    machine.shaft.startRevolutions = 0.1;
    const Recording recording = record(machine, kRunUpSamples);
    for (const int32_t reference : {0, 1, 5}) {
        for (const int32_t phaseMode : {0, 2}) {
            SCOPED_TRACE(testing::Message() << "reference " << reference << ", mode " << phaseMode);
            Host host(GetParam());
            host.analysis.phaseReference = reference;
            host.analysis.phaseMode = phaseMode;
            startHarmonics(host, {1.0F, 2.0F, 5.0F});
            EXPECT_EQ(host.run(recording).size(), 11U);
            for (int32_t bin = 0; bin < kRunUpBins; ++bin) {
                for (const int32_t which : resultSets(GetParam())) {
                    for (int32_t i = 0; i < 3; ++i) {
                        SCOPED_TRACE(testing::Message() << "bin " << bin << ", harmonic " << i);
                        const Component& c = componentsOf(which)[static_cast<size_t>(i)];
                        expectComplex(host.harmonic(i, bin, which),
                                      std::polar(c.amplitude, c.phase + quarterTurn(reference)),
                                      4 * kFloatTolerance);
                    }
                }
            }
        }
    }
}

// Relative to order 1 of the same spectrum, whose phase as a sine or a cosine is taken away order
// times: psi_o - o (psi_1 + q) + q with q the quarter turn of the reference. Order 1 itself reads
// 0.
TEST_P(Harmonics, IntegerHarmonicsRelativeToOrderOneNeedNoShaftAngle)
{
    Machine machine =
        runUp(machineOf(kComponentsA), GetParam() == 1 ? machineOf(kComponentsB) : silence());
    machine.shaft.startRevolutions = 0.1;
    Recording recording = record(machine, kRunUpSamples);
    for (double& angle : recording.angle) angle = 123.0; // a tacho that is stuck
    for (const int32_t reference : {0, 1}) {
        SCOPED_TRACE(testing::Message() << "reference " << reference);
        Host host(GetParam());
        host.analysis.phaseReference = reference;
        host.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
        startHarmonics(host, {1.0F, 2.0F, 5.0F});
        EXPECT_EQ(host.run(recording).size(), 11U);
        const double q = quarterTurn(reference);
        for (int32_t bin = 0; bin < kRunUpBins; ++bin) {
            for (const int32_t which : resultSets(GetParam())) {
                for (int32_t i = 0; i < 3; ++i) {
                    SCOPED_TRACE(testing::Message() << "bin " << bin << ", harmonic " << i);
                    const Component& c = componentsOf(which)[static_cast<size_t>(i)];
                    const double phase = c.phase - c.order * (componentsOf(which)[0].phase + q) + q;
                    expectComplex(host.harmonic(i, bin, which),
                                  std::polar(c.amplitude, phase),
                                  4 * kFloatTolerance);
                }
            }
        }
    }
}

TEST_P(Harmonics, AmplitudeTypeScalesHarmonics)
{
    for (const auto& [type, scale] : {std::pair{0, 1.0}, {1, std::sqrt(0.5)}, {2, 2.0}}) {
        SCOPED_TRACE(type);
        Host host(GetParam());
        host.analysis.amplitudeType = type;
        startHarmonics(host, {1.0F, 2.5F});
        host.run(record(crossing(sum(tone(2.0, 1.0, 0.4), tone(3.0, 2.5, 0.9))), kCrossingSamples));
        const auto set = host.firstSet();
        expectComplex(host.harmonic(0, kCrossedBin, set), std::polar(2.0 * scale, 0.4), 1e-5);
        expectComplex(host.harmonic(1, kCrossedBin, set), {3.0 * scale, 0.0}, 1e-5);
    }
}

// An order that is a whole number of a resolution which is no binary fraction.
TEST(Harmonics, IntegerHarmonicsLieOnTheirLinesAtATenthOfAnOrder)
{
    Host host(0);
    host.orders.orderResolution = 0.1F;
    startHarmonics(host, {1.0F, 2.0F, 5.0F});
    EXPECT_EQ(host.orderSize(), 320);
    host.run(record(runUp(machineOf(kComponentsA)), kRunUpSamples));
    for (int32_t i = 0; i < 3; ++i) {
        const Component& c = kComponentsA[static_cast<size_t>(i)];
        for (int32_t bin = 0; bin < kRunUpBins; ++bin)
            expectComplex(host.harmonic(i, bin, 0), std::polar(c.amplitude, c.phase), 2e-6);
    }
}

// x = 0 turns plus the quarter turn.
TEST(Harmonics, OrderZeroIsTheMeanTurnedByTheQuarterTurnAlone)
{
    for (const int32_t reference : {0, 1}) {
        for (const int32_t phaseMode : {0, 1}) {
            Host host(0);
            host.analysis.phaseReference = reference;
            host.analysis.phaseMode = phaseMode;
            startHarmonics(host, {0.0F});
            Machine machine = crossing(sum(constant(-2.5), tone(1.0, 4.0, 0.3)));
            machine.shaft.startRevolutions = 0.1;
            host.run(record(machine, kCrossingSamples));
            expectComplex(host.harmonic(0, kCrossedBin, 0),
                          std::polar(2.5, kPi + quarterTurn(reference)),
                          4 * kFloatTolerance);
        }
    }
}

TEST_P(Harmonics, OrderOutsideTheSpectrumHasTheValueZero)
{
    Host host(GetParam());
    startHarmonics(host, {16.0F, 40.0F, 1.0e6F, -1.0F, -2.5F, 16.5F, 40.5F, 1.0F});
    host.run(record(crossing(machineOf(kComponentsA), machineOf(kComponentsB)), kCrossingSamples));
    for (int32_t i = 0; i < 7; ++i) {
        for (const int32_t which : resultSets(GetParam()))
            EXPECT_EQ(host.harmonic(i, kCrossedBin, which), std::complex<double>()) << i;
    }
    EXPECT_GT(std::abs(host.harmonic(7, kCrossedBin, host.firstSet())), 0.5);
}

// With all N lines kept, a negative order counts from their end. The shaft is at 0 degrees at the
// first sample, so that turning back by N - k lines is turning back by -k.
TEST(Harmonics, NegativeOrderIsThatOfTheBackwardExponential)
{
    Host host(2);
    host.analysis.twoSided = 1;
    startHarmonics(host, {2.0F, -2.0F});
    // 1.5 e^(j (2 phi + 0.4)) + 0.5 e^(-j (2 phi + 1.1)); a line reads twice its exponential
    const Signal re = sum(tone(1.5, 2.0, 0.4), tone(0.5, 2.0, 1.1));
    const Signal im = sum(tone(1.5, 2.0, 0.4 - kPi / 2), tone(0.5, 2.0, 1.1 + kPi / 2));
    host.run(record(crossing(re, im), kCrossingSamples));
    expectComplex(host.harmonic(0, kCrossedBin, 0), std::polar(3.0, 0.4), 1e-5);
    expectComplex(host.harmonic(1, kCrossedBin, 0), std::polar(1.0, -1.1), 1e-5);
}

// The line of order 1 rounds to line 0 above a resolution of 2: line 0's phase, that is the sign of
// the mean, is the reference. The block is one revolution, so its line 1 is labelled order 3.
TEST(Harmonics, ResolutionAboveTwoRefersPhasesToTheSignOfTheMean)
{
    for (const double mean : {1.0, -1.0}) {
        SCOPED_TRACE(mean);
        Host host(0);
        host.orders.orderResolution = 3.0F;
        host.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        startHarmonics(host, {3.0F});
        EXPECT_EQ(host.orderSize(), 32);
        host.run(record(crossing(sum(constant(mean), tone(1.0, 1.0, 0.4))), kCrossingSamples));
        // The block starts at sample 240, half a revolution on; a reference of pi is taken away
        // three times.
        const double phase = 0.4 + kPi - (mean < 0.0 ? 3.0 * kPi : 0.0);
        expectComplex(host.harmonic(0, kCrossedBin, 0), std::polar(1.0, phase));
    }
}

// ---- fractional orders --------------------------------------------------------------------------

TEST_P(Harmonics, FractionalOrderOnALineStartsAtPhaseZeroAndStaysThereWhenSteady)
{
    const Signal second = GetParam() == 1 ? tone(2.0, 2.5, -0.5) : silence();
    Machine machine = runUp(tone(1.5, 2.5, 1.0), second);
    machine.shaft.startRevolutions = 0.1;
    const Recording recording = record(machine, kRunUpSamples);
    for (const int32_t reference : {0, 1}) {
        for (const int32_t phaseMode : {0, 1}) {
            SCOPED_TRACE(testing::Message() << "reference " << reference << ", mode " << phaseMode);
            Host host(GetParam());
            host.analysis.phaseReference = reference;
            host.analysis.phaseMode = phaseMode;
            startHarmonics(host, {2.5F});
            EXPECT_EQ(host.run(recording).size(), 11U);
            for (int32_t bin = 0; bin < kRunUpBins; ++bin) {
                SCOPED_TRACE(bin);
                expectComplex(host.harmonic(0, bin, host.firstSet()), {1.5, 0.0}, 1e-5);
                // the second signal is referred to the start phase of the first: -0.5 - 1.0
                if (GetParam() == 1)
                    expectComplex(host.harmonic(0, bin, 2), std::polar(2.0, -1.5), 1e-5);
            }
        }
    }
}

// The phase of the component moves on by 0.1 rad from bin to bin, between the blocks.
TEST_P(Harmonics, FractionalOrderShowsItsDriftSinceTheFirstBlock)
{
    const Signal drifting = [](const Instant& now) {
        const double bin = std::round((60.0 * now.hertz - 1000.0) / 100.0);
        return 1.5 * std::cos(2.0 * kPi * 2.5 * now.revolutions + 1.0 + 0.1 * bin);
    };
    Host host(GetParam());
    startHarmonics(host, {2.5F});
    host.run(record(runUp(drifting), kRunUpSamples));
    for (int32_t bin = 0; bin < kRunUpBins; ++bin) {
        SCOPED_TRACE(bin);
        expectComplex(host.harmonic(0, bin, host.firstSet()), std::polar(1.5, 0.1 * bin), 1e-5);
    }
}

// The component jumps by 0.3 rad after sample 150. With rows by sample count the first block is
// that of samples 0 to 127, before the jump, although no harmonic is extracted from it.
TEST_P(Harmonics, FirstBlockOfAnyConsumerSetsTheStartPhase)
{
    const Signal jumping = [](const Instant& now) {
        const double jump = now.revolutions < 150.5 / 32.0 ? 0.0 : 0.3;
        return 1.5 * std::cos(2.0 * kPi * 2.5 * now.revolutions + 1.0 + jump);
    };
    const Recording recording = record(crossing(jumping), kCrossingSamples);
    for (const bool rows : {false, true}) {
        SCOPED_TRACE(rows);
        Host host(GetParam());
        host.parameters.timeOrderSpectrum = rows ? 1 : 0;
        startHarmonics(host, {2.5F});
        host.run(recording);
        expectComplex(host.harmonic(0, kCrossedBin, host.firstSet()),
                      std::polar(1.5, rows ? 0.3 : 0.0),
                      1e-5);
    }
}

// An order is fractional by its own fraction: half orders lie on lines of a quarter, and still
// start at phase 0 where a whole order reads its phase.
TEST(Harmonics, FractionalIsTheOrderNotTheLine)
{
    Host host(0);
    startHarmonics(host, {0.5F, 4.0F});
    host.run(record(crossing(sum(tone(2.0, 0.5, 1.2), tone(1.0, 4.0, 1.2))), kCrossingSamples));
    expectComplex(host.harmonic(0, kCrossedBin, 0), {2.0, 0.0}, 1e-5);
    expectComplex(host.harmonic(1, kCrossedBin, 0), std::polar(1.0, 1.2), 1e-5);
}

// The last line has no successor to interpolate to.
TEST(Harmonics, FractionalOrderOnTheLastLineHasTheValueZero)
{
    Host host(0);
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    startHarmonics(host, {15.75F});
    host.run(record(crossing(tone(1.0, 15.75, 0.0)), kCrossingSamples));
    EXPECT_NEAR(host.orderRow(kCrossedBin, 0)[63], 1.0, kFloatTolerance);
    EXPECT_EQ(host.harmonic(0, kCrossedBin, 0), std::complex<double>());
}

// Start phases come from the weighted spectrum: integration turns by -90 degrees, the first block
// reads 0 all the same, and an integer order shows the turn.
TEST_P(Harmonics, StartPhaseIsThatOfTheWeightedSpectrum)
{
    Host host(GetParam());
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_INTEGRATE;
    startHarmonics(host, {2.5F, 5.0F});
    host.run(record(crossing(sum(tone(1.0, 2.5, 1.0), tone(1.0, 5.0, 1.0))), kCrossingSamples));
    EXPECT_NEAR(std::arg(host.harmonic(0, kCrossedBin, host.firstSet())), 0.0, 1e-5);
    EXPECT_NEAR(std::arg(host.harmonic(1, kCrossedBin, host.firstSet())), 1.0 - kPi / 2, 1e-5);
}

// ---- what comes beside --------------------------------------------------------------------------

TEST_P(Harmonics, OrderSpectraAreFiledAlsoWhenOnlyHarmonicsAreAskedFor)
{
    Host host(GetParam());
    startHarmonics(host, {1.0F});
    const auto outcomes = host.run(record(crossing(tone(1.0, 4.0, 0.4)), kCrossingSamples));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({BinHarmonics}));
    EXPECT_NEAR(host.orderRow(kCrossedBin, host.firstSet())[16], 1.0, kFloatTolerance);
}

TEST(Harmonics, NoneAtAllNeedNoArray)
{
    Host host(0);
    startHarmonics(host, {});
    const auto outcomes = host.run(record(crossing(tone(1.0, 4.0, 0.4)), kCrossingSamples));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({BinHarmonics}));
}

// The host may free the array of orders after initiate; the record itself stays.
TEST(Harmonics, OrdersAreReadAtInitiateOnly)
{
    Host host(0);
    startHarmonics(host, {4.0F});
    host.orders.harmonicOrders = nullptr;
    host.harmonicOrders.assign(1, 7.0F);
    host.harmonicOrders.shrink_to_fit();
    host.run(record(crossing(tone(1.0, 4.0, 0.4)), kCrossingSamples));
    expectComplex(host.harmonic(0, kCrossedBin, 0), std::polar(1.0, 0.4));
}

} // namespace
} // namespace Boundary
