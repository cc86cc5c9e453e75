#include "analyzer_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Half an order block of the rig.
constexpr int kHalf = 8;

// --- how many samples are taken

TEST(Walk, LeavesHalfABlockUntouched)
{
    AnalyzerRig rig;
    rig.prepare();
    for (int i = 0; i < kHalf; ++i) {
        rig.addAngle({});
        EXPECT_EQ(rig.calculate(), "");
        EXPECT_EQ(rig.processed(), 0);
    }
    rig.addAngle({});
    EXPECT_EQ(rig.calculate(), "");
    EXPECT_EQ(rig.processed(), 1);
}

TEST(Walk, TakesAllSamplesBeforeTheLastHalfBlockInOneCall)
{
    AnalyzerRig rig;
    rig.prepare();
    for (int i = 0; i < 30; ++i) rig.addAngle({.frequency = 1.0 + i});
    EXPECT_EQ(rig.calculate(), "");
    EXPECT_EQ(rig.processed(), 22);
    EXPECT_EQ(rig.analyzer.rpm(), 22.0F * 60.0F);
    EXPECT_EQ(rig.calculate(), "");
    EXPECT_EQ(rig.processed(), 22);
}

TEST(Walk, SpeedIsAFloatOfAProductInDouble)
{
    AnalyzerRig rig;
    rig.prepare();
    // 0.23 * 60 in float is 13.8000002 from the float below 0.23, and 13.8 from the double
    for (int i = 0; i <= kHalf; ++i) rig.addAngle({.frequency = 0.23, .time = 4.5 + i});
    rig.drain();
    EXPECT_EQ(rig.analyzer.rpm(), static_cast<float>(0.23 * 60.0));
    EXPECT_EQ(rig.analyzer.rpmTime(), 4.5);
}

// The time ring holds a second; half a time block of 0.1 s must stand behind a sample. The limit
// is a double, 1 - 0.05, and a sample on it may be taken.
class TimeHoldback : public testing::Test {
protected:
    TimeHoldback()
    {
        rig_.parameters.overall = 1;
        rig_.analysis.blockMode = -1; // no blocks, and so no result ends the walk
        rig_.prepare();
    }

    std::int64_t taken(const std::vector<double>& times, int timeSamples)
    {
        for (int i = 0; i < timeSamples; ++i) rig_.addTime(0.0);
        for (const double time : times) rig_.addAngle({.time = time});
        for (int i = 0; i < kHalf; ++i) rig_.addAngle({.time = 0.0});
        rig_.drain();
        return rig_.processed();
    }

    AnalyzerRig rig_;
};

TEST_F(TimeHoldback, LeavesSamplesThatLackHalfATimeBlock)
{
    const double limit = 160.0 / 160.0 - 0.1 * 0.5;
    EXPECT_EQ(taken({0.5, limit, std::nextafter(limit, 2.0), 0.5, 0.5}, 160), 2);
}

TEST_F(TimeHoldback, EndsOnceMoreTimeSamplesHaveCome)
{
    EXPECT_EQ(taken({0.5, 0.96, 0.5}, 160), 1);
    for (int i = 0; i < 2; ++i) rig_.addTime(0.0);
    rig_.drain();
    EXPECT_EQ(rig_.processed(), 3);
}

TEST_F(TimeHoldback, LetsNothingPassWithAnEmptyTimeRing)
{
    EXPECT_EQ(taken({0.0, 0.0, 0.0}, 0), 0);
}

TEST_F(TimeHoldback, LetsATimeThatIsNoNumberPass)
{
    EXPECT_EQ(taken({0.5, kNaN, 0.5, 2.0, 0.5}, 160), 3);
}

TEST_F(TimeHoldback, DoesNotReachBeyondTheOrderHoldback)
{
    EXPECT_EQ(taken({}, 160), 0);
    EXPECT_EQ(taken({0.1, 0.1}, 0), 10);
}

