// Means over a delta period: complex, phase-aligned to the shaft, over blocks of N = 128 samples
// that lie edge to edge: [1, 129), [129, 257) and so on.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <vector>

namespace Boundary {
namespace {

using Complex = std::complex<double>;

class Delta : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Delta, testing::ValuesIn(kModes));

// Released when more than `seconds` have passed; sample k has the time k / 1024 s.
void startDelta(Host& host, float seconds)
{
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = seconds;
    host.harmonicOrders = {4.0F};
    host.parameters.deltaHarmonics = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
}

Machine steady(Signal signalA, Signal signalB = silence())
{
    return {Shaft{}, std::move(signalA), std::move(signalB), constant(1200.0)};
}

// Order 4 with an amplitude of its own in each block of the delta mean: block i spans samples
// 1 + 128 i to 128 + 128 i.
Signal growing(double phase)
{
    return [phase](const Instant& now) {
        const double block = std::floor((now.revolutions * 32.0 - 0.5) / 128.0);
        return (1.0 + block) * std::cos(2.0 * kPi * 4.0 * now.revolutions + phase);
    };
}

// ---- when ---------------------------------------------------------------------------------------

// The period of 1 s is over at sample 1025. Eight blocks of amplitude 1 to 8 lie before it; the
// release takes one more, half in the eighth and half in the ninth.
TEST_P(Delta, PeriodOfTimeEndsAfterItAndWithOneMoreBlock)
{
    Host host(GetParam());
    startDelta(host, 1.0F);
    const auto outcomes =
        host.run(record(steady(growing(0.4), GetParam() == 1 ? growing(-1.0) : silence()), 1200));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({DeltaHarmonics, DeltaOrderSpectrum}));
    EXPECT_EQ(outcomes[0].bin, -1);
    EXPECT_EQ(outcomes[0].rpmTime, 1025.0 / 1024.0);

    const double mean = (1 + 2 + 3 + 4 + 5 + 6 + 7 + 8 + 8.5) / 9.0;
    for (const int32_t which : resultSets(GetParam())) {
        const Complex expected = std::polar(mean, which == 2 ? -1.0 : 0.4);
        EXPECT_EQ(host.deltaHarmonics(which).time, 1025.0 / 1024.0);
        expectComplex(host.deltaHarmonics(which).value[0], expected, 1e-5);
        expectComplex(host.deltaSpectrum(which)[16], expected, 1e-5);
    }
}

// The minutes part counts 60 s.
TEST(Delta, PeriodIsMinutesAndSeconds)
{
    Host host(0);
    host.analysis.deltaMinutes = 1.0F / 120.0F; // half a second
    startDelta(host, 0.25F);
    const auto outcomes = host.run(record(steady(growing(0.4)), 1200));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].rpmTime, 769.0 / 1024.0);
}

// The first block of the next period overwrites the mean; a release leaves the rhythm of the
// blocks as it is. From sample 1026 on the next blocks come at 1217, 1345 .. 1985, and one at the
// release at 2050: [1153, 1281) to [1921, 2049), and [1986, 2114).
TEST_P(Delta, NextPeriodStartsAnewInTheSameRhythm)
{
    Host host(GetParam());
    startDelta(host, 1.0F);
    const auto outcomes =
        host.run(record(steady(growing(0.4), GetParam() == 1 ? growing(-1.0) : silence()), 2200));
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[1].rpmTime, 2050.0 / 1024.0);
    // Blocks 9 to 15 have amplitudes 10 to 16; the last has 63 samples of 16 and 65 of 17. Those
    // are no whole number of cycles: the mirror image of the step of 1 is left, below 1 / 64.
    const double last = (63.0 * 16.0 + 65.0 * 17.0) / 128.0;
    const double mean = (10 + 11 + 12 + 13 + 14 + 15 + 16 + last) / 8.0;
    for (const int32_t which : resultSets(GetParam())) {
        expectComplex(host.deltaHarmonics(which).value[0],
                      std::polar(mean, which == 2 ? -1.0 : 0.4),
                      1.0 / 64.0 / 8.0);
    }
}

