// When blocks are taken and what they span: order rows by sample count, blocks at crossings,
// contiguous blocks and flushing ones. The shaft turns steadily at 32 Hz with 32 samples a
// revolution, so sample k stands at k / 1024 s; N = 128.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <numeric>
#include <ostream>
#include <vector>

namespace Boundary {
namespace {

class Blocks : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Blocks, testing::ValuesIn(kModes));

// Sample k has the value 1 + k / 100: through a rectangular window line 0 of a block that begins at
// sample s reads the mean of that, 1 + (s + 63.5) / 100.
Signal slope()
{
    return [](const Instant& now) { return 1.0 + now.revolutions * 32.0 / 100.0; };
}

double startOf(double mean)
{
    return std::round((mean - 1.0) * 100.0 - 63.5);
}

Machine steady(Signal binSignal)
{
    return {Shaft{}, slope(), silence(), std::move(binSignal)};
}

std::vector<int64_t> samplesOf(const std::vector<Outcome>& outcomes)
{
    std::vector<int64_t> samples;
    samples.reserve(outcomes.size());
    for (const Outcome& outcome : outcomes)
        samples.push_back(std::llround(outcome.rpmTime * 1024.0));
    return samples;
}

std::vector<int32_t> binsOf(const std::vector<Outcome>& outcomes)
{
    std::vector<int32_t> bins;
    bins.reserve(outcomes.size());
    for (const Outcome& outcome : outcomes) bins.push_back(outcome.bin);
    return bins;
}

struct Block {
    int64_t sample; ///< at which it was taken
    int32_t bin;
    double start; ///< its first sample

    bool operator==(const Block&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Block& block)
{
    return out << "{" << block.sample << ", " << block.bin << ", " << block.start << "}";
}

// All blocks of a run, one delivery a sample so that each is read before the next.
enum class Ring { EqualAngle, EqualTime };

std::vector<Block> blocksOf(Host& host, const Recording& recording, Ring ring)
{
    std::vector<Block> blocks;
    for (int64_t k = 0; k < recording.samples(); ++k) {
        host.feed(recording, 1);
        for (;;) {
            const Call call = host.call();
            if (call.hasResult()) {
                const auto set = host.firstSet();
                const std::vector<double> row = ring == Ring::EqualAngle
                                                    ? host.orderRow(call.bin, set)
                                                    : host.timeRow(call.bin, set);
                blocks.push_back(
                    {std::llround(host.speed().time * 1024.0), call.bin, startOf(row[0])});
            }
            if (call.consumed) break;
        }
    }
    return blocks;
}

// ---- order rows by sample count -----------------------------------------------------------------

std::vector<int64_t> hopsOf(Host& host, float overlapPercent, int64_t samples)
{
    host.analysis.overlapPercent = overlapPercent;
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    return samplesOf(host.run(record(steady(constant(0.0)), samples)));
}

TEST_P(Blocks, OrderRowsWithoutOverlapLieEdgeToEdge)
{
    Host host(GetParam());
    EXPECT_EQ(hopsOf(host, 0.0F, 600), (std::vector<int64_t>{128, 256, 384, 512}));
}

TEST_P(Blocks, OrderRowsOverlapAsAskedFor)
{
    Host half(GetParam());
    EXPECT_EQ(hopsOf(half, 50.0F, 400), (std::vector<int64_t>{128, 192, 256, 320}));
    Host most(GetParam()); // a hop of 12.8 rounds to 13
    EXPECT_EQ(hopsOf(most, 90.0F, 240), (std::vector<int64_t>{128, 141, 154, 167}));
}

TEST_P(Blocks, FullOverlapMakesARowAtEverySample)
{
    Host host(GetParam());
    std::vector<int64_t> every(72);
    std::iota(every.begin(), every.end(), 128);
    EXPECT_EQ(hopsOf(host, 100.0F, 264), every);
}

// A row spans the N samples before the one that it is made at, and carries the time of its middle.
TEST_P(Blocks, OrderRowIsThatOfTheSamplesBeforeAndHasTheTimeOfItsMiddle)
{
    Host host(GetParam());
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    EXPECT_EQ(hopsOf(host, 0.0F, 350), (std::vector<int64_t>{128, 256}));
    const Stamped<std::vector<double>> row = host.hopRow(host.firstSet());
    EXPECT_EQ(startOf(row.value[0]), 128.0);
    EXPECT_EQ(row.time, (128.0 + 64.0) / 1024.0);
}

TEST_P(Blocks, OrderRowsCarryNoBinAndRaiseNoSpeed)
{
    Host host(GetParam());
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    const auto outcomes = host.run(record(steady(constant(1200.0)), 350));
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[0].flags, flags({TimeOrderSpectrum}));
    EXPECT_EQ(outcomes[0].bin, -1);
    EXPECT_FALSE(outcomes[0].rpmUpdated);
}

// The rows of bins are not the rows by sample count.
TEST_P(Blocks, OrderRowsAreNotFiledUnderABin)
{
    Host host(GetParam());
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    host.run(record(steady(constant(1200.0)), 350));
    EXPECT_EQ(host.orderRow(kCrossedBin, host.firstSet()), std::vector<double>(64));
}

// ---- at crossings -------------------------------------------------------------------------------

TEST_P(Blocks, BinThatIsNotCrossedAtItsCentreGetsNoBlock)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binTimeSpectrum = 1;
    host.start();
    // From below the centre of bin 1 to below that of bin 2, then off the axis beyond bin 10.
    const Machine machine = steady([](const Instant& now) {
        if (now.seconds < 0.25) return 1080.0;
        return now.seconds < 0.5 ? 1180.0 : 2100.0;
    });
    const auto outcomes = host.run(record(machine, 1200));
    EXPECT_TRUE(outcomes.empty());
}