// Every flag of the time path enables it, and no other flag does.
TEST(Walk, HoldsBackForTimeBlocksWithFlagsOfTheTimePathAlone)
{
    using Flag = std::uint8_t AnalyzerParameters::*;
    for (const auto& [flag, heldBack] : {std::pair<Flag, bool>(&AnalyzerParameters::overall, true),
                                         {&AnalyzerParameters::binTimeSpectrum, true},
                                         {&AnalyzerParameters::binTimeTwoSided, true},
                                         {&AnalyzerParameters::binHarmonics, false},
                                         {&AnalyzerParameters::binOrderSpectrum, false},
                                         {&AnalyzerParameters::binOrderTwoSided, false},
                                         {&AnalyzerParameters::timeOrderSpectrum, false},
                                         {&AnalyzerParameters::timeOrderTwoSided, false},
                                         {&AnalyzerParameters::deltaHarmonics, false},
                                         {&AnalyzerParameters::deltaOrderSpectrum, false}}) {
        AnalyzerRig rig;
        rig.parameters.*flag = 1;
        rig.analysis.blockMode = -1;
        rig.prepare();
        for (int i = 0; i < 10; ++i) rig.addAngle({});
        rig.drain();
        EXPECT_EQ(rig.processed(), heldBack ? 0 : 2);
    }
}

// The loop runs over a negative number of samples: none.
TEST(Walk, TakesNothingWhenMoreIsProcessedThanWritten)
{
    AnalyzerRig rig;
    rig.prepare();
    rig.analyzer.updateBuffers(-3, 0);
    EXPECT_EQ(rig.calculate(), "");
    EXPECT_EQ(rig.processed(), 0);
    EXPECT_EQ(rig.analyzer.getResampledBuffers().written, -3);
}

// --- results end a call

TEST(Walk, StopsAfterTheSampleOfAResultAndGoesOnInTheNextCall)
{
    AnalyzerRig rig;
    rig.parameters.timeOrderSpectrum = 1;
    rig.prepare();
    for (int i = 0; i < 45; ++i) rig.addAngle({});
    EXPECT_EQ(rig.calculate(), "timeOrderSpectrum more");
    EXPECT_EQ(rig.processed(), 17);
    EXPECT_EQ(rig.calculate(), "timeOrderSpectrum more");
    EXPECT_EQ(rig.processed(), 33);
    EXPECT_EQ(rig.calculate(), "");
    EXPECT_EQ(rig.processed(), 37);
}

// The call itself can't know that nothing is left: the next one finds out.
TEST(Walk, ResultAtTheLastSampleAsksForOneMoreCall)
{
    AnalyzerRig rig;
    rig.parameters.timeOrderSpectrum = 1;
    rig.prepare();
    for (int i = 0; i < 25; ++i) rig.addAngle({});
    EXPECT_EQ(rig.calculate(), "timeOrderSpectrum more");
    EXPECT_EQ(rig.processed(), 17);
    EXPECT_EQ(rig.calculate(), "");
    EXPECT_EQ(rig.processed(), 17);
}

TEST(Walk, ResultStaysAsItIsUntilTheNextCall)
{
    AnalyzerRig rig;
    rig.parameters.timeOrderSpectrum = 1;
    rig.prepare();
    for (int i = 0; i < 25; ++i) rig.addAngle({});
    const CalculationResult& result = rig.analyzer.calculate();
    rig.addAngle({});
    EXPECT_EQ(announced(result), "timeOrderSpectrum more");
    rig.analyzer.calculate();
    EXPECT_EQ(announced(result), "");
}

TEST(Walk, RowAndBinOfTheSameSampleComeTogether)
{
    AnalyzerRig rig;
    rig.parameters.timeOrderSpectrum = 1;
    rig.parameters.binOrderSpectrum = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.prepare();
    const auto events =
        rig.run(30, [](std::int64_t i) { return AngleSample{.bin = i < 16 ? 1290.0 : 1310.0}; });
    EXPECT_THAT(events,
                ElementsAre(Event{17, "binOrderSpectrum timeOrderSpectrum rpm bin 3 more"}));
}

// Which results make the speed of their sample worth reading.
struct Wanted {
    const char* first; // what is announced first
    std::function<void(AnalyzerParameters&)> ask;
};

std::ostream& operator<<(std::ostream& out, const Wanted& wanted)
{
    return out << wanted.first;
}

class SpeedAnnounced : public testing::TestWithParam<Wanted> {};

// One crossing into bin 3 at sample 20, and every delta period is over at once.
TEST_P(SpeedAnnounced, ByResultsThatBelongToTheSampleTheyCameAt)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    GetParam().ask(rig.parameters);
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.analysis.deltaOnTime = 1;
    rig.prepare();
    for (int i = 0; i < 47; ++i) rig.addTime(0.0);
    const auto events = rig.run(30, [](std::int64_t i) {
        return AngleSample{.bin = i < 20 ? 1290.0 : 1310.0, .time = 0.2};
    });
    ASSERT_THAT(events, testing::Not(IsEmpty()));
    EXPECT_EQ(events.front().what, GetParam().first);
}

