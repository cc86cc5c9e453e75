#include "analyzer_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Value = std::complex<float>;
using Flag = std::uint8_t AnalyzerParameters::*;

// --- which results exist

// N = 16, 8 order lines; 12 points of the time transform, 6 lines; 11 bins, 3 harmonics.
class AllocationRig : public AnalyzerRig {
public:
    explicit AllocationRig(std::int32_t mode = HARMOTRACK_MODE_ONE_REAL) : AnalyzerRig(mode)
    {
        analysis.timeLines = 6;
        orders = {1.0F, 2.0F, 2.5F};
    }

    // What was allocated, as "name rows x columns" or "name size", in the order of ResultStorage.
    std::string allocated(std::initializer_list<Flag> flags)
    {
        for (const Flag flag : flags) parameters.*flag = 1;
        initiate();
        const ResultStorage& r = analyzer.results();
        text_.clear();
        addHarmonics("harmonicsA", r.harmonicsA);
        addHarmonics("harmonicsB", r.harmonicsB);
        add("rowA", r.orderRowA);
        add("rowB", r.orderRowB);
        add("rowTwoSided", r.orderRowTwoSided);
        addTable("orderA", r.orderA);
        addTable("orderB", r.orderB);
        addTable("orderTwoSided", r.orderTwoSided);
        addTable("timeA", r.timeA);
        addTable("timeB", r.timeB);
        addTable("timeTwoSided", r.timeTwoSided);
        add("overallA", r.overallA);
        add("overallB", r.overallB);
        add("deltaHarmonicsA", r.deltaHarmonicsA);
        add("deltaHarmonicsB", r.deltaHarmonicsB);
        add("deltaSpectrumA", r.deltaSpectrumA);
        add("deltaSpectrumB", r.deltaSpectrumB);
        return text_;
    }

private:
    void addText(const std::string& what) { text_ += (text_.empty() ? "" : ", ") + what; }

    template <typename T>
    void add(const std::string& name, const std::vector<T>& values)
    {
        if (!values.empty()) addText(name + " " + std::to_string(values.size()));
    }

    void addTable(const std::string& name, const ResultStorage::BinWaterfall& table)
    {
        EXPECT_EQ(table.storage().size(), table.rows() * table.cols());
        EXPECT_EQ(table.counts().size(), table.rows());
        if (table.rows() != 0)
            addText(name + " " + std::to_string(table.rows()) + "x" + std::to_string(table.cols()));
    }

    void addHarmonics(const std::string& name, const HarmonicTable& table)
    {
        if (table.rows().empty()) return;
        EXPECT_EQ(table.counts().size(), table.rows()[0].size());
        addText(name + " " + std::to_string(table.rows().size()) + "x" +
                std::to_string(table.rows()[0].size()));
    }

    std::string text_;
};

std::string allocated(std::int32_t mode, std::initializer_list<Flag> flags)
{
    return AllocationRig(mode).allocated(flags);
}

TEST(Allocation, IsNoneWithoutFlags)
{
    EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_REAL, {}), "");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {}), "");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_COMPLEX, {}), "");
}

TEST(Allocation, OfTheOrderPathFollowsFromAnyOfItsFlags)
{
    const std::string one = "harmonicsA 3x11, rowA 8, orderA 11x8";
    const std::string two =
        "harmonicsA 3x11, harmonicsB 3x11, rowA 8, rowB 8, orderA 11x8, orderB 11x8";
    for (const Flag flag : {&AnalyzerParameters::binHarmonics,
                            &AnalyzerParameters::binOrderSpectrum,
                            &AnalyzerParameters::timeOrderSpectrum}) {
        EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_REAL, {flag}), one);
        EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {flag}), two);
        EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_COMPLEX, {flag}), one);
    }
    for (const Flag flag :
         {&AnalyzerParameters::binOrderTwoSided, &AnalyzerParameters::timeOrderTwoSided}) {
        EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_REAL, {flag}), one);
        EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_COMPLEX, {flag}), one);
    }
}