TEST_P(Blocks, DirectionDecidesWhichCrossingsCount)
{
    // Up through 1200 at sample 256, down at 512, up at 768.
    const Signal upDownUp = [](const Instant& now) {
        const auto quarter = static_cast<int32_t>(now.seconds * 4.0);
        return quarter % 2 == 0 ? 1150.5 : 1249.5;
    };
    const auto crossed = [&](int32_t direction) {
        Host host(GetParam());
        host.binning.direction = direction;
        host.parameters.binOrderSpectrum = 1;
        host.start();
        return samplesOf(host.run(record(steady(upDownUp), 1000)));
    };
    using Samples = std::vector<int64_t>;
    EXPECT_EQ(crossed(HARMOTRACK_DIRECTION_BOTH), (Samples{256, 512, 768}));
    EXPECT_EQ(crossed(HARMOTRACK_DIRECTION_RISING), (Samples{256, 768}));
    EXPECT_EQ(crossed(HARMOTRACK_DIRECTION_FALLING), (Samples{512}));
    EXPECT_EQ(crossed(HARMOTRACK_DIRECTION_AUTOMATIC), (Samples{256, 768})); // the lower half
    EXPECT_EQ(crossed(7), (Samples{256, 512, 768}));
}

// Half a block must lie before the crossing.
TEST_P(Blocks, CrossingBeforeHalfABlockGivesNoOrderBlock)
{
    for (const int64_t sample : {63, 64}) {
        Host host(GetParam());
        host.parameters.binOrderSpectrum = 1;
        host.start();
        const auto outcomes = host.run(record(
            steady(stepAt((static_cast<double>(sample) - 0.5) / 32.0, 1180.0, 1220.0)), 300));
        EXPECT_EQ(outcomes.size(), sample < 64 ? 0U : 1U);
    }
}

// The time block would begin before the first sample: it is older than the ring's content.
TEST_P(Blocks, CrossingBeforeHalfATimeBlockGivesNoTimeBlock)
{
    for (const int64_t sample : {63, 64}) {
        Host host(GetParam());
        host.parameters.binTimeSpectrum = 1;
        host.start();
        const auto outcomes = host.run(record(
            steady(stepAt((static_cast<double>(sample) - 0.5) / 32.0, 1180.0, 1220.0)), 300));
        EXPECT_EQ(outcomes.size(), sample < 64 ? 0U : 1U);
    }
}