INSTANTIATE_TEST_SUITE_P(
    EachResult,
    SpeedAnnounced,
    testing::Values(
        Wanted{"binHarmonics rpm bin 3 more", [](auto& p) { p.binHarmonics = 1; }},
        Wanted{"binOrderSpectrum rpm bin 3 more", [](auto& p) { p.binOrderSpectrum = 1; }},
        Wanted{"binOrderSpectrum binOrderTwoSided rpm bin 3 more",
               [](auto& p) { p.binOrderSpectrum = p.binOrderTwoSided = 1; }},
        Wanted{"timeOrderSpectrum more", [](auto& p) { p.timeOrderSpectrum = 1; }},
        Wanted{"timeOrderTwoSided more", [](auto& p) { p.timeOrderTwoSided = 1; }},
        Wanted{"binTimeSpectrum rpm bin 3 more", [](auto& p) { p.binTimeSpectrum = 1; }},
        Wanted{"binTimeTwoSided rpm bin 3 more", [](auto& p) { p.binTimeTwoSided = 1; }},
        Wanted{"deltaHarmonics rpm more", [](auto& p) { p.deltaHarmonics = 1; }},
        Wanted{"deltaOrderSpectrum more", [](auto& p) { p.deltaOrderSpectrum = 1; }},
        Wanted{"overall rpm bin 3 more", [](auto& p) { p.overall = 1; }}));

// --- turns

class Turns : public testing::Test {
protected:
    Turns() { rig_.prepare(); }

    // Turns that a new run counts in these angles.
    std::int32_t counted(const std::vector<double>& angles)
    {
        AnalyzerRig rig;
        rig.prepare();
        for (const double angle : angles) rig.addAngle({.angle = angle});
        for (int i = 0; i < kHalf; ++i) rig.addAngle({});
        rig.drain();
        return rig.analyzer.turnCount();
    }

    void take(double angle, double time)
    {
        rig_.addAngle({.angle = angle, .time = time});
        rig_.drain();
    }

    AnalyzerRig rig_;
};

TEST_F(Turns, EndWhereTheAngleFallsFromTheUpperHalfCircle)
{
    EXPECT_EQ(counted({350.0, 10.0}), 1);
    EXPECT_EQ(counted({190.0, 180.0}), 1);
    EXPECT_EQ(counted({359.0, 358.0}), 1);
    EXPECT_EQ(counted({270.0, 90.0, 270.0, 90.0, 270.0}), 2);
}

TEST_F(Turns, DoNotEndWhereTheAngleFallsWithinTheLowerHalf)
{
    EXPECT_EQ(counted({170.0, 10.0}), 0);
    EXPECT_EQ(counted({180.0, 10.0}), 0);
    EXPECT_EQ(counted({std::nextafter(180.0, 360.0), 10.0}), 1);
}

TEST_F(Turns, DoNotEndAtTheFirstSampleOrAStandstill)
{
    EXPECT_EQ(counted({0.0}), 0);
    EXPECT_EQ(counted({350.0}), 0);
    EXPECT_EQ(counted({350.0, 350.0, 355.0}), 0);
}

TEST_F(Turns, DoNotEndRoundAnAngleThatIsNoNumber)
{
    EXPECT_EQ(counted({350.0, kNaN, 10.0, 350.0, 10.0}), 1);
}

// The sample that is taken stands half a block behind the newest.
TEST_F(Turns, HaveTheTimeOfTheSampleAfterTheFall)
{
    for (int i = 0; i <= kHalf; ++i) take(i == 0 ? 350.0 : 10.0, 1.0 + i);
    EXPECT_EQ(rig_.analyzer.turnCount(), 0);
    take(10.0, 20.0);
    EXPECT_EQ(rig_.analyzer.turnCount(), 1);
    EXPECT_EQ(rig_.analyzer.lastTurnTime(), 2.0);
    EXPECT_THAT(rig_.events, ElementsAre(Event{2, "turns"}));
}

TEST_F(Turns, EndNoCall)
{
    for (int i = 0; i < 40; ++i) rig_.addAngle({.angle = 45.0 * (i % 8)});
    EXPECT_EQ(rig_.calculate(), "turns");
    EXPECT_EQ(rig_.processed(), 32);
    EXPECT_EQ(rig_.analyzer.turnCount(), 3);
}

