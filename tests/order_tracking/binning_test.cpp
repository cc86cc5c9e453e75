#include "order_tracking/binning.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {

// For the messages of failed tests.
std::ostream& operator<<(std::ostream& out, const BinningState& state)
{
    return out << "direction " << state.direction << ", raw " << state.rawBin << ", current "
               << state.currentBin << ", previous " << state.previousBin << ", last "
               << state.lastValue << (state.unlocked ? ", unlocked" : ", locked")
               << (state.binReady ? ", ready" : "");
}

namespace {

constexpr std::int32_t kCrossing = HARMOTRACK_BLOCK_AT_CROSSING;
constexpr std::int32_t kContiguous = HARMOTRACK_BLOCK_CONTIGUOUS;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// 11 bins with centres 1000, 1100 ... 2000. The band round a centre is 10 at a crossing, and 60 for
// ranges.
BinningSetup axis(std::int32_t direction = HARMOTRACK_DIRECTION_BOTH)
{
    BinningSetup setup{};
    setup.direction = direction;
    setup.minValue = 1000.0F;
    setup.maxValue = 2000.0F;
    setup.step = 100.0F;
    setup.hysteresisPercent = 10.0F;
    setup.scale = 1.0;
    return setup;
}

constexpr std::int32_t kBins = 11;

// A classifier on that axis.
struct Classifier {
    explicit Classifier(std::int32_t mode, std::int32_t direction = HARMOTRACK_DIRECTION_BOTH)
        : blockMode(mode), setup(axis(direction))
    {
    }

    BinningState& take(double value)
    {
        state.classifyBin(value, kBins, setup, blockMode);
        return state;
    }

    BinningState& take(const std::vector<double>& values)
    {
        for (const double value : values) take(value);
        return state;
    }

    // The bins that values enter one after the other; "." where the value enters none.
    std::string entered(const std::vector<double>& values)
    {
        std::string text;
        for (const double value : values) {
            const std::int32_t before = state.currentBin;
            take(value);
            const bool enters =
                blockMode == kCrossing ? state.binReady : state.currentBin != before;
            if (!text.empty()) text.push_back(' ');
            text.append(enters ? std::to_string(state.currentBin) : ".");
        }
        return text;
    }

