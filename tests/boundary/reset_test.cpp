// A second run with the same analyzer: the same bits, except what survives a reset.

#include "expectations.h"
#include "test_host.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <tuple>
#include <vector>

namespace Boundary {
namespace {

class Reset : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Reset, testing::ValuesIn(kModes));

class ResetByAveraging : public testing::TestWithParam<std::tuple<int32_t, int32_t, int32_t>> {};

INSTANTIATE_TEST_SUITE_P(Mode,
                         ResetByAveraging,
                         testing::Combine(testing::ValuesIn(kModes),
                                          testing::Values(0, 1),
                                          testing::Values(0, 1, 2, 3)));

// ---- the same bits ------------------------------------------------------------------------------

// The run ends with results, so that all is cleared: counts of averages, held peaks, start phases.
TEST_P(ResetByAveraging, SecondRunAfterAResetGivesTheSameBits)
{
    const auto [mode, blockMode, averaging] = GetParam();
    Host host(mode);
    host.hostTables = averaging % 2 == 0;
    host.harmonicOrders = {1.0F, 2.5F};
    host.analysis.blockMode = blockMode;
    host.analysis.averagingType = averaging;
    host.analysis.overlapPercent = 30.0F;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 1.0F;
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    host.start();
    const Recording recording =
        record(runUp(sum(tone(1.0, 1.0, 0.4), noise(3)), sum(tone(0.5, 2.5, 0.1), noise(4))), 3000);

    const std::vector<Outcome> first = host.run(recording);
    const std::vector<uint32_t> firstTables = host.tableWords();
    EXPECT_GT(first.size(), 20U);
    for (int32_t again = 0; again < 2; ++again) {
        host.restart();
        const std::vector<Outcome> second = host.run(recording, Split::Primes);
        EXPECT_EQ(firstDifference(first, second), "");
        EXPECT_TRUE(firstTables == host.tableWords());
    }
}

TEST_P(Reset, ResetClearsAllResultsOfARunThatHadSome)
{
    Host host(GetParam());
    host.hostTables = true;
    host.harmonicOrders = {4.0F};
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 0.2F;
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    host.start();
    const Signal signal = tone(3.0, 4.0, 0.7);
    host.run(record(crossing(signal, signal), kCrossingSamples));
    EXPECT_GT(host.turns().value, 0);
    EXPECT_GT(host.deltaHarmonics(host.firstSet()).time, 0.0);
    EXPECT_GT(host.hopRow(host.firstSet()).time, 0.0);

    reset(host.handle());
    const auto isZero = [](const auto& values) {
        return std::all_of(values.begin(), values.end(), [](auto v) { return v == decltype(v){}; });
    };
    EXPECT_EQ(host.turns().value, 0);
    EXPECT_EQ(host.turns().time, 0.0);
    for (const int32_t which : resultSets(GetParam())) {
        EXPECT_TRUE(isZero(host.orderRow(kCrossedBin, which)));
        EXPECT_TRUE(isZero(host.timeRow(kCrossedBin, which)));
        EXPECT_EQ(host.overall(kCrossedBin, which), 0.0);
        EXPECT_EQ(host.harmonic(0, kCrossedBin, which), std::complex<double>());
        EXPECT_TRUE(isZero(host.deltaSpectrum(which)));
        EXPECT_TRUE(isZero(host.deltaHarmonics(which).value));
        EXPECT_EQ(host.deltaHarmonics(which).time, 0.0);
        EXPECT_EQ(host.hopRow(which).time, 0.0);
    }
    EXPECT_TRUE(isZero(host.orderTableA));
    EXPECT_TRUE(isZero(host.timeTableA));
    if (GetParam() == 1) {
        EXPECT_TRUE(isZero(host.orderTableB));
        EXPECT_TRUE(isZero(host.orderTableTwoSided));
        EXPECT_TRUE(isZero(host.timeTableB));
        EXPECT_TRUE(isZero(host.timeTableTwoSided));
    }
}

// The first reset of all clears as well, the host's tables too.
TEST_P(Reset, FirstResetClearsTheTablesOfTheHost)
{
    Host host(GetParam());
    host.hostTables = true;
    host.parameters.binOrderSpectrum = 1;
    host.parameters.overall = 1;
    host.prepare();
    host.handOver();
    EXPECT_EQ(host.begin(), 0);
    EXPECT_EQ(host.orderTableA, std::vector<float>(host.orderTableA.size(), 77.0F)); // not initiate
    EXPECT_EQ(host.timeTableA, std::vector<float>(host.timeTableA.size(), 77.0F));
    reset(host.handle());
    EXPECT_EQ(host.orderTableA, std::vector<float>(host.orderTableA.size()));
    EXPECT_EQ(host.timeTableA, std::vector<float>(host.timeTableA.size()));
}

// A component that was 0.3 rad further in the second run starts at phase 0 there too.
TEST_P(Reset, FirstBlockAfterAResetSetsTheStartPhaseAnew)
{
    Host host(GetParam());
    host.harmonicOrders = {2.5F};
    host.parameters.binHarmonics = 1;
    host.start();
    for (const double phase : {1.0, 1.3}) {
        host.restart();
        host.run(record(crossing(tone(1.5, 2.5, phase)), kCrossingSamples));
        expectComplex(host.harmonic(0, kCrossedBin, host.firstSet()), {1.5, 0.0}, 1e-5);
    }
}

// Both runs rise through the bin once; without a reset of the rhythm the second would begin
// elsewhere.
TEST_P(Reset, RowsBySampleCountStartAnewAtTheSamplesAlreadyTaken)
{
    Host host(GetParam());
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    const Recording recording = record(crossing(tone(1.0, 4.0, 0.0)), 1000);
    host.feed(recording, 300); // 236 taken, one row at 128
    EXPECT_EQ(host.drain().size(), 1U);
    reset(host.handle());
    const auto outcomes = host.run(recording);
    ASSERT_FALSE(outcomes.empty());
    EXPECT_EQ(outcomes[0].rpmTime, (236.0 + 128.0) / 1024.0);
}

// ---- what survives ------------------------------------------------------------------------------

TEST_P(Reset, SpeedAndItsTimeSurviveAReset)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    const Recording recording = record(crossing(silence()), kCrossingSamples);
    EXPECT_EQ(host.run(recording).size(), 1U);
    host.restart();
    EXPECT_EQ(host.speed().value, 1920.0);
    EXPECT_EQ(host.speed().time, recording.time[kCrossingSamples - 65]);
}