TEST_F(Turns, DoNotEndAcrossAReset)
{
    for (int i = 0; i <= kHalf; ++i) take(350.0, 0.0);
    rig_.analyzer.reset();
    for (int i = 0; i < 20; ++i) take(10.0, 0.0);
    // 8 samples of 350 were still to come after the reset, the first of them with no angle before
    EXPECT_EQ(rig_.analyzer.turnCount(), 1);
    rig_.analyzer.reset();
    for (int i = 0; i < 20; ++i) take(5.0, 0.0);
    EXPECT_EQ(rig_.analyzer.turnCount(), 1);
}

// --- a speed that falls to zero

class Stop : public testing::Test {
protected:
    Stop()
    {
        rig_.analysis.blockMode = HARMOTRACK_BLOCK_CONTIGUOUS;
        rig_.prepare();
    }

    void add(double frequency, double time = 0.0)
    {
        rig_.addAngle({.bin = 1300.0, .frequency = frequency, .time = time});
    }

    // What the first call says after samples with these frequencies.
    static std::string heard(const std::vector<double>& frequencies)
    {
        AnalyzerRig rig;
        rig.prepare();
        for (const double frequency : frequencies) rig.addAngle({.frequency = frequency});
        return rig.calculate();
    }

    AnalyzerRig rig_;
};

TEST_F(Stop, IsAnnouncedOnceThoughItsSampleIsStillHeldBack)
{
    for (int i = 0; i < 5; ++i) add(10.0, i);
    add(0.0, 7.5);
    EXPECT_EQ(rig_.calculate(), "rpm");
    EXPECT_EQ(rig_.analyzer.rpm(), 0.0F);
    EXPECT_EQ(rig_.analyzer.rpmTime(), 7.5);
    EXPECT_EQ(rig_.processed(), 0);
    EXPECT_EQ(rig_.calculate(), "");
}

TEST_F(Stop, ThatLastsIsAnnouncedNoMore)
{
    add(10.0);
    for (int i = 0; i < 40; ++i) {
        add(0.0);
        rig_.drain();
    }
    EXPECT_THAT(rig_.events, ElementsAre(Event{0, "rpm"}));
}

TEST_F(Stop, IsAFallFromAbovePreciselyToZero)
{
    EXPECT_EQ(heard({10.0, 0.0}), "rpm");
    EXPECT_EQ(heard({1e-300, -0.0}), "rpm");
    EXPECT_EQ(heard({10.0, 1e-300}), "");
    EXPECT_EQ(heard({0.0, 0.0}), "");
    EXPECT_EQ(heard({-10.0, 0.0}), "");
    EXPECT_EQ(heard({kNaN, 0.0}), "");
    EXPECT_EQ(heard({10.0, kNaN}), "");
}

TEST_F(Stop, FurtherBackThanTheTwoNewestSamplesGoesUnnoticed)
{
    EXPECT_EQ(heard({10.0, 0.0, 0.0}), "");
    EXPECT_EQ(heard({10.0, 0.0, 10.0}), "");
}

TEST_F(Stop, IsSeenOnlyByACallWithoutSamplesToTake)
{
    for (int i = 0; i < 11; ++i) add(10.0);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), "");
    EXPECT_EQ(rig_.processed(), 4);
    EXPECT_EQ(rig_.analyzer.rpm(), 600.0F);
    EXPECT_EQ(rig_.calculate(), "rpm");
}

TEST_F(Stop, AfterAnotherIsAnnouncedWhenSamplesWereTakenBetween)
{
    add(10.0);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), "rpm");
    for (int i = 0; i < 8; ++i) add(10.0);
    EXPECT_EQ(rig_.calculate(), "");
    ASSERT_EQ(rig_.processed(), 2);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), ""); // takes a sample
    EXPECT_EQ(rig_.calculate(), "rpm");
}

// Without samples in between it is still the same stop, wherever the ring's end has moved to.
TEST_F(Stop, AfterAnotherIsNotAnnouncedWhenNoSampleWasTaken)
{
    add(10.0);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), "rpm");
    add(10.0);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), "");
}

// A call with more processed than written walks over no sample, yet like any walk it makes the
// next stop news.
TEST_F(Stop, IsAnnouncedAgainAfterAWalkOverNothing)
{
    for (int i = 0; i < 7; ++i) add(10.0);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), "rpm");
    EXPECT_EQ(rig_.calculate(), "");
    rig_.analyzer.updateBuffers(-9, 0);
    EXPECT_EQ(rig_.calculate(), "");
    rig_.analyzer.updateBuffers(9, 0);
    EXPECT_EQ(rig_.calculate(), "rpm");
}