TEST(Allocation, OfTwoSidedOrderResultsIsForMode1)
{
    EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {&AnalyzerParameters::binOrderTwoSided}),
              "harmonicsA 3x11, harmonicsB 3x11, rowA 8, rowB 8, orderA 11x8, orderB 11x8, "
              "orderTwoSided 11x15");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {&AnalyzerParameters::timeOrderTwoSided}),
              "harmonicsA 3x11, harmonicsB 3x11, rowA 8, rowB 8, rowTwoSided 15, orderA 11x8, "
              "orderB 11x8");
}

TEST(Allocation, OfTheTimePathFollowsFromAnyOfItsFlags)
{
    const std::string one = "timeA 11x6, overallA 11";
    for (const Flag flag : {&AnalyzerParameters::binTimeSpectrum, &AnalyzerParameters::overall}) {
        EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_REAL, {flag}), one);
        EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {flag}),
                  "timeA 11x6, timeB 11x6, overallA 11, overallB 11");
        EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_COMPLEX, {flag}), one);
    }
    EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_REAL, {&AnalyzerParameters::binTimeTwoSided}), one);
    EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {&AnalyzerParameters::binTimeTwoSided}),
              "timeA 11x6, timeB 11x6, timeTwoSided 11x11, overallA 11, overallB 11");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_COMPLEX, {&AnalyzerParameters::binTimeTwoSided}), one);
}

TEST(Allocation, OfDeltaResultsFollowsFromTheirOwnFlags)
{
    EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_REAL, {&AnalyzerParameters::deltaHarmonics}),
              "deltaHarmonicsA 3");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {&AnalyzerParameters::deltaHarmonics}),
              "deltaHarmonicsA 3, deltaHarmonicsB 3");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_ONE_COMPLEX, {&AnalyzerParameters::deltaOrderSpectrum}),
              "deltaSpectrumA 8");
    EXPECT_EQ(allocated(HARMOTRACK_MODE_TWO_REAL, {&AnalyzerParameters::deltaOrderSpectrum}),
              "deltaSpectrumA 8, deltaSpectrumB 8");
}

TEST(Allocation, OfOrderResultsHasAllLinesOfATwoSidedSetup)
{
    AllocationRig rig(HARMOTRACK_MODE_ONE_COMPLEX);
    rig.analysis.twoSided = 1;
    EXPECT_EQ(rig.allocated({&AnalyzerParameters::binOrderSpectrum,
                             &AnalyzerParameters::binTimeSpectrum,
                             &AnalyzerParameters::deltaOrderSpectrum}),
              "harmonicsA 3x11, rowA 16, orderA 11x16, timeA 11x6, overallA 11, deltaSpectrumA 16");
    EXPECT_EQ(rig.analyzer.getOrderLines(), 16);
}

TEST(Allocation, OfASecondInitiateFollowsTheNewSizes)
{
    AllocationRig rig(HARMOTRACK_MODE_TWO_REAL);
    rig.allocated({&AnalyzerParameters::binHarmonics,
                   &AnalyzerParameters::overall,
                   &AnalyzerParameters::deltaOrderSpectrum});
    rig.order.maxOrder = 5;
    rig.order.orderResolution = 1.0F;
    rig.analysis.timeLines = 20;
    rig.binning.maxValue = 1100.0F;
    rig.orders = {1.0F};
    EXPECT_EQ(rig.allocated({}),
              "harmonicsA 1x2, harmonicsB 1x2, rowA 5, rowB 5, orderA 2x5, orderB 2x5, "
              "timeA 2x20, timeB 2x20, overallA 2, overallB 2, deltaSpectrumA 5, deltaSpectrumB 5");
    EXPECT_EQ(rig.analyzer.getOrderLines(), 5);
}

// Tables whose flags are clear stay as they were.
TEST(Allocation, OfASecondInitiateTakesNothingAway)
{
    AllocationRig rig;
    rig.allocated({&AnalyzerParameters::overall});
    rig.parameters.overall = 0;
    rig.binning.maxValue = 1100.0F;
    EXPECT_EQ(rig.allocated({&AnalyzerParameters::deltaHarmonics}),
              "timeA 11x6, overallA 11, deltaHarmonicsA 3");
}