// Nothing was announced, so nothing is cleared.
TEST_P(Reset, TurnsOfARunWithoutAResultSurviveAReset)
{
    Host host(GetParam());
    host.start();
    EXPECT_TRUE(host.run(record(crossing(silence()), 400)).empty());
    EXPECT_EQ(host.turns().value, 10);
    host.restart();
    EXPECT_EQ(host.turns().value, 10);
    EXPECT_EQ(host.turns().time, 320.0 / 1024.0);
    EXPECT_TRUE(host.run(record(crossing(silence()), 400)).empty());
    EXPECT_EQ(host.turns().value, 20);
}

TEST_P(Reset, SecondResetWithoutAResultInBetweenClearsNothing)
{
    Host host(GetParam());
    host.hostTables = true;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    std::fill(host.orderTableA.begin(), host.orderTableA.end(), 5.0F);
    reset(host.handle());
    EXPECT_EQ(host.orderTableA, std::vector<float>(host.orderTableA.size(), 5.0F));
    // a result, and the next reset clears
    EXPECT_EQ(host.run(record(crossing(silence()), 400)).size(), 1U);
    reset(host.handle());
    EXPECT_EQ(host.orderTableA, std::vector<float>(host.orderTableA.size()));
}

// The newest block's mean binned value, 1200, is further than the step from 0, the value of the
// last release after a reset: a release at the first sample, with nothing in it. The run before
// had its first release with its first block, at sample 65.
TEST_P(Reset, DeltaOnBinChangeReleasesAtTheFirstSampleOfASecondRun)
{
    Host host(GetParam());
    host.harmonicOrders = {4.0F};
    host.analysis.deltaOnBinChange = 1;
    host.parameters.deltaHarmonics = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
    const Recording recording = record(
        {Shaft{}, tone(1.0, 4.0, 0.0), tone(1.0, 4.0, 0.0), constant(1200.0)}, kCrossingSamples);
    const auto first = host.run(recording);
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(first[0].rpmTime, 65.0 / 1024.0);

    host.restart();
    host.feed(recording, 65);
    const auto second = host.drain();
    ASSERT_EQ(second.size(), 1U);
    EXPECT_EQ(second[0].flags, flags({DeltaHarmonics, DeltaOrderSpectrum}));
    EXPECT_EQ(second[0].rpmTime, 0.0);
    for (const int32_t which : resultSets(GetParam())) {
        EXPECT_EQ(host.deltaHarmonics(which).value[0], std::complex<double>());
        EXPECT_EQ(host.deltaHarmonics(which).time, 0.0);
    }
    EXPECT_TRUE(host.run(recording).empty()); // the value has not moved since
}

