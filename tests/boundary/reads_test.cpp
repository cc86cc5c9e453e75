// The read functions: what they write, where, and when nothing.

#include "expectations.h"
#include "test_host.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <vector>

namespace Boundary {
namespace {

constexpr float kMark = 55.0F;

// An analyzer that has a result of every kind, of order 4 with amplitude 3, and 1.5 for the second.
class Reads : public testing::TestWithParam<int32_t> {
protected:
    explicit Reads(int32_t timeLines = 64) : host(GetParam())
    {
        host.hostTables = true;
        host.harmonicOrders = {1.0F, 4.0F};
        host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
        host.analysis.timeLines = timeLines;
        host.analysis.deltaOnTime = 1;
        host.analysis.deltaSeconds = 0.3F;
        host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
        host.start();
        host.run(
            record(crossing(tone(3.0, 4.0, 0.7), GetParam() == 1 ? tone(1.5, 4.0, 0.7) : silence()),
                   kCrossingSamples));
    }

    // One read into an array of marks: element by element whether it was written.
    using Read = std::function<void(float*, int32_t)>;

    static std::vector<float> readInto(const Read& read, int32_t which)
    {
        std::vector<float> array(4096, kMark);
        read(array.data(), which);
        return array;
    }

    // The family of reads by `which`, each with the element that holds order 4, or its level.
    struct Known {
        Read read;
        size_t first;   ///< first element that is written
        size_t count;   ///< elements that are written
        size_t element; ///< that holds order 4 or the level
        double perTone; ///< its value per amplitude
    };

    std::vector<Known> reads()
    {
        const AnalyzerHandle analyzer = host.handle();
        const auto row = static_cast<size_t>(kCrossedBin) * 64;
        return {
            {[=](float* a, int32_t w) { readOverall(analyzer, kCrossedBin, a, w); },
             2,
             1,
             2,
             std::sqrt(0.5)},
            {[=](float* a, int32_t w) { readOrderDomainBinWaterfall(analyzer, kCrossedBin, a, w); },
             row,
             64,
             row + 16,
             1.0},
            {[=, this](float* a, int32_t w) {
                 readOrderDomainTimeWaterfall(analyzer, a, &time, w);
             },
             0,
             64,
             16,
             1.0},
            {[=](float* a, int32_t w) { readOrderDomainHarmonic(analyzer, 1, kCrossedBin, a, w); },
             4,
             2,
             4,
             std::cos(0.7)},
            {[=, this](float* a, int32_t w) {
                 readOrderDomainHarmonicsTimeDelta(analyzer, a, &time, w);
             },
             0,
             4,
             2,
             std::cos(0.7)},
            {[=](float* a, int32_t w) { readOrderSpectrumTimeDelta(analyzer, a, w); },
             0,
             128,
             32,
             std::cos(0.7)},
            {[=](float* a, int32_t w) { readTimeDomainBinWaterfall(analyzer, kCrossedBin, a, w); },
             row,
             64,
             row + 16,
             1.0}};
    }

