// The walk over the samples: what is taken when, what the split into deliveries, the rings and the
// counters change (nothing), turns, and the end of a rotation.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <tuple>
#include <vector>

namespace Boundary {
namespace {

class Streaming : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Streaming, testing::ValuesIn(kModes));

// ---- the same bits whatever the way -------------------------------------------------------------

// Everything at once: rows by sample count, delta means, harmonics of both kinds, both paths.
void askForEverything(Host& host, int32_t blockMode)
{
    host.hostTables = true;
    host.harmonicOrders = {1.0F, 2.0F, 2.5F, 5.0F};
    host.analysis.blockMode = blockMode;
    host.analysis.averagingType = HARMOTRACK_AVERAGING_MEAN;
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_A;
    host.analysis.overlapPercent = 30.0F;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 1.0F;
    host.analysis.deltaOnBinChange = 1;
    host.analysis.removeMeanOrder = 1;
    host.analysis.removeMeanTime = 1;
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
}

Signal richSignal(double shift)
{
    return sum(sum(constant(0.3), tone(1.0, 1.0, 0.4 + shift)),
               sum(tone(0.5, 2.5, shift), sum(tone(0.2, 5.0, 1.0), noise(3))));
}

const Recording& richRecording()
{
    static const Recording recording =
        record(runUp(richSignal(0.0), richSignal(1.0)), kRunUpSamples);
    return recording;
}

struct RunResult {
    std::vector<Outcome> outcomes;
    std::vector<uint32_t> tables;
};

RunResult runEverything(Host& host, int32_t blockMode, Split split)
{
    askForEverything(host, blockMode);
    host.start();
    RunResult run;
    run.outcomes = host.run(richRecording(), split);
    run.tables = host.tableWords();
    return run;
}

class StreamingByBlockMode : public testing::TestWithParam<std::tuple<int32_t, int32_t>> {};

INSTANTIATE_TEST_SUITE_P(Mode,
                         StreamingByBlockMode,
                         testing::Combine(testing::ValuesIn(kModes), testing::Values(0, 1)));

TEST_P(StreamingByBlockMode, ResultsAreTheSameBitsHoweverTheSamplesAreSplitIntoDeliveries)
{
    const auto [mode, blockMode] = GetParam();
    Host whole(mode);
    const RunResult expected = runEverything(whole, blockMode, Split::AllAtOnce);
    EXPECT_GT(expected.outcomes.size(), 80U);
    for (const Split split : {Split::OneByOne, Split::Primes}) {
        Host host(mode);
        const RunResult run = runEverything(host, blockMode, split);
        EXPECT_EQ(firstDifference(expected.outcomes, run.outcomes), "");
        EXPECT_TRUE(expected.tables == run.tables);
    }
}

// A block and what waits besides the largest delivery at equal angles, two blocks and the largest
// delivery at equal times: 16 to 34 Hz are 512 to 1088 samples a second, so that at most 68 samples
// and the two that the grids of the rings differ by wait for half a time block.
TEST_P(StreamingByBlockMode, ResultsAreTheSameBitsInRingsThatJustHoldABlock)
{
    const auto [mode, blockMode] = GetParam();
    Host whole(mode);
    const RunResult expected = runEverything(whole, blockMode, Split::AllAtOnce);

    constexpr int32_t kLargestDelivery = 31;
    Host host(mode);
    host.angleSlots = 128 + 70 + kLargestDelivery;
    host.timeSlots = 256 + 2 * kLargestDelivery + 1; // two samples in time for one in angle
    const RunResult run = runEverything(host, blockMode, Split::Primes);
    EXPECT_EQ(firstDifference(expected.outcomes, run.outcomes), "");
    EXPECT_TRUE(expected.tables == run.tables);
}

// The slots of the samples are another matter than their numbers.
TEST_P(StreamingByBlockMode, ResultsDoNotDependOnTheSlotOfTheFirstSample)
{
    const auto [mode, blockMode] = GetParam();
    Host first(mode);
    const RunResult expected = runEverything(first, blockMode, Split::AllAtOnce);
    Host host(mode);
    host.angleSlots = 7201;
    host.angleWriteIndex = 7200;
    const RunResult run = runEverything(host, blockMode, Split::AllAtOnce);
    EXPECT_EQ(firstDifference(expected.outcomes, run.outcomes), "");
    EXPECT_TRUE(expected.tables == run.tables);
}

TEST_P(StreamingByBlockMode, AnalyzersOwnTablesHoldTheSameBitsAsTheHosts)
{
    const auto [mode, blockMode] = GetParam();
    Host hosts(mode);
    askForEverything(hosts, blockMode);
    hosts.parameters.binTimeTwoSided = 0; // seen in the host's table alone
    hosts.start();
    const std::vector<Outcome> expected = hosts.run(richRecording());

    Host own(mode);
    askForEverything(own, blockMode);
    own.parameters.binTimeTwoSided = 0;
    own.hostTables = false;
    own.start();
    EXPECT_EQ(firstDifference(expected, own.run(richRecording())), "");
    EXPECT_TRUE(hosts.tableWords() == own.tableWords());
}

// What the read functions copy is what stands in the host's memory.
TEST_P(StreamingByBlockMode, HostsTablesHoldWhatTheReadFunctionsGive)
{
    const auto [mode, blockMode] = GetParam();
    Host host(mode);
    runEverything(host, blockMode, Split::AllAtOnce);
    const auto rowOf = [](const std::vector<float>& table, int32_t bin, int32_t columns) {
        const auto first = table.begin() + std::ptrdiff_t{bin} * columns;
        return std::vector<double>(first, first + columns);
    };
    for (int32_t bin = 0; bin < host.bins(); ++bin) {
        const auto set = host.firstSet();
        EXPECT_EQ(rowOf(host.orderTableA, bin, 64), host.orderRow(bin, set));
        EXPECT_EQ(rowOf(host.timeTableA, bin, 64), host.timeRow(bin, set));
        if (mode != 1) continue;
        EXPECT_EQ(rowOf(host.orderTableB, bin, 64), host.orderRow(bin, 2));
        EXPECT_EQ(rowOf(host.timeTableB, bin, 64), host.timeRow(bin, 2));
        EXPECT_EQ(rowOf(host.orderTableTwoSided, bin, 127), host.orderTwoSidedRow(bin));
    }
}

// ---- counters beyond 2^31 and 2^32 --------------------------------------------------------------

// A steady shaft with both rings on a grid of 1/1024 s keeps every time stamp exact however late
// the run starts; the binned value sweeps over the axis. Earlier slots hold zeros.
RunResult runFrom(int32_t mode, int32_t blockMode, int64_t written)
{
    Host host(mode);
    askForEverything(host, blockMode);
    host.analysis.deltaSeconds = 3.0e9F; // and so no release by the time, which differs
    host.ringFill = 0.0;
    host.angleWritten = written;
    host.timeWritten = written;
    host.angleWriteIndex = 5000;
    host.timeWriteIndex = 5000;
    host.start();
    Machine machine{Shaft{}, richSignal(0.0), richSignal(1.0), [](const Instant& now) {
                        return 1010.0 + 33.0 * now.revolutions;
                    }};
    machine.shaft.startSeconds = static_cast<double>(written) / 1024.0;
    // signals of the time since the start, so that they are the same to the bit
    const double start = machine.shaft.startSeconds;
    for (Signal* signal : {&machine.signalA, &machine.signalB}) {
        *signal = [inner = *signal, start](const Instant& now) {
            return inner({now.seconds - start, now.revolutions, now.hertz});
        };
    }
    RunResult run;
    run.outcomes = host.run(record(machine, 1100));
    for (Outcome& outcome : run.outcomes) {
        outcome.rpmTime -= start;
        if (outcome.turns > 0) outcome.turnTime -= start;
        if (outcome.flags[TimeOrderSpectrum] != 0 || outcome.flags[DeltaHarmonics] != 0)
            outcome.words.clear(); // their time stamps are among them
    }
    run.tables = host.tableWords();
    return run;
}

TEST_P(StreamingByBlockMode, RunsGoOnPastTwoToThe31AndTwoToThe32Samples)
{
    const auto [mode, blockMode] = GetParam();
    const RunResult expected = runFrom(mode, blockMode, 1 << 20);
    EXPECT_GT(expected.outcomes.size(), 10U);
    for (const int64_t limit : {int64_t{1} << 31, int64_t{1} << 32}) {
        SCOPED_TRACE(limit);
        const RunResult run = runFrom(mode, blockMode, limit - 500);
        EXPECT_EQ(firstDifference(expected.outcomes, run.outcomes), "");
        EXPECT_TRUE(expected.tables == run.tables);
    }
}

// ---- what is taken ------------------------------------------------------------------------------

// One sample more than half a block must wait.
TEST_P(Streaming, SampleIsTakenWhenHalfABlockOfNewerOnesStandsBehindIt)
{
    Host host(GetParam());
    host.start();
    const Recording recording = record(crossing(silence()), 200);
    host.feed(recording, 64);
    EXPECT_TRUE(host.call().consumed);
    EXPECT_EQ(host.speed().value, 0.0); // nothing was taken yet
    for (int64_t k = 0; k < 100; ++k) {
        host.feed(recording, 1);
        EXPECT_TRUE(host.call().consumed);
        EXPECT_EQ(host.speed().value, 1920.0);
        EXPECT_EQ(host.speed().time, recording.time[static_cast<size_t>(k)]);
    }
}

// t <= written / rate - D / 2, with D = 1/8 s: sample 0 needs 64 equal-time samples.
TEST_P(Streaming, SampleIsTakenWhenHalfATimeBlockStandsBeyondItsTime)
{
    for (const auto flag : {&AnalyzerParameters::binTimeSpectrum,
                            &AnalyzerParameters::binTimeTwoSided,
                            &AnalyzerParameters::overall}) {
        Host host(GetParam());
        host.parameters.*flag = 1;
        host.start();
        const Recording recording = record(crossing(silence()), 400);
        host.feed(recording, 400, 63);
        EXPECT_TRUE(host.call().consumed);
        EXPECT_EQ(host.speed().value, 0.0);
        for (int64_t k = 0; k < 100; ++k) {
            host.feed(recording, 0, 1);
            EXPECT_TRUE(host.call().consumed);
            EXPECT_EQ(host.speed().time, recording.time[static_cast<size_t>(k)]);
        }
    }
}

TEST_P(Streaming, NothingIsTakenWhileTheTimeRingIsEmpty)
{
    Host host(GetParam());
    host.parameters.overall = 1;
    host.start();
    host.feed(record(crossing(silence()), 400), 400, 0);
    EXPECT_TRUE(host.call().consumed);
    EXPECT_EQ(host.speed().value, 0.0);
}

TEST_P(Streaming, TimeRingHoldsNothingBackWithoutTimeResults)
{
    Host host(GetParam());
    host.start();
    const Recording recording = record(crossing(silence()), 400);
    host.feed(recording, 400, 0);
    EXPECT_TRUE(host.call().consumed);
    EXPECT_EQ(host.speed().time, recording.time[335]);
}

// No comparison holds for a NaN, and so it does not end the walk; the next good stamp does.
TEST_P(Streaming, TimeStampThatIsNotANumberHoldsNothingBack)
{
    Host host(GetParam());
    host.parameters.overall = 1;
    host.start();
    Recording recording = record(crossing(silence()), 400);
    for (size_t k = 10; k < 20; ++k) recording.time[k] = std::numeric_limits<double>::quiet_NaN();
    host.feed(recording, 400, 64 + 15);
    EXPECT_TRUE(host.call().consumed);
    EXPECT_TRUE(std::isnan(host.speed().time)); // sample 19: sample 20 is beyond sample 15's time
    host.feed(recording, 0, 5);
    EXPECT_TRUE(host.call().consumed);
    EXPECT_EQ(host.speed().time, recording.time[20]);
}

// A result at the last sample that could be taken ends the call; the next one finds nothing more.
TEST_P(Streaming, CallThatEndsWithAResultAtTheLastSampleIsNotTheLastCall)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    host.feed(record(crossing(silence()), 400), kCrossing + 64 + 1);
    const Call first = host.call();
    EXPECT_TRUE(first.hasResult());
    EXPECT_FALSE(first.consumed);
    const Call second = host.call();
    EXPECT_FALSE(second.hasResult());
    EXPECT_TRUE(second.consumed);
    EXPECT_EQ(second.bin, -1);
}