// The mean binned value of the first block is far from 0: a release at once. The second block has
// 57 samples at 1150, its mean is 66.8 above; the third is 150 above, further than the step.
TEST_P(Delta, PeriodEndsWhenTheBinnedValueOfABlockHasMovedByMoreThanTheStep)
{
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.deltaOnBinChange = 1;
    host.harmonicOrders = {4.0F};
    host.parameters.deltaHarmonics = 1;
    host.start();
    Machine machine = steady(growing(0.4));
    machine.binSignal = stepAt(199.5 / 32.0, 1000.0, 1150.0);
    const auto outcomes = host.run(record(machine, 1000));
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[0].flags, flags({DeltaHarmonics}));
    EXPECT_EQ(outcomes[0].rpmTime, 65.0 / 1024.0);
    EXPECT_EQ(outcomes[1].rpmTime, 321.0 / 1024.0);
    // Later blocks overwrite the mean in their turn without a release: the time stays.
    EXPECT_EQ(host.deltaHarmonics(host.firstSet()).time, 321.0 / 1024.0);
}

TEST(Delta, MeanUntilABinChangeIsThatOfTheBlocksSinceTheLastRelease)
{
    Host host(0);
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.deltaOnBinChange = 1;
    host.harmonicOrders = {4.0F};
    host.parameters.deltaHarmonics = 1;
    host.start();
    Machine machine = steady(growing(0.4));
    machine.binSignal = stepAt(199.5 / 32.0, 1000.0, 1150.0);
    const Recording recording = record(machine, 400);
    host.feed(recording, 65 + 64 + 1);
    EXPECT_EQ(host.drain().size(), 1U);
    expectComplex(host.deltaHarmonics(0).value[0], std::polar(1.0, 0.4), 1e-5);
    host.feed(recording, 270);
    EXPECT_EQ(host.drain().size(), 1U);
    expectComplex(host.deltaHarmonics(0).value[0], std::polar((2.0 + 3.0) / 2.0, 0.4), 1e-5);
}

// Scaled to 50 and 57.5, the same values stay within the step, that is within 100 of 0.
TEST(Delta, BinnedValueOfABlockIsScaled)
{
    Host host(0);
    host.analysis.deltaOnBinChange = 1;
    host.binning.scale = 0.05;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
    Machine machine = steady(growing(0.4));
    machine.binSignal = stepAt(199.5 / 32.0, 1000.0, 1150.0);
    EXPECT_EQ(host.run(record(machine, 1000)).size(), 0U);
}

// A block taken for a bin renews the value too: at sample 256, between the delta blocks at 193 and
// 321, its mean lies 120 above the first one's.
TEST_P(Delta, BlockOfABinCanEndThePeriodBetweenTwoDeltaBlocks)
{
    Host host(GetParam());
    host.analysis.deltaOnBinChange = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    Machine machine = steady(tone(1.0, 4.0, 0.4));
    machine.binSignal = stepAt(255.5 / 32.0, 1180.0, 1420.0);
    const auto outcomes = host.run(record(machine, 400));
    ASSERT_EQ(outcomes.size(), 3U);
    EXPECT_EQ(outcomes[0].rpmTime, 65.0 / 1024.0);
    EXPECT_EQ(outcomes[1].rpmTime, 256.0 / 1024.0);
    EXPECT_EQ(outcomes[1].flags, flags({BinOrderSpectrum, DeltaOrderSpectrum}));
    EXPECT_EQ(outcomes[1].bin, 4);
    EXPECT_EQ(outcomes[2].rpmTime, 321.0 / 1024.0); // 1420, once more 120 above
}

TEST_P(Delta, WithoutATestForItsEndThereIsNoPeriod)
{
    Host host(GetParam());
    host.harmonicOrders = {4.0F};
    host.parameters.deltaHarmonics = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
    EXPECT_TRUE(host.run(record(steady(tone(1.0, 4.0, 0.4)), 2000)).empty());
    expectComplex(host.deltaHarmonics(host.firstSet()).value[0], {});
    expectComplex(host.deltaSpectrum(host.firstSet())[16], {});
}