    Host host;
    double time = -1.0;
};

INSTANTIATE_TEST_SUITE_P(Mode, Reads, testing::ValuesIn(kModes));

TEST_P(Reads, WriteTheirOwnRowAndNothingElse)
{
    for (const Known& known : reads()) {
        for (const int32_t which : resultSets(GetParam())) {
            const std::vector<float> array = readInto(known.read, which);
            for (size_t i = 0; i < array.size(); ++i) {
                const bool isOwn = i >= known.first && i < known.first + known.count;
                EXPECT_EQ(array[i] != kMark, isOwn) << "element " << i;
            }
            EXPECT_NEAR(static_cast<double>(array[known.element]),
                        (which == 2 ? 1.5 : 3.0) * known.perTone,
                        1e-5);
        }
    }
}

TEST_P(Reads, WriteNothingForASignalThatDoesNotExist)
{
    const std::vector<int32_t> wrong =
        GetParam() == 1 ? std::vector<int32_t>{0} : std::vector<int32_t>{1, 2, 3, -1};
    for (const Known& known : reads()) {
        for (const int32_t which : wrong) {
            time = -1.0;
            EXPECT_EQ(readInto(known.read, which), std::vector<float>(4096, kMark));
            EXPECT_EQ(time, -1.0);
        }
    }
}

// Of two signals, 2 is the second and any other number but 0 the first.
TEST_P(Reads, AnyWhichButTwoReadsTheFirstOfTwoSignals)
{
    if (GetParam() != 1) return; // the truth above: nothing is read
    for (const Known& known : reads()) {
        for (const int32_t which : {3, -1, 100})
            EXPECT_EQ(readInto(known.read, which), readInto(known.read, 1));
        EXPECT_NE(readInto(known.read, 2), readInto(known.read, 1));
    }
}

// The one read that answers also for a signal that does not exist.
TEST_P(Reads, HarmonicOfABinIsZeroForASignalThatDoesNotExist)
{
    for (const int32_t which : {0, 1, 2, 3}) {
        const bool exists = (which == 0) == (GetParam() != 1);
        std::array<float, 4> value = {kMark, kMark, kMark, kMark};
        readOrderDomainHarmonicBin(host.handle(), 1, kCrossedBin, which, value.data());
        if (exists) {
            const double amplitude = which == 2 ? 1.5 : 3.0;
            EXPECT_NEAR(static_cast<double>(value[0]), amplitude * std::cos(0.7), 1e-5);
            EXPECT_NEAR(static_cast<double>(value[1]), amplitude * std::sin(0.7), 1e-5);
        } else {
            EXPECT_EQ(value[0], 0.0F);
            EXPECT_EQ(value[1], 0.0F);
        }
        EXPECT_EQ(value[2], kMark);
        EXPECT_EQ(value[3], kMark);
    }
}

TEST_P(Reads, ChangeNothing)
{
    for (const Known& known : reads()) {
        for (const int32_t which : resultSets(GetParam()))
            EXPECT_EQ(readInto(known.read, which), readInto(known.read, which));
    }
    EXPECT_EQ(host.turns().value, host.turns().value);
    const Call call = host.call();
    EXPECT_FALSE(call.hasResult());
}

TEST_P(Reads, TimesOfRowsAndDeltaMeansComeWithThem)
{
    for (const int32_t which : resultSets(GetParam())) {
        EXPECT_EQ(host.hopRow(which).time, (256.0 + 64.0) / 1024.0); // of the row at 384
        EXPECT_EQ(host.deltaHarmonics(which).time, 308.0 / 1024.0);  // the first above 0.3 s
    }
}

// ---- two-sided ----------------------------------------------------------------------------------

TEST_P(Reads, TwoSidedOrderRowsExistForTwoSignalsAlone)
{
    const std::vector<float> array = readInto(
        [&](float* a, int32_t) {
            readOrderDomainBinWaterfallTwoSided(host.handle(), kCrossedBin, a);
        },
        0);
    for (size_t i = 0; i < array.size(); ++i) {
        const bool isRow = GetParam() == 1 && i >= 2 * 127 && i < 3 * 127;
        EXPECT_EQ(array[i] != kMark, isRow) << "element " << i;
    }
}

TEST_P(Reads, TwoSidedOrderRowBySampleCountWritesItsTimeInEveryMode)
{
    const std::vector<float> array = readInto(
        [&](float* a, int32_t) { readOrderDomainTimeWaterfallTwoSided(host.handle(), a, &time); },
        0);
    for (size_t i = 0; i < array.size(); ++i)
        EXPECT_EQ(array[i] != kMark, GetParam() == 1 && i < 127) << "element " << i;
    EXPECT_EQ(time, (256.0 + 64.0) / 1024.0);
}

// The read of a two-sided frequency row takes cells of the two-sided order table, from the row of
// the bin on. With blocks of equal size that is the order row of the bin.
TEST_P(Reads, TwoSidedFrequencyRowIsReadFromTheOrderTable)
{
    const std::vector<float> array = readInto(
        [&](float* a, int32_t) {
            readTimeDomainBinWaterfallTwoSided(host.handle(), kCrossedBin, a);
        },
        0);
    for (size_t i = 0; i < array.size(); ++i) {
        const bool isRow = GetParam() == 1 && i >= 2 * 127 && i < 3 * 127;
        EXPECT_EQ(array[i], isRow ? host.orderTableTwoSided[i] : kMark) << "element " << i;
    }
}

// With a longer time block it runs on into the next rows, and ends with the order table.
class ReadsOfLongTimeBlocks : public Reads {
protected:
    ReadsOfLongTimeBlocks() : Reads(128) {}
};

INSTANTIATE_TEST_SUITE_P(Mode, ReadsOfLongTimeBlocks, testing::Values(1));

TEST_P(ReadsOfLongTimeBlocks, TwoSidedFrequencyRowRunsOnThroughTheOrderTableToItsEnd)
{
    std::vector<float>& table = host.orderTableTwoSided; // 11 rows of 127, the host's own
    for (size_t i = 0; i < table.size(); ++i) table[i] = static_cast<float>(i) + 100.0F;
    for (const size_t bin : {0U, 2U, 9U, 10U}) {
        const std::vector<float> array = readInto(
            [&](float* a, int32_t) {
                readTimeDomainBinWaterfallTwoSided(host.handle(), static_cast<int32_t>(bin), a);
            },
            0);
        const size_t count = std::min<size_t>(255, (11 - bin) * 127);
        for (size_t i = 0; i < array.size(); ++i) {
            const bool isOwn = i >= bin * 255 && i < bin * 255 + count;
            const float expected = isOwn ? table[bin * 127 + (i - bin * 255)] : kMark;
            EXPECT_EQ(array[i], expected) << "bin " << bin << ", element " << i;
        }
    }
}

// Without a two-sided time table its rows have no columns: nothing is copied.
TEST(ReadsWithout, TwoSidedFrequencyFlagCopyNoCell)
{
    Host host(1);
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binOrderTwoSided = 1;
    host.start();
    host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples));
    std::vector<float> array(4096, kMark);
    readTimeDomainBinWaterfallTwoSided(host.handle(), kCrossedBin, array.data());
    EXPECT_EQ(array, std::vector<float>(4096, kMark));
}

TEST(ReadsWithout, TwoSidedOrderFlagCopyNoCell)
{
    Host host(1);
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binTimeTwoSided = 1;
    host.start();
    host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples));
    std::vector<float> array(4096, kMark);
    readTimeDomainBinWaterfallTwoSided(host.handle(), kCrossedBin, array.data());
    readOrderDomainBinWaterfallTwoSided(host.handle(), kCrossedBin, array.data());
    EXPECT_EQ(array, std::vector<float>(4096, kMark));
}

} // namespace
} // namespace Boundary