TEST(Allocation, GivesEveryTableTheAveragingOfTheSetup)
{
    AllocationRig rig(HARMOTRACK_MODE_TWO_REAL);
    rig.analysis.averagingType = HARMOTRACK_AVERAGING_MEAN;
    rig.allocated({&AnalyzerParameters::binOrderTwoSided, &AnalyzerParameters::binTimeTwoSided});
    const ResultStorage& r = rig.analyzer.results();
    for (const auto* table :
         {&r.orderA, &r.orderB, &r.orderTwoSided, &r.timeA, &r.timeB, &r.timeTwoSided})
        EXPECT_EQ(table->averagingType(), 2U);
    for (const auto* table : {&r.harmonicsA, &r.harmonicsB}) EXPECT_EQ(table->averagingType(), 2U);
}

TEST(Allocation, BindsEveryTableOfTheHost)
{
    AllocationRig rig(HARMOTRACK_MODE_TWO_REAL);
    std::array<std::vector<float>, 6> cells;
    for (auto& table : cells) table.assign(std::size_t{11} * 15, 7.0F);
    rig.tables = {cells[0].data(),
                  cells[1].data(),
                  cells[2].data(),
                  cells[3].data(),
                  cells[4].data(),
                  cells[5].data()};
    rig.parameters.binOrderTwoSided = 1;
    rig.parameters.binTimeTwoSided = 1;
    rig.initiate();
    const ResultStorage& r = rig.analyzer.results();
    const std::array<const ResultStorage::BinWaterfall*, 6> tables = {
        &r.orderA, &r.orderB, &r.orderTwoSided, &r.timeA, &r.timeB, &r.timeTwoSided};
    for (std::size_t i = 0; i < 6; ++i) {
        EXPECT_EQ(tables[i]->external(), cells[i].data()) << i;
        EXPECT_THAT(tables[i]->storage(), IsEmpty()) << i;
        EXPECT_THAT(cells[i], Each(7.0F)) << i; // initiate clears nothing
    }
}

TEST(Allocation, BindsATableAnewAtEachInitiate)
{
    AllocationRig rig;
    std::vector<float> cells(88);
    rig.tables.binOrderA = cells.data();
    rig.parameters.binOrderSpectrum = 1;
    rig.initiate();
    rig.tables.binOrderA = nullptr;
    rig.initiate();
    EXPECT_EQ(rig.analyzer.results().orderA.external(), nullptr);
    EXPECT_THAT(rig.analyzer.results().orderA.storage(), SizeIs(88));
}

// --- harmonic records

// 0.25 / 0.5 and its odd multiples are halves, which go away from 0. Negative lines count from N =
// 16.
TEST(HarmonicRecords, HaveTheNearestLineAndKnowFractionalOrders)
{
    AnalyzerRig rig;
    rig.orders = {0.0F, 1.0F, 0.25F, 0.75F, 1.25F, 3.5F, -1.0F, -0.25F, -0.2F, 100.0F, 2.00001F};
    rig.initiate();
    const auto records = rig.analyzer.harmonics();
    const std::vector<std::int32_t> lines = {0, 2, 1, 2, 3, 7, 14, 15, 0, 200, 4};
    const std::vector<bool> fractional = {
        false, false, true, true, true, true, false, true, true, false, true};
    ASSERT_EQ(records.size(), lines.size());
    for (std::size_t h = 0; h < lines.size(); ++h) {
        EXPECT_EQ(records[h].order, rig.orders[h]);
        EXPECT_EQ(records[h].line, lines[h]) << rig.orders[h];
        EXPECT_EQ(records[h].fractional, fractional[h]) << rig.orders[h];
        EXPECT_EQ(records[h].startPosition, -1);
    }
}

// 0.25 / 0.1 is 2.5 in float; in double it would be 2.49999996.
TEST(HarmonicRecords, DivideInFloat)
{
    AnalyzerRig rig;
    rig.order.orderResolution = 0.1F;
    rig.orders = {0.25F};
    rig.initiate();
    EXPECT_EQ(rig.analyzer.harmonics()[0].line, 3);
}

TEST(HarmonicRecords, AreReadByInitiateAlone)
{
    AnalyzerRig rig;
    rig.orders = {1.0F, 2.0F};
    rig.initiate();
    rig.orders[0] = 3.0F;
    rig.order.harmonicOrders = nullptr;
    rig.analyzer.reset();
    EXPECT_EQ(rig.analyzer.harmonics()[0].order, 1.0F);
}