TEST_P(Streaming, CallWithoutAResultIsTheLastAlsoWhileSamplesAreHeldBack)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    host.feed(record(crossing(silence()), 400), kCrossing + 64);
    const Call only = host.call();
    EXPECT_FALSE(only.hasResult());
    EXPECT_TRUE(only.consumed);
}

// A flag set of all zeros makes no results, and still counts turns and follows the speed.
TEST_P(Streaming, WithoutAnyFlagTurnsAndSpeedAreFollowed)
{
    Host host(GetParam());
    host.start();
    host.feed(record(crossing(silence()), 400), 400);
    const Call only = host.call();
    EXPECT_FALSE(only.hasResult());
    EXPECT_TRUE(only.turnsUpdated);
    EXPECT_TRUE(only.consumed);
    EXPECT_EQ(host.turns().value, 10); // samples 32, 64 .. 320 of 336
    EXPECT_EQ(host.turns().time, 320.0 / 1024.0);
    EXPECT_EQ(host.speed().value, 1920.0);
}

// Samples that a host takes back leave the walk where it is, also beyond what was already taken.
TEST_P(Streaming, SamplesTakenBackAndReportedAgainAreWalkedOnce)
{
    const Recording recording = record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples);
    Host expected(GetParam());
    expected.parameters.binOrderSpectrum = 1;
    expected.parameters.timeOrderSpectrum = 1;
    expected.start();
    const std::vector<Outcome> straight = expected.run(recording);

    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    host.feed(recording, 200);
    std::vector<Outcome> outcomes = host.drain();
    for (const int32_t count : {30, 64, 100}) { // some, all, and more than wait
        updateBuffers(host.handle(), -count, 0);
        EXPECT_TRUE(host.drain().empty());
        updateBuffers(host.handle(), count, 0);
        EXPECT_TRUE(host.drain().empty());
    }
    const std::vector<Outcome> rest = host.run(recording);
    outcomes.insert(outcomes.end(), rest.begin(), rest.end());
    EXPECT_EQ(firstDifference(straight, outcomes), "");
}