// A value that leaves the ring before its turn comes is skipped: here the time block began 128
// samples before a ring of 300 that 512 samples were written into.
TEST_P(Blocks, TimeBlockOlderThanTheRingIsSkipped)
{
    Host host(GetParam());
    host.timeSlots = 300;
    host.ringFill = 0.0;
    host.parameters.binTimeSpectrum = 1;
    host.start();
    const Recording recording = record(crossing(slope()), 512);
    host.feed(recording, 256, 256);
    EXPECT_TRUE(host.drain().empty());
    host.feed(recording, 256, 256);
    EXPECT_TRUE(host.drain().empty());
}

// ---- contiguous ---------------------------------------------------------------------------------

void startContiguous(Host& host)
{
    host.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    host.analysis.blockMode = HARMOTRACK_BLOCK_CONTIGUOUS;
    host.start();
}

// The first block is due with the sample that has N before it and itself; it is centred there.
TEST_P(Blocks, ContiguousOrderBlocksLieEdgeToEdge)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    startContiguous(host);
    const auto blocks = blocksOf(host, record(steady(constant(1200.0)), 600), Ring::EqualAngle);
    EXPECT_EQ(blocks,
              (std::vector<Block>{{127, 2, 63}, {255, 2, 191}, {383, 2, 319}, {511, 2, 447}}));
}

// A time block is due one block after the last, and begins half a block after it.
TEST_P(Blocks, ContiguousTimeBlocksLieEdgeToEdge)
{
    Host host(GetParam());
    host.parameters.binTimeSpectrum = 1;
    startContiguous(host);
    const auto blocks = blocksOf(host, record(steady(constant(1200.0)), 600), Ring::EqualTime);
    EXPECT_EQ(blocks,
              (std::vector<Block>{{128, 2, 64}, {256, 2, 192}, {384, 2, 320}, {512, 2, 448}}));
}

// At sample 300 the value moves from bin 2 to bin 3: the block in progress goes to bin 2, centred
// on the change, and the rhythm starts anew from there.
TEST_P(Blocks, ChangeOfBinFlushesTheOrderBlockIntoTheBinThatWasLeft)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    startContiguous(host);
    const Recording recording = record(steady(stepAt(299.5 / 32.0, 1200.0, 1300.0)), 640);
    EXPECT_EQ(blocksOf(host, recording, Ring::EqualAngle),
              (std::vector<Block>{
                  {127, 2, 63}, {255, 2, 191}, {300, 2, 236}, {427, 3, 363}, {555, 3, 491}}));
}

TEST_P(Blocks, ChangeOfBinFlushesTheTimeBlockIntoTheBinThatWasLeft)
{
    Host host(GetParam());
    host.parameters.binTimeSpectrum = 1;
    startContiguous(host);
    const Recording recording = record(steady(stepAt(299.5 / 32.0, 1200.0, 1300.0)), 640);
    EXPECT_EQ(blocksOf(host, recording, Ring::EqualTime),
              (std::vector<Block>{
                  {128, 2, 64}, {256, 2, 192}, {300, 2, 236}, {428, 3, 364}, {556, 3, 492}}));
}

TEST_P(Blocks, BlocksAcrossBinsFlushNothingAndGoToTheBinOfTheMoment)
{
    const Recording recording = record(steady(stepAt(299.5 / 32.0, 1200.0, 1300.0)), 500);
    Host order(GetParam());
    order.binning.blocksAcrossBins = 1;
    order.parameters.binOrderSpectrum = 1;
    startContiguous(order);
    EXPECT_EQ(blocksOf(order, recording, Ring::EqualAngle),
              (std::vector<Block>{{127, 2, 63}, {255, 2, 191}, {383, 3, 319}}));

    Host time(GetParam());
    time.binning.blocksAcrossBins = 1;
    time.parameters.binTimeSpectrum = 1;
    startContiguous(time);
    EXPECT_EQ(blocksOf(time, recording, Ring::EqualTime),
              (std::vector<Block>{{128, 2, 64}, {256, 2, 192}, {384, 3, 320}}));
}