TEST(HarmonicRecords, StartAnewWithAnInitiate)
{
    AnalyzerRig rig;
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.5F};
    rig.prepare();
    rig.run(30, [](auto) { return AngleSample{.a = 1.0, .bin = 1300.0}; });
    ASSERT_EQ(rig.analyzer.harmonics()[0].startPosition, 7);
    rig.analyzer.initiate();
    EXPECT_EQ(rig.analyzer.harmonics()[0].startPosition, -1);
}

// --- a window that does not exist

TEST(UnknownWindow, FailsBeforeAnyResultStorageIsTouched)
{
    for (const std::int32_t window : {9, 100, -1}) {
        AllocationRig rig(HARMOTRACK_MODE_TWO_REAL);
        rig.analysis.windowType = window;
        for (std::size_t i = 0; i < sizeof rig.parameters; ++i)
            (&rig.parameters.binHarmonics)[i] = 1;
        try {
            rig.initiate();
            ADD_FAILURE() << window;
        } catch (const std::invalid_argument& error) {
            EXPECT_STREQ(error.what(), "Unsupported window type.");
        }
        EXPECT_THAT(rig.analyzer.harmonics(), IsEmpty());
        EXPECT_EQ(rig.analyzer.getOrderLines(), 0);
        EXPECT_EQ(rig.analyzer.results().orderA.rows(), 0U);
    }
}

// The transforms are set up whatever is asked for.
TEST(UnknownWindow, FailsWithoutFlagsToo)
{
    AnalyzerRig rig;
    rig.analysis.windowType = 9;
    EXPECT_THROW(rig.initiate(), std::invalid_argument);
}

TEST(UnknownWindow, LeavesAnObjectThatCanBeInitiatedAgain)
{
    AnalyzerRig rig;
    rig.parameters.timeOrderSpectrum = 1;
    rig.analysis.windowType = 9;
    EXPECT_THROW(rig.initiate(), std::invalid_argument);
    rig.analysis.windowType = 0;
    rig.prepare();
    rig.run(30, [](auto) { return AngleSample{.a = 3.0}; });
    EXPECT_EQ(rig.analyzer.results().orderRowA[0], 3.0F);
}

// --- reset

// A run of everything in mode 1, through all bins.
void runEverything(AnalyzerRig& rig, std::int64_t count = 120)
{
    for (std::int64_t i = 0; i < count; ++i) {
        const auto x = static_cast<double>(i);
        rig.addTime(2.0 + x, 3.0 - x);
        rig.addAngle({.a = 1.0 + x,
                      .b = 2.0 - x,
                      .bin = 1000.0 + 8.0 * x,
                      .frequency = 20.0,
                      .angle = 45.0 * static_cast<double>(i % 8),
                      .time = x / 160.0});
        rig.drain();
    }
}

class Reset : public testing::Test {
protected:
    Reset()
    {
        for (std::size_t i = 0; i < sizeof rig_.parameters; ++i)
            (&rig_.parameters.binHarmonics)[i] = 1;
        rig_.orders = {1.0F, 0.75F};
        rig_.analysis.averagingType = HARMOTRACK_AVERAGING_MEAN;
        rig_.analysis.deltaOnTime = 1;
        rig_.analysis.deltaSeconds = 0.3F;
        rig_.prepare();
    }

    template <typename T>
    static bool isZero(const std::vector<T>& values)
    {
        return std::all_of(values.begin(), values.end(), [](const T& x) { return x == T(); });
    }