TEST_F(Stop, SurvivesAResetAsReported)
{
    add(10.0);
    add(0.0);
    EXPECT_EQ(rig_.calculate(), "rpm");
    rig_.analyzer.reset();
    EXPECT_EQ(rig_.calculate(), "");
    EXPECT_EQ(rig_.analyzer.rpm(), 0.0F);
}

// --- samples under hold-off

// A stop, and then samples of a turning shaft.
class HoldOff : public Stop {
protected:
    HoldOff()
    {
        add(10.0);
        add(0.0);
        EXPECT_EQ(rig_.calculate(), "rpm");
    }

    // Sample i of the ring, from 2 on.
    void addTurning(int i, double frequency = 10.0)
    {
        rig_.addAngle(
            {.bin = 1300.0, .frequency = frequency, .angle = 45.0 * (i % 8), .time = 0.5 * i});
        rig_.drain();
    }
};

TEST_F(HoldOff, LastsForABlockOfSamples)
{
    for (int i = 2; rig_.processed() < 16; ++i) addTurning(i);
    EXPECT_EQ(rig_.analyzer.binning().rawBin, -1);
    addTurning(24);
    EXPECT_EQ(rig_.processed(), 17);
    EXPECT_EQ(rig_.analyzer.binning().rawBin, 3);
}

TEST_F(HoldOff, UpdatesTheSpeed)
{
    for (int i = 2; rig_.processed() < 10; ++i) addTurning(i, 20.0 + i);
    EXPECT_EQ(rig_.analyzer.rpm(), 60.0F * 29.0F);
    EXPECT_EQ(rig_.analyzer.rpmTime(), 4.5);
}

// The wrap at sample 8 falls into it. The one at 16 comes right behind it, and finds the angle from
// before the stop; the one at 24 counts.
TEST_F(HoldOff, CountsNoTurnAndRemembersNoAngle)
{
    for (int i = 2; rig_.processed() < 17; ++i) addTurning(i);
    EXPECT_EQ(rig_.analyzer.turnCount(), 0);
    for (int i = 25; rig_.processed() < 25; ++i) addTurning(i);
    EXPECT_EQ(rig_.analyzer.turnCount(), 1);
}

TEST_F(HoldOff, IsNotProlongedByAnotherStop)
{
    for (int i = 2; rig_.processed() < 6; ++i) addTurning(i);
    addTurning(14, 0.0);
    ASSERT_EQ(rig_.processed(), 7);
    ASSERT_EQ(rig_.calculate(), "rpm");
    for (int i = 15; rig_.processed() < 17; ++i) addTurning(i);
    EXPECT_EQ(rig_.analyzer.binning().rawBin, 3);
}

TEST_F(HoldOff, EndsWithAReset)
{
    rig_.analyzer.reset();
    for (int i = 2; rig_.processed() < 1; ++i) addTurning(i);
    EXPECT_EQ(rig_.analyzer.binning().rawBin, 3);
}

TEST(HoldOffResults, AreNone)
{
    AnalyzerRig rig;
    rig.parameters.timeOrderSpectrum = 1;
    rig.analysis.overlapPercent = 100.0F;
    rig.prepare();
    for (int i = 0; i < 20; ++i) rig.addAngle({});
    rig.addAngle({.frequency = 0.0});
    rig.drain();
    ASSERT_EQ(rig.processed(), 13);
    ASSERT_EQ(rig.calculate(), "rpm");
    for (int i = 0; i < 20; ++i) {
        rig.addAngle({});
        rig.drain();
    }
    // 13 + 16 samples under hold-off, then a row at each sample
    EXPECT_EQ(rig.events.front(), (Event{30, "timeOrderSpectrum more"}));
    EXPECT_EQ(rig.events.size(), 4U);
}

// --- a failure in the middle