    std::int32_t blockMode;
    BinningSetup setup;
    BinningState state;
};

TEST(Binning, NewStateHasNoBinNoDirectionAndNoLock)
{
    const BinningState state;
    EXPECT_EQ(state.direction, -1);
    EXPECT_EQ(state.rawBin, -1);
    EXPECT_EQ(state.currentBin, -1);
    EXPECT_EQ(state.previousBin, -1);
    EXPECT_EQ(state.lastValue, 0.0);
    EXPECT_TRUE(state.unlocked);
    EXPECT_FALSE(state.binReady);
}

TEST(Binning, ResetForgetsEverythingButTheDirection)
{
    BinningState state;
    state.direction = HARMOTRACK_DIRECTION_FALLING;
    state.rawBin = 1;
    state.currentBin = 2;
    state.previousBin = 3;
    state.lastValue = 4.0;
    state.unlocked = false;
    state.binReady = true;

    state.resetBinning();

    EXPECT_EQ(state.direction, HARMOTRACK_DIRECTION_FALLING);
    EXPECT_EQ(state.rawBin, -1);
    EXPECT_EQ(state.currentBin, -1);
    EXPECT_EQ(state.previousBin, -1);
    EXPECT_EQ(state.lastValue, 0.0);
    EXPECT_TRUE(state.unlocked);
    EXPECT_FALSE(state.binReady);
}

// --- the axis

class BinningAxis : public testing::TestWithParam<std::int32_t> {
protected:
    // rawBin of a single value.
    std::int32_t binOf(double value)
    {
        Classifier classifier(GetParam());
        return classifier.take(value).rawBin;
    }
};

INSTANTIATE_TEST_SUITE_P(EveryBlockMode, BinningAxis, testing::Values(0, 1, 2));

TEST_P(BinningAxis, BinsReachHalfAStepToEitherSideOfTheirCentres)
{
    EXPECT_EQ(binOf(1040.0), 0);
    EXPECT_EQ(binOf(std::nextafter(1050.0, 0.0)), 0);
    EXPECT_EQ(binOf(1050.0), 1);
    EXPECT_EQ(binOf(1060.0), 1);
    EXPECT_EQ(binOf(1949.0), 9);
    EXPECT_EQ(binOf(1950.0), 10);
}

// The quotient is cut towards 0, so bin 0 takes what would be bin -1 as well.
TEST_P(BinningAxis, FirstBinReachesOneAndAHalfStepsDown)
{
    EXPECT_EQ(binOf(949.0), 0);
    EXPECT_EQ(binOf(851.0), 0);
    EXPECT_EQ(binOf(std::nextafter(850.0, 1000.0)), 0);
    EXPECT_EQ(binOf(850.0), -1);
    EXPECT_EQ(binOf(0.0), -1);
}

TEST_P(BinningAxis, LastBinEndsHalfAStepAboveItsCentre)
{
    EXPECT_EQ(binOf(2000.0), 10);
    EXPECT_EQ(binOf(std::nextafter(2050.0, 0.0)), 10);
    EXPECT_EQ(binOf(2050.0), -1);
    EXPECT_EQ(binOf(1e9), -1);
}

TEST_P(BinningAxis, ValuesWithoutAQuotientIn32BitsAreOffTheAxis)
{
    for (const double value : {kNaN, kInfinity, -kInfinity, 1e300, -1e300, 3e11, -3e11}) {
        Classifier classifier(GetParam());
        classifier.take(1500.0);
        EXPECT_EQ(classifier.take(value).rawBin, -1) << value;
        EXPECT_EQ(classifier.state.currentBin, -1) << value;
    }
}

TEST_P(BinningAxis, StepOfZeroHasNoBins)
{
    for (const double value : {999.0, 1000.0, 1001.0, kNaN}) {
        Classifier classifier(GetParam());
        classifier.setup.step = 0.0F;
        EXPECT_EQ(classifier.take(value).rawBin, -1) << value;
    }
}

TEST_P(BinningAxis, ValueOffTheAxisResetsAndIsRemembered)
{
    for (const double value : {500.0, 3000.0, kInfinity}) {
        Classifier classifier(GetParam(), HARMOTRACK_DIRECTION_RISING);
        classifier.take({1490.0, 1510.0, 1620.0});

        const BinningState& state = classifier.take(value);

        EXPECT_EQ(state.lastValue, value);
        EXPECT_EQ(state.direction, HARMOTRACK_DIRECTION_RISING);
        EXPECT_EQ(state.rawBin, -1);
        EXPECT_EQ(state.currentBin, -1);
        EXPECT_EQ(state.previousBin, -1);
        EXPECT_TRUE(state.unlocked);
        EXPECT_FALSE(state.binReady);
    }
}

TEST_P(BinningAxis, EveryValueOnTheAxisIsRememberedAsTheLast)
{
    Classifier classifier(GetParam());
    for (const double value : {1234.5, 1234.5, 1195.0, 1900.0})
        EXPECT_EQ(classifier.take(value).lastValue, value);
}

// --- a block at each crossing

TEST(BinningAtCrossings, BinIsEnteredWhenItsCentreIsPassedNotItsEdge)
{
    Classifier classifier(kCrossing);
    EXPECT_EQ(classifier.entered({1040.0, 1060.0, 1099.0, 1100.0, 1101.0, 1140.0}), "0 . . . 1 .");
}

TEST(BinningAtCrossings, EdgeThatWasPassedShowsInTheRawBinAlone)
{
    Classifier classifier(kCrossing);
    const BinningState& state = classifier.take({1040.0, 1060.0});
    EXPECT_EQ(state.rawBin, 1);
    EXPECT_EQ(state.currentBin, 0);
    EXPECT_FALSE(state.binReady);
}

TEST(BinningAtCrossings, ValuesThatRiseFromBelowEnterTheFirstBinAboveItsCentre)
{
    Classifier classifier(kCrossing);
    EXPECT_EQ(classifier.entered({990.0, 995.0, 1000.0, 1000.5, 1002.0}), ". . . 0 .");
}

// Rising, a value on the centre has not passed it; falling, it has.
TEST(BinningAtCrossings, CentreItselfCountsAsPassedOnTheWayDownOnly)
{
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0, 1100.0, 1100.0}), ". . .");
    EXPECT_EQ(Classifier(kCrossing).entered({1160.0, 1100.0, 1100.0}), ". 1 .");
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0, 1100.0, std::nextafter(1100.0, 2000.0)}),
              ". . 1");
}