    // Names of the results that hold anything but zeros.
    [[nodiscard]] std::string filled() const
    {
        const ResultStorage& r = rig_.analyzer.results();
        std::string text;
        const auto add = [&](const std::string& name, bool zero) {
            if (!zero) text += (text.empty() ? "" : " ") + name;
        };
        for (const auto& [name, table] :
             {std::pair("harmonicsA", &r.harmonicsA), std::pair("harmonicsB", &r.harmonicsB)})
            add(name,
                isZero(table->rows()[0]) && isZero(table->rows()[1]) && isZero(table->counts()));
        add("rowA", isZero(r.orderRowA));
        add("rowB", isZero(r.orderRowB));
        add("rowTwoSided", isZero(r.orderRowTwoSided));
        add("rowTime", r.orderRowTime == 0.0);
        for (const auto& [name, table] : {std::pair("orderA", &r.orderA),
                                          std::pair("orderB", &r.orderB),
                                          std::pair("orderTwoSided", &r.orderTwoSided),
                                          std::pair("timeA", &r.timeA),
                                          std::pair("timeB", &r.timeB),
                                          std::pair("timeTwoSided", &r.timeTwoSided)})
            add(name, isZero(table->storage()) && isZero(table->counts()));
        add("overallA", isZero(r.overallA));
        add("overallB", isZero(r.overallB));
        for (const auto& [name, mean] : {std::pair("deltaHarmonicsA", &r.deltaHarmonicsA),
                                         std::pair("deltaHarmonicsB", &r.deltaHarmonicsB),
                                         std::pair("deltaSpectrumA", &r.deltaSpectrumA),
                                         std::pair("deltaSpectrumB", &r.deltaSpectrumB)})
            add(name, isZero(*mean));
        add("deltaTime", r.deltaTime == 0.0);
        add("turns", rig_.analyzer.turnCount() == 0 && rig_.analyzer.lastTurnTime() == 0.0);
        return text;
    }

    AnalyzerRig rig_{HARMOTRACK_MODE_TWO_REAL};
};

// The rows of the second signal and of both are rewritten whole before they are announced.
TEST_F(Reset, ClearsEverythingButTwoOfTheOrderRows)
{
    runEverything(rig_);
    EXPECT_EQ(filled(),
              "harmonicsA harmonicsB rowA rowB rowTwoSided rowTime orderA orderB orderTwoSided "
              "timeA timeB timeTwoSided overallA overallB deltaHarmonicsA deltaHarmonicsB "
              "deltaSpectrumA deltaSpectrumB deltaTime turns");
    rig_.analyzer.reset();
    EXPECT_EQ(filled(), "rowB rowTwoSided");
}

TEST_F(Reset, LeavesSpeedBinnedValueOfTheLastBlockAndDirection)
{
    rig_.binning.direction = HARMOTRACK_DIRECTION_AUTOMATIC;
    runEverything(rig_);
    const double value = rig_.analyzer.blockBinValue();
    const float rpm = rig_.analyzer.rpm();
    const double time = rig_.analyzer.rpmTime();
    EXPECT_GT(value, 1000.0);
    EXPECT_EQ(rpm, 1200.0F);
    EXPECT_GT(time, 0.5);
    ASSERT_EQ(rig_.analyzer.binning().direction, HARMOTRACK_DIRECTION_RISING);

    rig_.analyzer.reset();

    EXPECT_EQ(rig_.analyzer.blockBinValue(), value);
    EXPECT_EQ(rig_.analyzer.rpm(), rpm);
    EXPECT_EQ(rig_.analyzer.rpmTime(), time);
    EXPECT_EQ(rig_.analyzer.binning().direction, HARMOTRACK_DIRECTION_RISING);
    EXPECT_EQ(rig_.analyzer.binning().currentBin, -1);
    EXPECT_EQ(rig_.analyzer.binning().lastValue, 0.0);
}

TEST_F(Reset, LeavesPendingSamplesToTheNewRun)
{
    runEverything(rig_);
    const std::int64_t processed = rig_.processed();
    rig_.analyzer.reset();
    EXPECT_EQ(rig_.processed(), processed);
    rig_.addAngle({.bin = 1300.0});
    rig_.drain();
    EXPECT_GT(rig_.processed(), processed);
}

// Old results are no results of the run: what is in the tables meanwhile stays.
TEST_F(Reset, ClearsNothingWhenNoResultHasComeSinceTheLast)
{
    std::vector<float> cells(std::size_t{11} * 8, 5.0F);
    rig_.tables.binOrderA = cells.data();
    rig_.initiate();
    rig_.analyzer.reset();
    EXPECT_THAT(cells, Each(5.0F)); // not the first reset: that was the fixture's
    runEverything(rig_);
    rig_.analyzer.reset();
    EXPECT_THAT(cells, Each(0.0F));
    cells.assign(cells.size(), 6.0F);
    rig_.analyzer.reset();
    EXPECT_THAT(cells, Each(6.0F));
}