// Both paths at the same sample make one result.
TEST_P(Blocks, FlushesOfBothPathsStandTogether)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binTimeSpectrum = 1;
    host.parameters.overall = 1;
    startContiguous(host);
    const auto outcomes = host.run(record(steady(stepAt(299.5 / 32.0, 1200.0, 1300.0)), 400));
    ASSERT_EQ(samplesOf(outcomes), (std::vector<int64_t>{127, 128, 255, 256, 300}));
    EXPECT_EQ(outcomes[0].flags, flags({BinOrderSpectrum}));
    EXPECT_EQ(outcomes[1].flags, flags({BinTimeSpectrum, Overall}));
    EXPECT_EQ(outcomes[4].flags, flags({BinOrderSpectrum, BinTimeSpectrum, Overall}));
}

// Off the axis from sample 300 to 719 nothing is filed; back on it nothing is flushed for bin 2,
// and three blocks are made up for, one a sample, into bin 3. The order blocks' start lies as far
// back as the rhythm has them. The time blocks too.
TEST_P(Blocks, BlocksOfAStretchOffTheAxisAreMadeUpForInTheBinOfTheReturn)
{
    const Signal offTheAxis = [](const Instant& now) {
        const double sample = now.revolutions * 32.0;
        if (sample < 299.5) return 1200.0;
        return sample < 719.5 ? 5000.0 : 1300.0;
    };
    const Recording recording = record(steady(offTheAxis), 840);
    Host order(GetParam());
    order.parameters.binOrderSpectrum = 1;
    startContiguous(order);
    EXPECT_EQ(blocksOf(order, recording, Ring::EqualAngle),
              (std::vector<Block>{{127, 2, 63},
                                  {255, 2, 191},
                                  {720, 3, 319},
                                  {721, 3, 447},
                                  {722, 3, 575},
                                  {767, 3, 703}}));

    Host time(GetParam());
    time.parameters.binTimeSpectrum = 1;
    startContiguous(time);
    EXPECT_EQ(blocksOf(time, recording, Ring::EqualTime),
              (std::vector<Block>{{128, 2, 64},
                                  {256, 2, 192},
                                  {720, 3, 320},
                                  {721, 3, 448},
                                  {722, 3, 576},
                                  {768, 3, 704}}));
}

// A fractional harmonic is turned back to the place where a block would lie that is centred on its
// sample; one that is made up for lies further back and lags by what its order gains in between.
TEST_P(Blocks, BlocksThatAreMadeUpForLagInFractionalPhase)
{
    Host host(GetParam());
    host.harmonicOrders = {2.5F};
    host.parameters.binHarmonics = 1;
    startContiguous(host);
    Machine machine = steady([](const Instant& now) {
        const double sample = now.revolutions * 32.0;
        if (sample < 299.5) return 1200.0;
        return sample < 719.5 ? 5000.0 : 1300.0;
    });
    machine.signalA = tone(1.0, 2.5, 0.4);
    const Recording recording = record(machine, 840);
    std::vector<double> phases;
    for (int64_t k = 0; k < recording.samples(); ++k) {
        host.feed(recording, 1);
        for (Call call = host.call(); call.hasResult(); call = host.call())
            phases.push_back(std::arg(host.harmonic(0, call.bin, host.firstSet())));
    }
    ASSERT_EQ(phases.size(), 6U);
    const std::vector<int32_t> lag = {0, 0, 720 - 64 - 319, 721 - 64 - 447, 722 - 64 - 575, 0};
    for (size_t i = 0; i < lag.size(); ++i) {
        const double expected = -2.0 * kPi * 2.5 * lag[i] / 32.0;
        EXPECT_NEAR(std::remainder(phases[i] - expected, 2.0 * kPi), 0.0, 1e-5) << i;
    }
}

// The start of the first block is counted as written / sampleRate / rateDivider: with a divider of
// 2 and one second written before, at 0.25 s instead of 1 s. The six blocks between are made up for
// at once, then the rhythm of an eighth of a second holds.
TEST_P(Blocks, RateDividerStartsTheTimeBlocksOfALaterRunEarly)
{
    for (const int32_t divider : {1, 2}) {
        SCOPED_TRACE(divider);
        Host host(GetParam());
        host.sampleRate = 1024.0 * divider;
        host.rateDivider = divider;
        host.timeWritten = 1024;
        host.timeWriteIndex = 1024;
        host.ringFill = 0.0;
        host.parameters.binTimeSpectrum = 1;
        startContiguous(host);
        Machine machine = steady(constant(1200.0));
        machine.shaft.startSeconds = 1.0;
        const auto samples = samplesOf(host.run(record(machine, 400)));
        if (divider == 1)
            EXPECT_EQ(samples, (std::vector<int64_t>{1152, 1280}));
        else
            EXPECT_EQ(samples,
                      (std::vector<int64_t>{1024, 1025, 1026, 1027, 1028, 1029, 1152, 1280}));
    }
}