// The value before the first counts as 0, from which the first one rises.
TEST(BinningAtCrossings, FirstValueAboveTheCentreOfItsBinEntersIt)
{
    EXPECT_EQ(Classifier(kCrossing).entered({1110.0}), "1");
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0}), ".");
    EXPECT_EQ(Classifier(kCrossing).entered({1100.0}), ".");
}

TEST(BinningAtCrossings, LeapOverSeveralCentresEntersTheLastBinAlone)
{
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0, 1420.0}), ". 4");
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0, 1490.0}), ". .");
}

TEST(BinningAtCrossings, ValueWithinTheBandRoundTheLastCentreEntersNothing)
{
    Classifier classifier(kCrossing);
    EXPECT_EQ(classifier.entered({1090.0, 1105.0, 1095.0, 1105.0, 1100.0, 1109.0, 1091.0}),
              ". 1 . . . . .");
    EXPECT_FALSE(classifier.state.unlocked);
}

TEST(BinningAtCrossings, CentreIsCrossedAgainAfterTheBandWasLeft)
{
    Classifier classifier(kCrossing);
    EXPECT_EQ(classifier.entered({1090.0, 1105.0, 1111.0, 1099.0, 1095.0, 1089.0, 1101.0}),
              ". 1 . 1 . . 1");
}

// The value that leaves the band on the other side has passed the centre as well.
TEST(BinningAtCrossings, ValueThatLeapsFromOneSideOfTheBandToTheOtherEntersAtOnce)
{
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0, 1105.0, 1089.0, 1111.0}), ". 1 1 1");
}

// Exactly on the edge of the band the value is still within it.
TEST(BinningAtCrossings, BandIsLeftBeyondItsEdges)
{
    Classifier upper(kCrossing);
    EXPECT_FALSE(upper.take({1090.0, 1105.0, 1110.0}).unlocked);
    EXPECT_TRUE(upper.take(std::nextafter(1110.0, 2000.0)).unlocked);
    Classifier lower(kCrossing);
    EXPECT_FALSE(lower.take({1160.0, 1100.0, 1090.0}).unlocked);
    EXPECT_TRUE(lower.take(std::nextafter(1090.0, 0.0)).unlocked);
}

// A leap out of the band and over another centre is one classification.
TEST(BinningAtCrossings, ValueThatLeavesTheBandMayEnterABinAtOnce)
{
    Classifier classifier(kCrossing);
    EXPECT_EQ(classifier.entered({1090.0, 1105.0, 1201.0}), ". 1 2");
    EXPECT_EQ(classifier.state.previousBin, 1);
    EXPECT_EQ(classifier.state.currentBin, 2);
}

// step * 1 per cent in float: 0.1F * 1 / 100 is 0.001000000047, where double would say 0.001.
TEST(BinningAtCrossings, BandIsAFloat)
{
    Classifier classifier(kCrossing);
    classifier.setup.minValue = 0.0F;
    classifier.setup.step = 0.1F;
    classifier.setup.hysteresisPercent = 1.0F;
    const auto band = static_cast<double>(0.1F * 1.0F / 100.0F);
    classifier.take({-0.01, 0.0005});
    ASSERT_EQ(classifier.state.currentBin, 0);
    EXPECT_FALSE(classifier.take(band).unlocked);
    EXPECT_TRUE(classifier.take(std::nextafter(band, 1.0)).unlocked);
}

TEST(BinningAtCrossings, WithoutHysteresisTheLastCentreItselfIsTheBand)
{
    Classifier classifier(kCrossing);
    classifier.setup.hysteresisPercent = 0.0F;
    EXPECT_EQ(classifier.entered({1090.0, 1101.0, 1100.0, 1099.0, 1101.0}), ". 1 . . 1");
    EXPECT_EQ(Classifier(kCrossing).entered({1090.0, 1101.0, 1099.0, 1101.0}), ". 1 . .");
}

TEST(BinningAtCrossings, ReadinessAndPreviousBinLastForOneValue)
{
    Classifier classifier(kCrossing);
    classifier.take({1090.0, 1105.0});
    EXPECT_TRUE(classifier.state.binReady);
    EXPECT_EQ(classifier.state.previousBin, -1);
    classifier.take(1106.0);
    EXPECT_FALSE(classifier.state.binReady);
    EXPECT_EQ(classifier.state.previousBin, 1);
    classifier.take(1204.0);
    EXPECT_TRUE(classifier.state.binReady);
    EXPECT_EQ(classifier.state.previousBin, 1);
    classifier.take(1220.0);
    EXPECT_FALSE(classifier.state.binReady);
    EXPECT_EQ(classifier.state.previousBin, 2);
}