TEST(FirstReset, AlwaysClears)
{
    AnalyzerRig rig;
    std::vector<float> cells(std::size_t{11} * 8, 5.0F);
    rig.tables.binOrderA = cells.data();
    rig.parameters.binOrderSpectrum = 1;
    rig.initiate();
    EXPECT_THAT(cells, Each(5.0F));
    rig.analyzer.reset();
    EXPECT_THAT(cells, Each(0.0F));
}

// Turns announce no result.
TEST(TurnsOfARunWithoutAResult, SurviveAReset)
{
    AnalyzerRig rig;
    rig.prepare();
    rig.run(30, [](auto i) {
        return AngleSample{.angle = 45.0 * static_cast<double>(i % 8),
                           .time = 0.5 * static_cast<double>(i)};
    });
    ASSERT_EQ(rig.analyzer.turnCount(), 2);
    rig.analyzer.reset();
    EXPECT_EQ(rig.analyzer.turnCount(), 2);
    EXPECT_EQ(rig.analyzer.lastTurnTime(), 8.0);
}

// After the reset the first block is the mean: the one round sample 61 has 7 times 3, 9 times 5.
TEST(DeltaOfANewRun, StartsItsMeanAnew)
{
    AnalyzerRig rig;
    rig.parameters.deltaOrderSpectrum = 1;
    rig.parameters.timeOrderSpectrum = 1; // a result, so that the reset clears
    rig.analysis.deltaOnTime = 1;
    rig.analysis.deltaSeconds = 1e9F;
    rig.prepare();
    rig.run(60, [](auto) { return AngleSample{.a = 3.0}; });
    rig.analyzer.reset();
    rig.run(20, [](auto) { return AngleSample{.a = 5.0}; });
    EXPECT_EQ(rig.analyzer.results().deltaSpectrumA[0], Value(66.0F / 16.0F));
}

// Periods are measured from 0 again, both of them.
TEST(DeltaOfANewRun, ForgetsTheLastRelease)
{
    AnalyzerRig rig;
    rig.parameters.deltaHarmonics = 1;
    rig.analysis.deltaOnTime = 1;
    rig.analysis.deltaOnBinChange = 1;
    rig.analysis.deltaSeconds = 100.0F;
    rig.prepare();
    const auto far = [](auto) { return AngleSample{.bin = 1300.0, .time = 500.0}; };
    EXPECT_THAT(rig.run(60, far), SizeIs(2)); // the time at once, the value at the first block
    rig.analyzer.reset();
    // the time at once; the value of the last block is released with it
    EXPECT_EQ(rig.run(1, far).front().what, "deltaHarmonics rpm more");
    rig.analyzer.reset();
    rig.analysis.deltaOnTime = 0;
    EXPECT_EQ(rig.run(1, far).front().what, "deltaHarmonics rpm more");
}

// --- a whole run again

TEST_F(Reset, IsFollowedByARunWithTheSameResults)
{
    rig_.parameters.deltaHarmonics = rig_.parameters.deltaOrderSpectrum = 0;
    rig_.angleSlots = 64;
    rig_.timeSlots = 64;
    rig_.prepare();
    const auto tables = [&] {
        std::vector<float> cells;
        const ResultStorage& r = rig_.analyzer.results();
        for (const auto* table : {&r.orderA, &r.orderB, &r.orderTwoSided})
            cells.insert(cells.end(), table->storage().begin(), table->storage().end());
        for (const auto& row : r.harmonicsB.rows())
            for (const Value& value : row) {
                cells.push_back(value.real());
                cells.push_back(value.imag());
            }
        return cells;
    };
    const auto run = [&] {
        // a whole number of laps ahead of the last run, whose rest is passed over
        ResampledBuffers ring = rig_.analyzer.getResampledBuffers();
        ring.processed = ring.written = 6400;
        ring.writeIndex = 0;
        rig_.analyzer.setResampledBuffers(ring);
        TimeBuffers time = rig_.analyzer.getTimeBuffers();
        time.written = 0;
        time.writeIndex = 0;
        rig_.analyzer.setTimeBuffers(time);
        rig_.analyzer.reset();
        rig_.events.clear();
        runEverything(rig_);
        return std::pair(rig_.events, tables());
    };
    const auto first = run();
    EXPECT_GT(first.first.size(), 10U);
    EXPECT_EQ(run(), first);
}

} // namespace
} // namespace Velmora::OrderTracking