// ---- other modes of blocks ----------------------------------------------------------------------

TEST_P(Blocks, AnyOtherBlockModeFilesNothing)
{
    for (const int32_t blockMode : {2, -1}) {
        Host host(GetParam());
        host.analysis.blockMode = blockMode;
        host.harmonicOrders = {1.0F};
        host.parameters.binHarmonics = 1;
        host.parameters.binOrderSpectrum = 1;
        host.parameters.binTimeSpectrum = 1;
        host.parameters.overall = 1;
        host.start();
        EXPECT_TRUE(host.run(record(runUp(slope()), 3000)).empty());
    }
}

TEST_P(Blocks, AnyOtherBlockModeLeavesOrderRowsAndDeltaMeans)
{
    Host host(GetParam());
    host.analysis.blockMode = 2;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 0.4F;
    host.parameters.timeOrderSpectrum = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
    const auto outcomes = host.run(record(steady(constant(1200.0)), 600));
    EXPECT_EQ(samplesOf(outcomes), (std::vector<int64_t>{128, 256, 384, 410, 512}));
}

// ---- several results at one sample --------------------------------------------------------------

TEST_P(Blocks, CrossingAndOrderRowAtTheSameSampleStandTogether)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.parameters.timeOrderSpectrum = 1;
    host.start();
    const auto outcomes = host.run(record(crossing(slope()), 400)); // a row at 256 too
    ASSERT_EQ(samplesOf(outcomes), (std::vector<int64_t>{128, 256}));
    EXPECT_EQ(outcomes[1].flags, flags({BinOrderSpectrum, TimeOrderSpectrum}));
    EXPECT_EQ(outcomes[1].bin, kCrossedBin);
    EXPECT_TRUE(outcomes[1].rpmUpdated);
}

// Flags of two-sided results are announced as asked for, in modes without such rows too.
TEST_P(Blocks, TwoSidedFlagsAreAnnouncedAsAskedFor)
{
    Host host(GetParam());
    host.hostTables = true;
    host.parameters.binOrderSpectrum = 1;
    host.parameters.binOrderTwoSided = 1;
    host.parameters.binTimeSpectrum = 1;
    host.parameters.binTimeTwoSided = 1;
    host.parameters.timeOrderTwoSided = 1;
    host.start();
    const auto outcomes = host.run(record(crossing(slope()), 400));
    ASSERT_EQ(outcomes.size(), 2U);
    EXPECT_EQ(outcomes[0].flags, flags({TimeOrderTwoSided}));
    EXPECT_EQ(outcomes[1].flags,
              flags({BinOrderSpectrum,
                     BinOrderTwoSided,
                     TimeOrderTwoSided,
                     BinTimeSpectrum,
                     BinTimeTwoSided}));
    // no cell of the two-sided tables is touched where they do not exist
    if (GetParam() != 1) {
        EXPECT_EQ(host.orderTableTwoSided[0], 77.0F);
        EXPECT_EQ(host.timeTableTwoSided[0], 77.0F);
    }
}

// binOrderTwoSided alone asks for no block of a bin.
TEST_P(Blocks, TwoSidedOrderSpectrumComesBesideAnotherResultOfTheBin)
{
    Host host(GetParam());
    host.parameters.binOrderTwoSided = 1;
    host.start();
    EXPECT_TRUE(host.run(record(crossing(slope()), 400)).empty());
}

TEST_P(Blocks, TwoSidedFrequencySpectrumAsksForABlockByItself)
{
    Host host(GetParam());
    host.parameters.binTimeTwoSided = 1;
    host.start();
    const auto outcomes = host.run(record(crossing(slope()), 400));
    ASSERT_EQ(outcomes.size(), 1U);
    EXPECT_EQ(outcomes[0].flags, flags({BinTimeTwoSided}));
}