// Time stamps that start at 100 s: the period is over at the first sample, half a block before
// there can be a block.
TEST_P(Delta, LateTimeAxisReleasesAtTheFirstSampleWithoutABlock)
{
    Host host(GetParam());
    startDelta(host, 1.0F);
    Machine machine = steady(tone(1.0, 4.0, 0.4));
    machine.shaft.startSeconds = 100.0;
    const Recording recording = record(machine, 1200);
    host.feed(recording, 129, 0);
    const auto outcomes = host.drain();
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].rpmTime, 100.0);
    EXPECT_EQ(host.deltaHarmonics(host.firstSet()).time, 100.0);
    for (const Complex value : host.deltaSpectrum(host.firstSet())) expectComplex(value, {}, 0.0);
    expectComplex(host.deltaHarmonics(host.firstSet()).value[0], {}, 0.0);
}

// ---- what ---------------------------------------------------------------------------------------

// a cos(4 phi + 0.4) with the shaft at 36 degrees in the first sample.
TEST_P(Delta, SynchronousPartKeepsItsPhaseAgainstTheShaft)
{
    Machine machine =
        steady(tone(1.5, 4.0, 0.4), GetParam() == 1 ? tone(0.5, 4.0, -1.0) : silence());
    machine.shaft.startRevolutions = 0.1;
    const Recording recording = record(machine, 1200);
    for (const int32_t reference : {0, 1}) {
        SCOPED_TRACE(reference);
        const double q = reference == 0 ? kPi / 2 : 0.0;
        Host host(GetParam());
        host.analysis.phaseReference = reference;
        startDelta(host, 1.0F);
        EXPECT_EQ(host.run(recording).size(), 1U);
        for (const int32_t which : resultSets(GetParam())) {
            const Complex expected =
                which == 2 ? std::polar(0.5, -1.0 + q) : std::polar(1.5, 0.4 + q);
            expectComplex(host.deltaHarmonics(which).value[0], expected, 1e-5);
            const std::vector<Complex> spectrum = host.deltaSpectrum(which);
            for (size_t k = 0; k < spectrum.size(); ++k)
                expectComplex(spectrum[k], k == 16 ? expected : Complex(), 1e-5);
        }
    }
}

// Relative to order 1 of the same spectrum, each signal to its own: psi - 4 (psi_1 + q) + q.
TEST_P(Delta, SynchronousPartMayBeReferredToOrderOne)
{
    Machine machine =
        steady(sum(tone(1.0, 1.0, 0.2), tone(1.5, 4.0, 0.4)),
               GetParam() == 1 ? sum(tone(1.0, 1.0, 0.9), tone(0.5, 4.0, -1.0)) : silence());
    Recording recording = record(machine, 1200);
    for (double& angle : recording.angle) angle = 123.0;
    for (const int32_t reference : {0, 1}) {
        SCOPED_TRACE(reference);
        const double q = reference == 0 ? kPi / 2 : 0.0;
        Host host(GetParam());
        host.analysis.phaseReference = reference;
        host.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
        startDelta(host, 1.0F);
        EXPECT_EQ(host.run(recording).size(), 1U);
        for (const int32_t which : resultSets(GetParam())) {
            const double first = which == 2 ? 0.9 : 0.2;
            const double phase = (which == 2 ? -1.0 : 0.4) - 4.0 * (first + q) + q;
            const Complex expected = std::polar(which == 2 ? 0.5 : 1.5, phase);
            expectComplex(host.deltaHarmonics(which).value[0], expected, 1e-5);
            expectComplex(host.deltaSpectrum(which)[16], expected, 1e-5);
            expectComplex(host.deltaSpectrum(which)[4], {1.0, 0.0}, 1e-5);
        }
    }
}