// Samples that waited at a reset are the first of the new run.
TEST_P(Streaming, PendingSamplesStillCountAfterAReset)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    const Recording recording = record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples);
    host.feed(recording, kCrossing + 64); // the crossing waits for one sample more
    EXPECT_TRUE(host.drain().empty());
    reset(host.handle());
    // Its first value of the new run is above the centre: it crosses from the 0 that comes before.
    const auto outcomes = host.run(recording);
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].rpmTime, static_cast<double>(kCrossing) / 1024.0);
}

// ---- flags --------------------------------------------------------------------------------------

// Rows by sample count and delta spectra leave rpmUpdated clear; every other result raises it.
TEST_P(Streaming, SpeedIsAnnouncedWithEveryResultButRowsBySampleCountAndDeltaSpectra)
{
    const auto announced = [&](const AnalyzerParameters& parameters) {
        Host host(GetParam());
        host.parameters = parameters;
        host.harmonicOrders = {1.0F};
        host.analysis.deltaOnTime = 1;
        host.analysis.deltaSeconds = 0.2F;
        host.start();
        const auto outcomes = host.run(record(crossing(silence()), 400));
        EXPECT_FALSE(outcomes.empty());
        return !outcomes.empty() && outcomes[0].rpmUpdated;
    };
    EXPECT_TRUE(announced({1, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(announced({0, 1, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_FALSE(announced({0, 0, 0, 1, 0, 0, 0, 0, 0, 0}));
    EXPECT_FALSE(announced({0, 0, 0, 0, 1, 0, 0, 0, 0, 0}));
    EXPECT_TRUE(announced({0, 0, 0, 0, 0, 1, 0, 0, 0, 0}));
    EXPECT_TRUE(announced({0, 0, 0, 0, 0, 0, 1, 0, 0, 0}));
    EXPECT_TRUE(announced({0, 0, 0, 0, 0, 0, 0, 1, 0, 0}));
    EXPECT_FALSE(announced({0, 0, 0, 0, 0, 0, 0, 0, 1, 0}));
    EXPECT_TRUE(announced({0, 0, 0, 0, 0, 0, 0, 0, 0, 1}));
}

// Any non-zero byte is true, and comes back as it was given.
TEST_P(Streaming, FlagOtherThanOneIsTrueToo)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 4;
    host.start();
    const auto outcomes = host.run(record(crossing(silence()), 400));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_NE(outcomes[0].flags[BinOrderSpectrum], 0);
}

// ---- turns --------------------------------------------------------------------------------------

int32_t turnsOf(int32_t mode, const std::vector<double>& angles)
{
    Host host(mode);
    host.start();
    Recording recording = record(crossing(silence()), static_cast<int64_t>(angles.size()) + 64);
    for (size_t i = 0; i < angles.size(); ++i) recording.angle[i] = angles[i];
    host.feed(recording, recording.samples());
    const Call call = host.call();
    EXPECT_EQ(call.turnsUpdated, host.turns().value > 0);
    if (host.turns().value == 1) {
        EXPECT_EQ(host.turns().time, recording.time[1]);
    }
    return host.turns().value;
}

TEST_P(Streaming, TurnIsCountedWhenTheAngleFallsFromAboveHalfATurn)
{
    EXPECT_EQ(turnsOf(GetParam(), {350.0, 10.0}), 1);
    EXPECT_EQ(turnsOf(GetParam(), {170.0, 10.0}), 0);
    EXPECT_EQ(turnsOf(GetParam(), {180.0, 10.0}), 0);
    EXPECT_EQ(turnsOf(GetParam(), {190.0, 180.0}), 1);
    EXPECT_EQ(turnsOf(GetParam(), {190.0, 190.0}), 0);
    EXPECT_EQ(turnsOf(GetParam(), {350.0}), 0); // the first sample counts nothing
    EXPECT_EQ(turnsOf(GetParam(), {350.0, 10.0, 350.0, 10.0, 200.0, 199.0, 198.0}), 4);
}

// ---- the end of a rotation ----------------------------------------------------------------------

// A steady run whose speed is exactly 0 from a sample on, and, if asked for, steady again later.
Recording stopping(int64_t stop, int64_t samples, int64_t again = -1)
{
    Recording recording = record({Shaft{},
                                  tone(1.0, 4.0, 0.0),
                                  silence(),
                                  [](const Instant& now) {
                                      return std::fmod(now.revolutions, 4.0) < 1.98
                                                 ? 1180.0
                                                 : 1220.0; // every 128 samples
                                  }},
                                 samples);
    for (int64_t k = stop; k < (again < 0 ? samples : again); ++k)
        recording.frequency[static_cast<size_t>(k)] = 0.0;
    return recording;
}

TEST_P(Streaming, StopIsAnnouncedOnceAndAtOnce)
{
    Host host(GetParam());
    host.start();
    const Recording recording = stopping(300, 400);
    host.feed(recording, 301);
    EXPECT_FALSE(host.call().rpmUpdated); // takes samples: no look at the newest ones
    EXPECT_EQ(host.speed().value, 1920.0);
    const Call stop = host.call();
    EXPECT_TRUE(stop.rpmUpdated);
    EXPECT_TRUE(stop.consumed);
    EXPECT_FALSE(stop.hasResult());
    EXPECT_EQ(host.speed().value, 0.0);
    EXPECT_EQ(host.speed().time, recording.time[300]);
    for (int32_t i = 0; i < 3; ++i) EXPECT_FALSE(host.call().rpmUpdated);
    // Speed that stays at 0 is no news; the samples that were held back still have their speed.
    for (int64_t k = 301; k < 350; ++k) {
        host.feed(recording, 1);
        EXPECT_FALSE(host.call().rpmUpdated);
        EXPECT_FALSE(host.call().rpmUpdated);
        EXPECT_EQ(host.speed().value, 1920.0);
    }
}

// Only the two newest samples are looked at, and only by a call that has nothing to take.
TEST_P(Streaming, StopFurtherBackInTheRingGoesUnnoticed)
{
    Host host(GetParam());
    host.start();
    host.feed(stopping(300, 400), 302);
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_EQ(host.speed().value, 1920.0);
}

TEST_P(Streaming, StopIsSeenAlsoWhereTheRingWraps)
{
    for (const int32_t slot : {0, 1}) { // of the newest sample
        Host host(GetParam());
        host.angleSlots = 512;
        host.angleWriteIndex = (512 + slot - 300) % 512;
        host.start();
        host.feed(stopping(300, 400), 301);
        EXPECT_FALSE(host.call().rpmUpdated);
        EXPECT_TRUE(host.call().rpmUpdated);
        EXPECT_EQ(host.speed().value, 0.0);
    }
}

TEST_P(Streaming, NotANumberIsNoStop)
{
    Host host(GetParam());
    host.start();
    Recording recording = stopping(300, 400);
    recording.frequency[300] = std::numeric_limits<double>::quiet_NaN();
    host.feed(recording, 301);
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_FALSE(host.call().rpmUpdated);
    host.feed(recording, 1); // a zero after a NaN is none either
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_FALSE(host.call().rpmUpdated);
}

TEST_P(Streaming, SpeedBelowZeroIsNoStop)
{
    Host host(GetParam());
    host.start();
    Recording recording = stopping(300, 400);
    recording.frequency[299] = -1.0;
    host.feed(recording, 301);
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_FALSE(host.call().rpmUpdated);
}

// Samples 0 to 236 were taken before; the next N = 128 that are taken, 237 to 364, update the speed
// alone: the crossing at 320 and the turns between are lost, the crossing at 448 counts.
TEST_P(Streaming, AfterAStopOneBlockOfSamplesUpdatesTheSpeedAndNothingElse)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    const Recording recording = stopping(300, 700, 310);
    host.feed(recording, 301);
    EXPECT_EQ(host.drain().size(), 2U); // crossings at 64 and 192
    EXPECT_TRUE(host.call().rpmUpdated);
    EXPECT_EQ(host.speed().value, 0.0);
    EXPECT_EQ(host.turns().value, 7); // 32 to 224

    host.feed(recording, 364 + 65 - 301);
    EXPECT_TRUE(host.drain().empty());
    EXPECT_EQ(host.speed().time, recording.time[364]);
    EXPECT_EQ(host.speed().value, 1920.0);
    EXPECT_EQ(host.turns().value, 7);

    host.feed(recording, 700 - 429);
    const auto outcomes = host.drain();
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[0].rpmTime, 448.0 / 1024.0);
    EXPECT_EQ(outcomes[1].rpmTime, 576.0 / 1024.0);
    // 384 to 608 are eight; from sample 236 to 365 the angle rises from 135 to 146 degrees.
    EXPECT_EQ(host.turns().value, 7 + 8);
}

// A second stop within the hold-off is announced, and does not prolong it.
TEST_P(Streaming, SecondStopWithinThePauseIsAnnouncedAndDoesNotProlongIt)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    Recording recording = stopping(300, 700, 310);
    recording.frequency[404] = 0.0;
    host.feed(recording, 301);
    EXPECT_EQ(host.drain().size(), 2U);
    EXPECT_TRUE(host.call().rpmUpdated);
    host.feed(recording, 405 - 301); // takes up to 340, 24 samples of the pause are left
    EXPECT_TRUE(host.drain().empty());
    const Call second = host.call();
    EXPECT_TRUE(second.rpmUpdated);
    EXPECT_EQ(host.speed().value, 0.0);
    EXPECT_EQ(host.speed().time, recording.time[404]);

    host.feed(recording, 700 - 405);
    const auto outcomes = host.drain();
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[0].rpmTime, 448.0 / 1024.0);
}

// Rows by sample count, due every 64 samples, that fall into the pause from sample 237 to 364 are
// made up for, one a sample.
TEST_P(Streaming, OrderRowsOfAPauseAreMadeUpForAfterIt)
{
    Host host(GetParam());
    host.analysis.overlapPercent = 50.0F;
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    const Recording recording = stopping(300, 600, 310);
    host.feed(recording, 301);
    EXPECT_EQ(host.drain().size(), 2U); // at 128 and 192
    EXPECT_TRUE(host.call().rpmUpdated);
    host.feed(recording, 600 - 301);
    std::vector<int64_t> samples;
    for (const Outcome& outcome : host.drain())
        samples.emplace_back(std::llround(outcome.rpmTime * 1024.0));
    EXPECT_EQ(samples, (std::vector<int64_t>{365, 366, 384, 448, 512}));
}

// With nothing but samples to take back, a call clears the memory of the stop: it is told again.
TEST_P(Streaming, StopIsAnnouncedAgainAfterSamplesWereTakenBack)
{
    Host host(GetParam());
    host.start();
    host.feed(stopping(300, 400), 301);
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_TRUE(host.call().rpmUpdated);
    EXPECT_FALSE(host.call().rpmUpdated);
    updateBuffers(host.handle(), -65, 0); // one more than wait
    EXPECT_FALSE(host.call().rpmUpdated);
    updateBuffers(host.handle(), 65, 0);
    EXPECT_TRUE(host.call().rpmUpdated);
}

} // namespace
} // namespace Boundary