// ---- bins ---------------------------------------------------------------------------------------

// The bin that a steady value belongs to, -1 for none.
int32_t binOf(int32_t mode, double value)
{
    Host host(mode);
    host.parameters.binOrderSpectrum = 1;
    startContiguous(host);
    const auto outcomes = host.run(record(steady(constant(value)), 200));
    return outcomes.empty() ? -1 : outcomes[0].bin;
}

// The lowest bin reaches 1.5 steps below its centre, every other half a step; the highest ends half
// a step above its centre.
TEST_P(Blocks, ValueBelongsToTheBinOfTheNearestCentreAndTheLowestReachesFurtherDown)
{
    EXPECT_EQ(binOf(GetParam(), 850.0), -1);
    EXPECT_EQ(binOf(GetParam(), 850.5), 0);
    EXPECT_EQ(binOf(GetParam(), 1049.5), 0);
    EXPECT_EQ(binOf(GetParam(), 1050.0), 1);
    EXPECT_EQ(binOf(GetParam(), 2049.5), 10);
    EXPECT_EQ(binOf(GetParam(), 2050.0), -1);
    EXPECT_EQ(binOf(GetParam(), -1.0e30), -1);
    EXPECT_EQ(binOf(GetParam(), 1.0e30), -1);
    EXPECT_EQ(binOf(GetParam(), std::numeric_limits<double>::infinity()), -1);
    EXPECT_EQ(binOf(GetParam(), std::numeric_limits<double>::quiet_NaN()), -1);
}

// 10 % of 100 beyond the edge at half a step: bin 2 keeps values up to 1260.
TEST_P(Blocks, HysteresisKeepsAValueInItsBinBeyondTheEdge)
{
    for (const double value : {1255.0, 1260.0, 1260.5}) {
        Host host(GetParam());
        host.parameters.binOrderSpectrum = 1;
        startContiguous(host);
        const auto outcomes = host.run(record(steady(stepAt(299.5 / 32.0, 1200.0, value)), 500));
        const std::vector<int32_t> expected =
            value > 1260.0 ? std::vector<int32_t>{2, 2, 2, 3} : std::vector<int32_t>{2, 2, 2};
        EXPECT_EQ(binsOf(outcomes), expected) << value;
    }
}

// Within 10 of the centre that was crossed last no crossing counts.
TEST_P(Blocks, HysteresisSilencesCrossingsNearTheCentreThatWasCrossedLast)
{
    for (const double swing : {9.0, 11.0}) {
        Host host(GetParam());
        host.parameters.binOrderSpectrum = 1;
        host.binning.direction = HARMOTRACK_DIRECTION_BOTH;
        host.start();
        const Signal swinging = [swing](const Instant& now) {
            if (now.seconds < 0.125) return 1180.0;
            return static_cast<int64_t>(now.seconds * 16.0) % 2 == 0 ? 1200.0 + swing
                                                                     : 1200.0 - swing;
        };
        EXPECT_EQ(samplesOf(host.run(record(steady(swinging), 400))).size(),
                  swing < 10.0 ? 1U : 4U);
    }
}

// A falling value stays in the bin that it rose to last, and its blocks go there.
TEST_P(Blocks, RisingDirectionKeepsTheHighestBinReached)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    startContiguous(host);
    const auto outcomes = host.run(record(steady(stepAt(199.5 / 32.0, 1300.0, 1100.0)), 500));
    EXPECT_EQ(binsOf(outcomes), (std::vector<int32_t>{3, 3, 3}));
}

// A binned value in another unit, by its scale.
TEST_P(Blocks, BinnedValueIsScaledBeforeItIsClassified)
{
    Host host(GetParam());
    host.binning.scale = 60.0;
    host.parameters.binOrderSpectrum = 1;
    host.start();
    Machine machine = runUp(tone(1.0, 4.0, 0.0));
    machine.binSignal = [](const Instant& now) { return now.hertz; };
    std::vector<int32_t> expected(kRunUpBins);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(binsOf(host.run(record(machine, kRunUpSamples))), expected);
}

} // namespace
} // namespace Boundary