TEST(BinningAtCrossings, RisingDirectionTakesNoFallingCrossing)
{
    Classifier classifier(kCrossing, HARMOTRACK_DIRECTION_RISING);
    EXPECT_EQ(classifier.entered({1150.0, 1090.0, 1120.0, 1080.0, 1205.0, 1150.0, 1100.0}),
              ". . 1 . 2 . .");
}

TEST(BinningAtCrossings, FallingDirectionTakesNoRisingCrossing)
{
    Classifier classifier(kCrossing, HARMOTRACK_DIRECTION_FALLING);
    EXPECT_EQ(classifier.entered({1150.0, 1090.0, 1120.0, 1080.0, 1205.0, 1150.0, 1199.0}),
              ". 1 . 1 . 2 .");
}

TEST(BinningAtCrossings, AnyOtherDirectionTakesBoth)
{
    for (const std::int32_t direction : {0, 4, -1, -7}) {
        Classifier classifier(kCrossing, direction);
        EXPECT_EQ(classifier.entered({1150.0, 1090.0, 1120.0, 1080.0, 1105.0}), ". 1 1 1 .")
            << direction;
        EXPECT_EQ(classifier.state.direction, direction);
    }
}

// A NaN resets and stays the last value, which is neither above nor below any centre.
TEST(BinningAtCrossings, NothingIsCrossedFromANaN)
{
    Classifier classifier(kCrossing);
    EXPECT_EQ(classifier.entered({1090.0, kNaN, 1120.0, 1080.0}), ". . . 1");
}

TEST(BinningAtCrossings, NothingUnlocksWithAHysteresisThatIsNoNumber)
{
    Classifier classifier(kCrossing);
    classifier.setup.hysteresisPercent = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(classifier.entered({1090.0, 1105.0, 1205.0, 1905.0}), ". 1 . .");
}

// --- ranges

TEST(BinningOfRanges, FirstValueEntersItsBin)
{
    Classifier classifier(kContiguous);
    const BinningState& state = classifier.take(1234.0);
    EXPECT_EQ(state.currentBin, 2);
    EXPECT_EQ(state.previousBin, -1);
    EXPECT_TRUE(state.binReady);
    EXPECT_FALSE(state.unlocked);
}

TEST(BinningOfRanges, ValuesUpToTheBandStayInTheBin)
{
    Classifier classifier(kContiguous);
    EXPECT_EQ(classifier.entered({1200.0, 1249.0, 1250.0, 1260.0, 1140.0, 1261.0}), "2 . . . . 3");
}

TEST(BinningOfRanges, RawBinMovesOnWithinTheBand)
{
    Classifier classifier(kContiguous);
    const BinningState& state = classifier.take({1200.0, 1255.0});
    EXPECT_EQ(state.rawBin, 3);
    EXPECT_EQ(state.currentBin, 2);
    EXPECT_FALSE(state.unlocked);
    EXPECT_TRUE(state.binReady);
}

// 12.5 % of a step and half a step: 62.5.
TEST(BinningOfRanges, BandIsLeftBeyondItsEdges)
{
    const auto entered = [](double value) {
        Classifier classifier(kContiguous);
        classifier.setup.hysteresisPercent = 12.5F;
        return classifier.entered({1200.0, value});
    };
    EXPECT_EQ(entered(1262.5), "2 .");
    EXPECT_EQ(entered(std::nextafter(1262.5, 2000.0)), "2 3");
    EXPECT_EQ(entered(1137.5), "2 .");
    EXPECT_EQ(entered(std::nextafter(1137.5, 0.0)), "2 1");
}

// (1 per cent / 100 + 0.5) * 0.1 in float is 0.0510000028, where double would say 0.051.
TEST(BinningOfRanges, BandIsAFloat)
{
    Classifier classifier(kContiguous);
    classifier.setup.minValue = 0.0F;
    classifier.setup.step = 0.1F;
    classifier.setup.hysteresisPercent = 1.0F;
    const auto band = static_cast<double>((1.0F / 100.0F + 0.5F) * 0.1F);
    classifier.take(0.0);
    EXPECT_FALSE(classifier.take(band).unlocked);
    EXPECT_EQ(classifier.take(std::nextafter(band, 1.0)).currentBin, 1);
}