// With the line of order 1 beyond a block that the limit cut to 16 samples there is no reference:
// the spectrum comes as it is. The first block starts at sample 1.
TEST(Delta, NoLineOfOrderOneIsTheReferenceOfAZeroLine)
{
    Host host(0);
    host.orders.orderResolution = 0.0625F; // order 1 on line 16; N / 2 = 8 lines
    host.limit = 18;
    host.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.deltaOnTime = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
    EXPECT_EQ(host.orderSize(), 16);
    const Recording recording = record(steady(tone(1.0, 4.0, 0.4)), 64);
    host.feed(recording, 9 + 8 + 1); // the block at sample 9, that of a period of 0 s
    static_cast<void>(host.drain());
    // 32 samples a revolution: order 4 has 2 cycles in 16 samples, 1/8 cycle a sample
    const Complex line = host.deltaSpectrum(0)[2];
    expectComplex(line, std::polar(1.0, 0.4 + 2.0 * kPi / 8.0), 1e-5);
}

TEST(Delta, TwoEqualBlocksGiveTheMeanOfEither)
{
    const Recording recording = record(steady(tone(1.5, 4.0, 0.4)), 1200);
    std::vector<std::vector<Complex>> spectra;
    for (const float seconds : {0.1F, 0.25F}) { // two blocks and three, the release's among them
        Host host(0);
        startDelta(host, seconds);
        host.feed(recording, static_cast<int64_t>(seconds * 1024.0F) + 1 + 65);
        EXPECT_EQ(host.drain().size(), 1U);
        spectra.push_back(host.deltaSpectrum(0));
    }
    for (size_t k = 0; k < 64; ++k) expectComplex(spectra[0][k], spectra[1][k], 2e-6);
}

// Root of the mean power of the lines of noise alone.
double noiseLevel(const std::vector<Complex>& spectrum)
{
    double power = 0.0;
    int32_t lines = 0;
    for (size_t k = 1; k < spectrum.size(); ++k) {
        if (k == 64) continue; // order 4 at 16 lines an order
        power += std::norm(spectrum[k]);
        ++lines;
    }
    return std::sqrt(power / lines);
}

// The tone adds up; a line of white noise has 2 / sqrt(N) in one block and 1 / sqrt(n) of that in
// the mean of n. 255 lines tell that within 4 standard deviations, 2 / sqrt(255).
TEST_P(Delta, NoiseFallsAsOneByRootNWhileTheSynchronousPartStays)
{
    constexpr int64_t kSize = 512;
    const Recording recording =
        record(steady(sum(tone(0.2, 4.0, 0.4), noise(7)), GetParam() == 1 ? noise(8) : silence()),
               66 * kSize);
    for (const int64_t blocks : {1, 4, 16, 64}) {
        SCOPED_TRACE(blocks);
        Host host(GetParam());
        host.orders.orderResolution = 0.0625F;
        host.angleSlots = static_cast<int32_t>(recording.samples());
        host.analysis.deltaOnTime = 1;
        host.analysis.deltaSeconds = 1000.0F;
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.parameters.deltaOrderSpectrum = 1;
        host.start();
        ASSERT_EQ(host.orderSize(), kSize);
        // the newest sample that is taken is that of the last block: N/2 + 1 + (blocks - 1) N
        host.feed(recording, blocks * kSize + 2, 0);
        EXPECT_TRUE(host.drain().empty()); // no release yet: the mean that runs is read

        const auto n = static_cast<double>(blocks);
        const double level = 2.0 / std::sqrt(kSize * n);
        for (const int32_t which : resultSets(GetParam()))
            EXPECT_NEAR(
                noiseLevel(host.deltaSpectrum(which)), level, 2.0 / std::sqrt(255.0) * level);
        const Complex line = host.deltaSpectrum(host.firstSet())[64];
        EXPECT_NEAR(std::abs(line - std::polar(0.2, 0.4)), 0.0, 3.0 * level);
    }
}