// The overall level asks for the factor of the window type, and a wrong one throws from there.
TEST(FailedWalk, LeavesItsSamplesToTheNextCall)
{
    AnalyzerRig rig;
    rig.parameters.overall = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.binning.direction = HARMOTRACK_DIRECTION_RISING;
    rig.prepare();
    for (int i = 0; i < 47; ++i) rig.addTime(1.0);
    for (int i = 0; i < 30; ++i)
        rig.addAngle({.bin = i < 20 ? 1270.0 : 1330.0, .frequency = 1.0 + i, .time = 0.2});

    rig.analysis.windowType = 9;
    EXPECT_THROW(rig.analyzer.calculate(), std::invalid_argument);
    EXPECT_EQ(rig.processed(), 0);
    EXPECT_EQ(rig.analyzer.rpm(), 60.0F * 21.0F);

    rig.analysis.windowType = 0;
    EXPECT_EQ(rig.calculate(), "overall rpm bin 3 more");
    EXPECT_EQ(rig.processed(), 21);
    EXPECT_FLOAT_EQ(rig.analyzer.results().overallA[3], std::sqrt(0.5F));
}

// --- counters

// Everything that a run of 150 samples leaves behind. Time stamps stay clear of all ties, so that
// their roundings at large times decide nothing.
struct RunResult {
    std::vector<Event> events;
    std::vector<float> cells;
    std::vector<std::complex<float>> values;

    bool operator==(const RunResult&) const = default;
};

double noise(std::int64_t i)
{
    return std::sin(1.7 * static_cast<double>(i * i % 1009));
}

RunResult runFrom(std::int64_t firstAngleSample, std::int64_t firstTimeSample)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    std::uint8_t* flags = &rig.parameters.binHarmonics;
    for (std::size_t i = 0; i < sizeof rig.parameters; ++i) flags[i] = 1;
    rig.orders = {1.0F, 0.75F, 2.5F};
    rig.analysis.deltaOnBinChange = 1;
    rig.analysis.averagingType = HARMOTRACK_AVERAGING_MEAN;
    rig.firstAngleSample = firstAngleSample;
    rig.firstTimeSample = firstTimeSample;
    rig.angleSlots = 64; // the same slots from every start
    rig.timeSlots = 64;
    rig.prepare();
    const double startTime = static_cast<double>(firstTimeSample) / 160.0;
    RunResult result;
    for (std::int64_t i = 0; i < 150; ++i) {
        rig.addTime(noise(i), noise(i + 5));
        rig.addAngle({.a = noise(i + 7),
                      .b = noise(i + 9),
                      .bin = 1000.0 + 3.0 * static_cast<double>(i),
                      .frequency = 20.0,
                      .angle = 45.0 * static_cast<double>(i % 8),
                      .time = startTime + (0.9 * static_cast<double>(i) + 0.25) / 160.0});
        rig.drain();
    }
    for (Event& event : rig.events) event.processed -= firstAngleSample;
    result.events = rig.events;
    const ResultStorage& results = rig.analyzer.results();
    for (const auto* table : {&results.orderA,
                              &results.orderB,
                              &results.orderTwoSided,
                              &results.timeA,
                              &results.timeB,
                              &results.timeTwoSided})
        result.cells.insert(result.cells.end(), table->storage().begin(), table->storage().end());
    for (const auto* row : {&results.orderRowA,
                            &results.orderRowB,
                            &results.orderRowTwoSided,
                            &results.overallA,
                            &results.overallB})
        result.cells.insert(result.cells.end(), row->begin(), row->end());
    for (const auto* table : {&results.harmonicsA, &results.harmonicsB})
        for (const auto& row : table->rows())
            result.values.insert(result.values.end(), row.begin(), row.end());
    for (const auto* mean : {&results.deltaHarmonicsA,
                             &results.deltaHarmonicsB,
                             &results.deltaSpectrumA,
                             &results.deltaSpectrumB})
        result.values.insert(result.values.end(), mean->begin(), mean->end());
    return result;
}

constexpr std::int64_t k31 = std::int64_t{1} << 31U;
constexpr std::int64_t k32 = std::int64_t{1} << 32U;

// The boundaries fall into the middle of the run.
TEST(Counters, OfEqualAnglesPassEvery32BitBoundaryUnnoticed)
{
    const RunResult expected = runFrom(1024, 0);
    ASSERT_GT(expected.events.size(), 10U);
    for (const std::int64_t first : {k31 - 64, k32 - 64, k32 + k31 - 64, 100 * k32 - 64})
        EXPECT_EQ(runFrom(first, 0), expected) << first;
}

TEST(Counters, OfEqualTimesPassEvery32BitBoundaryUnnoticed)
{
    const RunResult expected = runFrom(1024, 64);
    for (const std::int64_t first : {k31 - 64, k32 - 64, k32 + k31 - 64})
        EXPECT_EQ(runFrom(1024, first), expected) << first;
}

} // namespace
} // namespace Velmora::OrderTracking