// The band may reach further than the next bin does.
TEST(BinningOfRanges, HysteresisAboveHalfAStepPassesOverBins)
{
    Classifier classifier(kContiguous);
    classifier.setup.hysteresisPercent = 120.0F;
    EXPECT_EQ(classifier.entered({1200.0, 1370.0, 1371.0, 1201.0, 1199.0}), "2 . 4 2 .");
}

TEST(BinningOfRanges, PreviousBinDiffersDuringTheMoveAlone)
{
    Classifier classifier(kContiguous);
    classifier.take({1200.0, 1210.0});
    EXPECT_EQ(classifier.state.previousBin, 2);
    classifier.take(1280.0);
    EXPECT_EQ(classifier.state.previousBin, 2);
    EXPECT_EQ(classifier.state.currentBin, 3);
    classifier.take(1280.0);
    EXPECT_EQ(classifier.state.previousBin, 3);
    EXPECT_EQ(classifier.state.currentBin, 3);
}

TEST(BinningOfRanges, EveryValueOnTheAxisIsReady)
{
    Classifier classifier(kContiguous, HARMOTRACK_DIRECTION_RISING);
    for (const double value : {1200.0, 1210.0, 1280.0, 1100.0, 900.0, 1999.0}) {
        EXPECT_TRUE(classifier.take(value).binReady) << value;
    }
}

TEST(BinningOfRanges, FallingValueNeverMovesARisingBinBack)
{
    Classifier classifier(kContiguous, HARMOTRACK_DIRECTION_RISING);
    classifier.take({1400.0, 1200.0});
    EXPECT_EQ(classifier.state.currentBin, 4);
    EXPECT_EQ(classifier.state.previousBin, 4);
    EXPECT_TRUE(classifier.state.unlocked);
    EXPECT_TRUE(classifier.state.binReady);
    EXPECT_EQ(classifier.entered({1100.0, 1400.0, 1449.0, 1450.0}), ". . . 5");
}

TEST(BinningOfRanges, RisingValueNeverMovesAFallingBinUp)
{
    Classifier classifier(kContiguous, HARMOTRACK_DIRECTION_FALLING);
    EXPECT_EQ(classifier.entered({1400.0, 1600.0, 1400.0, 1351.0, 1349.0}), "4 . . . 3");
}

// Once unlocked, a value back in the bin does not lock again: the next edge counts, not the band.
TEST(BinningOfRanges, BinThatWasLeftAndReenteredStaysUnlocked)
{
    Classifier classifier(kContiguous, HARMOTRACK_DIRECTION_RISING);
    EXPECT_EQ(classifier.entered({1400.0, 1330.0, 1400.0, 1450.0}), "4 . . 5");
    EXPECT_EQ(Classifier(kContiguous).entered({1400.0, 1450.0}), "4 .");
}

TEST(BinningOfRanges, FirstValueEntersItsBinWhateverTheDirection)
{
    for (const std::int32_t direction : {0, 1, 2, 3, 4, -1}) {
        Classifier classifier(kContiguous, direction);
        EXPECT_EQ(classifier.take(1300.0).currentBin, 3) << direction;
    }
}

// With no bin left there is none to flush a block into.
TEST(BinningOfRanges, ReturnToTheAxisEntersABinWithNoPreviousOne)
{
    Classifier classifier(kContiguous);
    classifier.take({1300.0, 2500.0, 1700.0});
    EXPECT_EQ(classifier.state.previousBin, -1);
    EXPECT_EQ(classifier.state.currentBin, 7);
}

// --- automatic direction

// 11 bins: the lower half is bins 0 to 4.
TEST(BinningDirection, AutomaticRisesFromTheLowerHalfAndFallsFromTheUpper)
{
    for (const std::int32_t blockMode : {0, 1, 2}) {
        for (const double value : {860.0, 1000.0, 1449.0}) {
            Classifier classifier(blockMode, HARMOTRACK_DIRECTION_AUTOMATIC);
            EXPECT_EQ(classifier.take(value).direction, HARMOTRACK_DIRECTION_RISING) << value;
        }
        for (const double value : {1450.0, 1500.0, 2049.0}) {
            Classifier classifier(blockMode, HARMOTRACK_DIRECTION_AUTOMATIC);
            EXPECT_EQ(classifier.take(value).direction, HARMOTRACK_DIRECTION_FALLING) << value;
        }
    }
}