// A tone that is not synchronous turns from block to block: at order 4.125, half a line off, by
// half a turn, so that two blocks cancel where it is strongest.
TEST(Delta, AsynchronousToneCancels)
{
    Host host(0);
    startDelta(host, 1000.0F);
    const Recording recording = record(steady(tone(1.0, 4.125, 0.0)), 1200);
    host.feed(recording, 65 + 65);
    EXPECT_TRUE(host.drain().empty());
    EXPECT_GT(std::abs(host.deltaSpectrum(0)[16]), 0.6); // 2 / pi of it
    host.feed(recording, 128);
    EXPECT_TRUE(host.drain().empty());
    EXPECT_LT(std::abs(host.deltaSpectrum(0)[16]), 0.02);
}

// Delta blocks never lose their mean, whatever is asked for the others.
TEST_P(Delta, MeanOfABlockIsKept)
{
    Host host(GetParam());
    host.analysis.removeMeanOrder = 1;
    startDelta(host, 1.0F);
    EXPECT_EQ(host.run(record(steady(constant(-2.5)), 1200)).size(), 1U);
    expectComplex(host.deltaSpectrum(host.firstSet())[0], {-2.5, 0.0}, 1e-5);
}

// Fractional orders are turned back by N / 2 samples too much: by pi a line, so that lines of even
// number (10) read 0 degrees and those of odd number (31) 180.
TEST_P(Delta, FractionalOrdersRunHalfABlockAhead)
{
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 1.0F;
    host.harmonicOrders = {2.5F, 7.75F};
    host.parameters.deltaHarmonics = 1;
    host.start();
    const Signal signal = sum(tone(1.0, 2.5, 0.3), tone(0.5, 7.75, -2.0));
    EXPECT_EQ(host.run(record(steady(signal), 1200)).size(), 1U);
    const auto values = host.deltaHarmonics(host.firstSet()).value;
    expectComplex(values[0], {1.0, 0.0}, 1e-5);
    expectComplex(values[1], {-0.5, 0.0}, 1e-5);
}

// Only the harmonics, or only the spectrum.
TEST_P(Delta, EachDeltaResultIsAnnouncedByItsOwnFlag)
{
    const Recording recording = record(steady(tone(1.5, 4.0, 0.4)), 1200);
    Host harmonics(GetParam());
    startDelta(harmonics, 1.0F);
    harmonics.parameters.deltaOrderSpectrum = 0;
    auto outcomes = harmonics.run(recording);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({DeltaHarmonics}));
    EXPECT_TRUE(outcomes[0].rpmUpdated);

    Host spectrum(GetParam());
    startDelta(spectrum, 1.0F);
    spectrum.parameters.deltaHarmonics = 0;
    outcomes = spectrum.run(recording);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({DeltaOrderSpectrum}));
    EXPECT_FALSE(outcomes[0].rpmUpdated);
}

// With all N lines, half of them are means and the upper half stays 0. The read exchanges the
// halves and copies the first N / 4 elements of each; the rest of the array is left alone.
TEST(Delta, TwoSidedSpectrumArrivesInPart)
{
    Host host(2);
    host.analysis.twoSided = 1;
    startDelta(host, 1.0F);
    const Signal signal = sum(tone(1.0, 4.0, 0.4), tone(1.0, 12.0, 0.9));
    EXPECT_EQ(host.run(record(steady(signal), 1200)).size(), 1U);

    std::vector<float> spectrum(256, 55.0F);
    readOrderSpectrumTimeDelta(host.handle(), spectrum.data(), 0);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ(spectrum[i], 0.0F) << i;
    for (size_t i = 64; i < 128; ++i) EXPECT_EQ(spectrum[i], 55.0F) << i;
    for (size_t i = 192; i < 256; ++i) EXPECT_EQ(spectrum[i], 55.0F) << i;
    for (size_t k = 0; k < 32; ++k) {
        const Complex line(static_cast<double>(spectrum[2 * (64 + k)]),
                           static_cast<double>(spectrum[2 * (64 + k) + 1]));
        expectComplex(line, k == 16 ? std::polar(1.0, 0.4) : Complex(), 1e-5);
    }
}

} // namespace
} // namespace Boundary