// A pause after a stop ends with the run: bins, turns and blocks count from the first sample.
TEST_P(Reset, PauseAfterAStopEndsWithAReset)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.start();
    const Recording recording = record(crossing(silence()), kCrossingSamples);
    Recording stopped = recording;
    stopped.frequency[299] = 0.0;
    host.feed(stopped, 300);
    EXPECT_TRUE(host.drain().empty());
    EXPECT_TRUE(host.call().rpmUpdated);
    host.restart();
    EXPECT_EQ(host.run(recording).size(), 1U);
    // 32 to 224 of the first run, which had no result, and 32 to 416 of the second
    EXPECT_EQ(host.turns().value, 7 + 13);
}

// That a stop was announced is remembered: the first call of the new run, which still has nothing
// to take, does not announce it again.
TEST_P(Reset, AnnouncedStopIsRememberedThroughAReset)
{
    Host host(GetParam());
    host.start();
    Recording stopped = record(crossing(silence()), 300);
    stopped.frequency[299] = 0.0;
    host.feed(stopped, 300);
    EXPECT_FALSE(host.call().rpmUpdated);
    EXPECT_TRUE(host.call().rpmUpdated);
    reset(host.handle());
    EXPECT_FALSE(host.call().rpmUpdated);
}

// Rows of the second signal and two-sided rows are left as they are: they are written whole before
// they are announced again.
TEST(Reset, OrderRowsOfTheSecondSignalSurviveAReset)
{
    Host host(1);
    host.parameters.timeOrderSpectrum = 1;
    host.parameters.timeOrderTwoSided = 1;
    host.start();
    host.run(record(crossing(tone(1.0, 4.0, 0.0), tone(2.0, 4.0, 0.0)), kCrossingSamples));
    reset(host.handle());
    EXPECT_EQ(host.hopRow(1).value[16], 0.0);
    EXPECT_NEAR(host.hopRow(2).value[16], 2.0, 1e-5);
    EXPECT_NEAR(host.hopTwoSidedRow().value[63 + 16], std::sqrt(5.0) / 2.0, 1e-5);
    EXPECT_EQ(host.hopRow(2).time, 0.0);
}

// The direction that was found automatically is found anew: up in the first run, down in the
// second.
TEST_P(Reset, AutomaticDirectionIsFoundAnewInEachRun)
{
    Host host(GetParam());
    host.binning.direction = HARMOTRACK_DIRECTION_AUTOMATIC;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    Machine machine = crossing(silence());
    machine.binSignal = stepAt(255.5 / 32.0, 1180.0, 1220.0);
    EXPECT_EQ(host.run(record(machine, 400)).size(), 1U);
    host.restart();
    machine.binSignal = stepAt(255.5 / 32.0, 1820.0, 1780.0);
    EXPECT_EQ(host.run(record(machine, 400)).size(), 1U);
    host.restart();
    machine.binSignal = stepAt(255.5 / 32.0, 1780.0, 1820.0); // up, in the upper half
    EXPECT_EQ(host.run(record(machine, 400)).size(), 0U);
}

} // namespace
} // namespace Boundary