TEST(BinningDirection, OneBinHasNoLowerHalf)
{
    BinningState state;
    state.classifyBin(1000.0, 1, axis(HARMOTRACK_DIRECTION_AUTOMATIC), kContiguous);
    EXPECT_EQ(state.direction, HARMOTRACK_DIRECTION_FALLING);
}

TEST(BinningDirection, AutomaticStandsUntilTheValueHasLeftTheAxis)
{
    for (const std::int32_t blockMode : {0, 1}) {
        Classifier classifier(blockMode, HARMOTRACK_DIRECTION_AUTOMATIC);
        classifier.take({1900.0, 1500.0, 1100.0, 1000.0});
        EXPECT_EQ(classifier.state.direction, HARMOTRACK_DIRECTION_FALLING);
        classifier.take(500.0);
        EXPECT_EQ(classifier.state.direction, HARMOTRACK_DIRECTION_FALLING);
        classifier.take(1000.0);
        EXPECT_EQ(classifier.state.direction, HARMOTRACK_DIRECTION_RISING);
    }
}

TEST(BinningDirection, FallingRunEntersNoBinOnTheWayUp)
{
    Classifier classifier(kContiguous, HARMOTRACK_DIRECTION_AUTOMATIC);
    EXPECT_EQ(classifier.entered({1900.0, 1700.0, 1900.0, 1690.0, 1600.0}), "9 7 . . 6");
}

// The setup is looked at again only where a run on the axis begins.
TEST(BinningDirection, SetupCountsAtTheFirstValueAlone)
{
    Classifier classifier(kContiguous, HARMOTRACK_DIRECTION_RISING);
    classifier.take(1500.0);
    classifier.setup.direction = HARMOTRACK_DIRECTION_FALLING;
    EXPECT_EQ(classifier.take(1600.0).direction, HARMOTRACK_DIRECTION_RISING);
    classifier.state.resetBinning();
    EXPECT_EQ(classifier.state.direction, HARMOTRACK_DIRECTION_RISING);
    EXPECT_EQ(classifier.take(1600.0).direction, HARMOTRACK_DIRECTION_FALLING);
}

// --- no blocks

TEST(BinningWithoutBlocks, OnlyTheRawBinIsRenewed)
{
    for (const std::int32_t blockMode : {2, -1, 7}) {
        Classifier classifier(blockMode);
        classifier.take({1090.0, 1105.0, 1490.0, 1890.0});
        EXPECT_EQ(classifier.state.rawBin, 9);
        EXPECT_EQ(classifier.state.currentBin, -1);
        EXPECT_EQ(classifier.state.previousBin, -1);
        EXPECT_EQ(classifier.state.lastValue, 1890.0);
        EXPECT_TRUE(classifier.state.unlocked);
        EXPECT_FALSE(classifier.state.binReady);
    }
}

// --- the rules once more

// A second statement of the rules, as sentences about the past: which bin a value would be in, how
// far it is from the bin that counts, and whether it passed a centre. Floats where the axis is one.
struct Restated {
    int direction = -1;
    int raw = -1;
    int current = -1;
    int previous = -1;
    double last = 0.0;
    bool locked = false;
    bool ready = false;

    static float centre(int bin, const BinningSetup& setup)
    {
        float c = static_cast<float>(bin);
        c *= setup.step;
        c += setup.minValue;
        return c;
    }

    void take(double value, int bins, const BinningSetup& setup, int blockMode)
    {
        float half = setup.step;
        half *= 0.5F;
        double position = value - static_cast<double>(setup.minValue);
        position += static_cast<double>(half);
        position /= static_cast<double>(setup.step);
        const double bin = std::trunc(position);
        const bool onAxis = std::isfinite(bin) && bin >= 0.0 && bin <= bins - 1.0;
        if (!onAxis) {
            *this = {direction, -1, -1, -1, value, false, false};
            return;
        }
        if (raw < 0) {
            direction = setup.direction;
            if (direction == 3) direction = 2 * static_cast<int>(bin) < bins - bins % 2 ? 1 : 2;
        }
        raw = static_cast<int>(bin);
        if (blockMode == 0 || blockMode == 1)
            move(value, setup, blockMode == 1);
        else
            ready = false;
        last = value;
    }

    void move(double value, const BinningSetup& setup, bool ranges)
    {
        previous = current;
        ready = ranges;
        if (locked && withinBand(value, setup, ranges)) return;
        locked = false;
        const bool mayRise = direction != 2;
        const bool mayFall = direction != 1;
        const auto c = static_cast<double>(centre(raw, setup));
        const bool enters =
            ranges ? current < 0 || (raw > current && mayRise) || (raw < current && mayFall)
                   : (last <= c && c < value && mayRise) || (value <= c && c < last && mayFall);
        if (!enters) return;
        current = raw;
        locked = true;
        ready = true;
    }

    [[nodiscard]] bool withinBand(double value, const BinningSetup& setup, bool ranges) const
    {
        float band = 0.0F;
        if (ranges) {
            band = setup.hysteresisPercent / 100.0F;
            band += 0.5F;
            band *= setup.step;
        } else {
            band = setup.step * setup.hysteresisPercent;
            band /= 100.0F;
        }
        const double off = static_cast<double>(centre(current, setup)) - value;
        return !(std::fabs(off) > static_cast<double>(band));
    }

    [[nodiscard]] bool agreesWith(const BinningState& state) const
    {
        const bool sameLast =
            last == state.lastValue || (last != last && state.lastValue != state.lastValue);
        return direction == state.direction && raw == state.rawBin && current == state.currentBin &&
               previous == state.previousBin && sameLast && locked == !state.unlocked &&
               ready == state.binReady;
    }
};

class RandomWalk {
public:
    RandomWalk(std::uint64_t seed, const BinningSetup& setup) : random_(seed), setup_(setup)
    {
        value_ = static_cast<double>(setup.minValue) + uniform() * 10.0 * step();
    }

    double uniform() { return std::uniform_real_distribution<double>(-1.0, 1.0)(random_); }

    int below(int bound) { return std::uniform_int_distribution<int>(0, bound - 1)(random_); }

    // Small moves, leaps, marks of the axis hit exactly, and now and then something off the axis.
    double next()
    {
        switch (below(12)) {
        case 0:
            value_ += 3.0 * uniform() * step();
            break;
        case 1: // a centre, an edge or the edge of a band
            value_ = static_cast<double>(setup_.minValue) +
                     std::round(static_cast<double>(below(120)) - 10.0) * step() / 10.0;
            break;
        case 2:
            value_ = static_cast<double>(setup_.minValue) + 11.0 * uniform() * step();
            break;
        case 3:
            if (below(20) == 0) return kNaN;
            if (below(20) == 0) return 1e200 * uniform();
            break;
        default:
            value_ += 0.3 * uniform() * step();
        }
        return value_;
    }

private:
    [[nodiscard]] double step() const { return static_cast<double>(setup_.step); }

    std::mt19937_64 random_;
    BinningSetup setup_;
    double value_ = 0.0;
};

BinningSetup drawnAxis(std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    const auto pick = [&](const auto& values) { return values[random() % values.size()]; };
    BinningSetup setup{};
    setup.direction = pick(std::array<int, 6>{0, 1, 2, 3, 4, -1});
    setup.minValue = pick(std::array<float, 4>{1000.0F, 0.0F, -3.3F, 0.1F});
    setup.step = pick(std::array<float, 4>{100.0F, 0.1F, 7.0F, 33.3F});
    setup.hysteresisPercent = pick(std::array<float, 6>{0.0F, 10.0F, 1.0F, 33.3F, 150.0F, -5.0F});
    return setup;
}

// 3000 walks of 200 values on drawn axes.
TEST(Binning, AgreesWithASecondStatementOfTheRulesOnRandomWalks)
{
    for (std::uint64_t seed = 1; seed <= 3000; ++seed) {
        const BinningSetup setup = drawnAxis(seed);
        RandomWalk walk(seed, setup);
        const int blockMode = walk.below(5) % 3;
        const int bins = 1 + walk.below(12);
        BinningState state;
        Restated rules;
        for (int i = 0; i < 200; ++i) {
            const double value = walk.next();
            const BinningState before = state;
            state.classifyBin(value, bins, setup, blockMode);
            rules.take(value, bins, setup, blockMode);
            ASSERT_TRUE(rules.agreesWith(state))
                << "seed " << seed << ", value " << i << ": " << value << "\nbefore: " << before
                << "\nafter:  " << state;
        }
    }
}

} // namespace
} // namespace Velmora::OrderTracking
