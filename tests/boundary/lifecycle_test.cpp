// From create to initiate: sizes, setups, failures, and one analyzer for several setups.

#include "expectations.h"
#include "test_host.h"

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <stdexcept>
#include <vector>

namespace Boundary {
namespace {

class Lifecycle : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Lifecycle, testing::ValuesIn(kModes));

// ---- a new analyzer -----------------------------------------------------------------------------

TEST_P(Lifecycle, NewAnalyzerHasNoSizesAndHasSeenNothing)
{
    const AnalyzerHandle analyzer = keepReachable(create(GetParam()));
    EXPECT_EQ(getBinCount(analyzer), 0);
    EXPECT_EQ(getOrderFFTSize(analyzer), 0);
    EXPECT_EQ(getTimeFFTSize(analyzer), 0);
    EXPECT_EQ(getTimeFFTResolution(analyzer), 0.0);
    EXPECT_EQ(getTimeFFTBlockDuration(analyzer), 0.0);
    int32_t turns = -1;
    double time = -1.0;
    readTurns(analyzer, &turns, &time);
    EXPECT_EQ(turns, 0);
    EXPECT_EQ(time, 0.0);
    float rpm = -1.0F;
    time = -1.0;
    readRPM(analyzer, &rpm, &time);
    EXPECT_EQ(rpm, 0.0F);
    EXPECT_EQ(time, 0.0);
}

TEST_P(Lifecycle, NothingIsDerivedWhileASetupIsMissing)
{
    for (int32_t missing = 0; missing < 4; ++missing) {
        Host host(GetParam());
        if (missing != 0) setBinningSetup(host.handle(), &host.binning);
        if (missing != 1) setOrderSetup(host.handle(), &host.orders);
        if (missing != 2) setAnalysisSetup(host.handle(), &host.analysis);
        if (missing != 3) setParameters(host.handle(), &host.parameters);
        preinitiate(host.handle());
        EXPECT_EQ(host.bins(), 0);
        EXPECT_EQ(host.orderSize(), 0);
        EXPECT_EQ(host.timeSize(), 0);
    }
}

TEST_P(Lifecycle, SizesKeepTheirFormerValuesWhenASetupIsTakenAway)
{
    Host host(GetParam());
    host.prepare();
    setOrderSetup(host.handle(), nullptr);
    host.binning.maxValue = 5000.0F;
    preinitiate(host.handle());
    EXPECT_EQ(host.bins(), 11);
    EXPECT_EQ(host.orderSize(), 128);
}

// 20000 Hz, no divider, blocks of at most 16384.
TEST_P(Lifecycle, NewAnalyzerHasARateAndALimit)
{
    Host host(GetParam());
    host.analysis.timeLines = 10000;
    setBinningSetup(host.handle(), &host.binning);
    setOrderSetup(host.handle(), &host.orders);
    setAnalysisSetup(host.handle(), &host.analysis);
    setParameters(host.handle(), &host.parameters);
    preinitiate(host.handle());
    EXPECT_EQ(host.timeSize(), 16384);
    EXPECT_EQ(getTimeFFTResolution(host.handle()), 20000.0 / 16384.0);
}

// ---- bins ---------------------------------------------------------------------------------------

int32_t binsOf(float minValue, float maxValue, float step)
{
    Host host(0);
    host.binning.minValue = minValue;
    host.binning.maxValue = maxValue;
    host.binning.step = step;
    host.prepare();
    return host.bins();
}

TEST(Lifecycle, BinsReachFromTheLowestToTheHighestCentre)
{
    EXPECT_EQ(binsOf(1000.0F, 2000.0F, 100.0F), 11);
    EXPECT_EQ(binsOf(1000.0F, 2050.0F, 100.0F), 11); // no centre beyond maxValue
    EXPECT_EQ(binsOf(1000.0F, 1000.0F, 100.0F), 1);
    EXPECT_EQ(binsOf(1000.0F, 1099.0F, 100.0F), 1);
    EXPECT_EQ(binsOf(-50.0F, 50.0F, 25.0F), 5);
    EXPECT_EQ(binsOf(0.0F, 1.0F, 0.1F), 11); // in float, 1 / 0.1 is 10
}

TEST(Lifecycle, AxisThatEndsBelowItsStartHasOneBin)
{
    EXPECT_EQ(binsOf(1000.0F, 500.0F, 100.0F), 1);
    EXPECT_EQ(binsOf(1000.0F, 999.0F, 100.0F), 1);
}

// ---- order FFT ----------------------------------------------------------------------------------

int32_t orderSizeOf(int32_t maxOrder, float orderResolution, int32_t limit = 1 << 20)
{
    Host host(0);
    host.orders.maxOrder = maxOrder;
    host.orders.orderResolution = orderResolution;
    host.limit = limit;
    host.prepare();
    return host.orderSize();
}

TEST(Lifecycle, OrderBlockSpansOneByResolutionRevolutions)
{
    EXPECT_EQ(orderSizeOf(16, 0.25F), 128);
    EXPECT_EQ(orderSizeOf(50, 0.1F), 1000);
    EXPECT_EQ(orderSizeOf(5, 1.0F / 3.0F), 30);
    EXPECT_EQ(orderSizeOf(5, 0.3F), 30); // 3.33 rounds to 3
}

TEST(Lifecycle, OrderBlockHasAtLeastEightSamplesARevolution)
{
    EXPECT_EQ(orderSizeOf(1, 1.0F), 8);
    EXPECT_EQ(orderSizeOf(3, 1.0F), 8);
    EXPECT_EQ(orderSizeOf(3, 0.5F), 16);
}

TEST(Lifecycle, ResolutionAboveOneSpansOneRevolution)
{
    EXPECT_EQ(orderSizeOf(16, 1.5F), 32); // 0.67 rounds to 1
    EXPECT_EQ(orderSizeOf(16, 2.5F), 32); // 0.4 rounds to 0
}

// The largest power of two not above 90 % of the limit.
TEST(Lifecycle, LimitCutsTheOrderBlockToAPowerOfTwo)
{
    EXPECT_EQ(orderSizeOf(100, 0.01F, 20000), 16384); // of 20000
    EXPECT_EQ(orderSizeOf(100, 0.01F, 18204), 8192);  // 90 % are 16383.6
    EXPECT_EQ(orderSizeOf(100, 0.01F, 18205), 16384); // 90 % are 16384.5
    EXPECT_EQ(orderSizeOf(16, 0.25F, 143), 128);
    EXPECT_EQ(orderSizeOf(16, 0.25F, 142), 64);
    EXPECT_EQ(orderSizeOf(16, 1.0F / 3.0F, 200), 96); // not cut, and no power of two
}

// ---- time FFT -----------------------------------------------------------------------------------

TimeFFTSetup timeSetupOf(Host& host, double sampleRate, int32_t rateDivider = 1)
{
    return getTimeFFTSetup(host.handle(), 0, sampleRate, rateDivider);
}

int32_t timeSizeOf(Host& host, double sampleRate, int32_t rateDivider = 1)
{
    const TimeFFTSetup setup = timeSetupOf(host, sampleRate, rateDivider);
    return setup.size;
}

TEST(Lifecycle, FixedTimeLinesHaveTwiceAsManyPoints)
{
    Host host(0);
    host.analysis.timeLines = 400;
    host.prepare();
    EXPECT_EQ(host.timeSize(), 800);
    EXPECT_EQ(getTimeFFTResolution(host.handle()), 1024.0 / 800.0);
    EXPECT_EQ(getTimeFFTBlockDuration(host.handle()), 1.0 / (1024.0 / 800.0));
}

// At 6000 rpm, 100 Hz: 25600 Hz are 256 samples a revolution, 8 times the 32 of the equal-angle
// ring; so an order block of 128 is 1024 samples, twice that 2048. 10000 Hz are 3.1 times, rounded
// 3: 768 samples, and 512 is the power of two below.
TEST(Lifecycle, FreeTimeBlockIsAPowerOfTwoNotAboveTwiceAnOrderBlockAtTheHighestSpeed)
{
    Host host(0);
    host.analysis.fixedTimeLines = 0;
    host.analysis.timeLines = 400; // of no effect
    host.prepare();
    EXPECT_EQ(timeSizeOf(host, 25600.0), 2048);
    EXPECT_EQ(timeSizeOf(host, 10000.0), 512);
    EXPECT_EQ(timeSizeOf(host, 51200.0, 2), 2048);
    EXPECT_EQ(timeSizeOf(host, 1600.0), 256); // half a sample an angle sample rounds to 1
}

// Below half a sample for each of the equal-angle ring: the order block's size itself, whatever it
// is, and only then the limit.
TEST(Lifecycle, FreeTimeBlockAtAVeryHighSpeedIsAnOrderBlockBeforeItsLimit)
{
    Host host(0);
    host.analysis.fixedTimeLines = 0;
    host.orders.orderResolution = 1.0F / 3.0F;
    host.prepare();
    EXPECT_EQ(timeSizeOf(host, 1000.0), 96);
    host.limit = 80;
    host.prepare();
    EXPECT_EQ(timeSizeOf(host, 1000.0), 64);
}

TEST(Lifecycle, LimitCutsTheTimeBlockToAPowerOfTwo)
{
    Host host(0);
    host.limit = 20000;
    host.analysis.timeLines = 10000;
    host.prepare();
    EXPECT_EQ(host.timeSize(), 16384);
    host.analysis.fixedTimeLines = 0;
    EXPECT_EQ(timeSizeOf(host, 1.0e6), 16384); // 312 * 128 * 2 before
}

TEST(Lifecycle, TimeSetupTellsResolutionAndDurationOfItsRate)
{
    Host host(0);
    host.analysis.timeLines = 400;
    host.prepare();
    const TimeFFTSetup setup = timeSetupOf(host, 51200.0, 4);
    const int32_t size = setup.size;
    const double resolution = setup.resolution;
    const double blockDuration = setup.blockDuration;
    EXPECT_EQ(size, 800);
    EXPECT_EQ(resolution, 16.0);
    EXPECT_EQ(blockDuration, 1.0 / 16.0);
}

// A host may ask for the figures of another rate at any time.
TEST_P(Lifecycle, TimeSetupOfAnotherRateChangesNothing)
{
    Host host(GetParam());
    host.analysis.fixedTimeLines = 0;
    setOrderSetup(host.handle(), &host.orders);
    setAnalysisSetup(host.handle(), &host.analysis);
    setInputBufferLimit(host.handle(), 1 << 20);
    EXPECT_EQ(timeSizeOf(host, 25600.0), 2048); // before preinitiate
    EXPECT_EQ(host.timeSize(), 0);

    host.prepare();
    const int32_t size = host.timeSize();
    EXPECT_NE(timeSizeOf(host, 25600.0), size);
    EXPECT_EQ(host.timeSize(), size);
}

TEST(Lifecycle, FirstArgumentOfTheTimeSetupIsNeverRead)
{
    Host host(0);
    host.analysis.timeLines = 400;
    host.prepare();
    for (const uint8_t argument : std::initializer_list<uint8_t>{0, 1, 255}) {
        const int32_t fixed = getTimeFFTSetup(host.handle(), argument, 25600.0, 1).size;
        EXPECT_EQ(fixed, 800);
    }
    host.analysis.fixedTimeLines = 0;
    for (const uint8_t argument : std::initializer_list<uint8_t>{0, 1, 255}) {
        const int32_t derived = getTimeFFTSetup(host.handle(), argument, 25600.0, 1).size;
        EXPECT_EQ(derived, 2048);
    }
}

TEST_P(Lifecycle, RateChangesNoSizeUntilThePreparation)
{
    Host host(GetParam());
    host.analysis.fixedTimeLines = 0;
    host.prepare();
    const int32_t before = host.timeSize();
    setSampleRate(host.handle(), 25600.0, 1);
    EXPECT_EQ(host.timeSize(), before);
    preinitiate(host.handle());
    EXPECT_EQ(host.timeSize(), 2048);
    EXPECT_EQ(getTimeFFTResolution(host.handle()), 12.5);
    EXPECT_EQ(getTimeFFTBlockDuration(host.handle()), 0.08);
}

// ---- initiate -----------------------------------------------------------------------------------

TEST_P(Lifecycle, UnknownWindowIsRefusedBeforeAnyResultIsTouched)
{
    Host host(GetParam());
    host.hostTables = true;
    host.harmonicOrders = {4.0F};
    host.parameters.binHarmonics = 1;
    host.parameters.overall = 1;
    host.start();
    host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples));
    const std::vector<uint32_t> tables = host.tableWords();
    for (const int32_t window : {9, -1}) {
        host.analysis.windowType = window;
        int32_t error = -1;
        try {
            initiate(host.handle(), &error);
            ADD_FAILURE() << "window " << window << " was accepted";
        } catch (const std::invalid_argument& refusal) {
            EXPECT_STREQ(refusal.what(), "Unsupported window type.");
        }
        EXPECT_EQ(error, 0);
        EXPECT_TRUE(tables == host.tableWords());
    }
}

// ... and a known one is taken afterwards as if nothing had been.
TEST_P(Lifecycle, AnalyzerIsAsGoodAsNewAfterARefusedWindow)
{
    Host host(GetParam());
    host.parameters.binOrderSpectrum = 1;
    host.analysis.windowType = 9;
    host.prepare();
    host.handOver();
    EXPECT_THROW(host.begin(), std::invalid_argument);
    host.analysis.windowType = HARMOTRACK_WINDOW_HANNING;
    host.start();
    EXPECT_EQ(host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples)).size(), 1U);
    EXPECT_NEAR(host.orderRow(kCrossedBin, host.firstSet())[16], 3.0, 1e-5);
}

TEST_P(Lifecycle, InitiateWithoutAnyFlagIsValid)
{
    Host host(GetParam());
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_A;
    host.prepare();
    host.handOver();
    EXPECT_EQ(host.begin(), 0);
}

// One analyzer goes through several setups, larger and smaller ones, and works as a new one each
// time: blocks, bins, lines, windows, weighting, harmonics, flags.
TEST_P(Lifecycle, SecondInitiateWithAnotherSetupIsAsGoodAsANewAnalyzer)
{
    const Signal signal = sum(tone(1.0, 4.0, 0.4), noise(3));
    const Recording recording = record(runUp(signal, tone(1.0, 4.0, 0.9)), 4000);
    const std::vector<void (*)(Host&)> setups = {
        [](Host&) {},
        [](Host& host) {
            host.orders.orderResolution = 0.125F;
            host.analysis.timeLines = 100;
            host.analysis.averagingType = HARMOTRACK_AVERAGING_PEAK_HOLD;
        },
        [](Host& host) {
            host.binning.step = 25.0F;
            host.analysis.windowType = HARMOTRACK_WINDOW_FLATTOP;
            host.analysis.weightingType = HARMOTRACK_WEIGHTING_C;
        },
        [](Host& host) {
            host.orders.orderResolution = 0.5F;
            host.binning.step = 200.0F;
            host.harmonicOrders = {4.0F, 1.5F, 2.0F};
            host.parameters.timeOrderSpectrum = 0;
        },
        [](Host& host) {
            host.analysis.weightingType = HARMOTRACK_WEIGHTING_NONE;
            host.harmonicOrders = {4.0F};
            host.parameters.timeOrderSpectrum = 1;
        }};
    const auto fresh = [&](size_t count) {
        auto host = std::make_unique<Host>(GetParam());
        host->harmonicOrders = {1.0F, 4.0F};
        host->analysis.deltaOnTime = 1;
        host->analysis.deltaSeconds = 0.5F;
        host->parameters = {1, 1, 1, 1, 1, 1, 0, 1, 1, 1};
        for (size_t i = 0; i <= count; ++i) setups[i](*host);
        return host;
    };
    const auto reused = fresh(0);
    for (size_t i = 0; i < setups.size(); ++i) {
        SCOPED_TRACE(i);
        if (i > 0) setups[i](*reused);
        reused->start();
        const auto expected = fresh(i);
        expected->start();
        EXPECT_EQ(firstDifference(expected->run(recording), reused->run(recording)), "");
        EXPECT_TRUE(expected->tableWords() == reused->tableWords());
    }
}

// initiate starts the averages anew in the waterfalls, but clears none of their cells: held peaks
// stay, until a reset of a run that had a result.
TEST_P(Lifecycle, SecondInitiateWithoutAResetGoesOnFromHeldPeaks)
{
    for (const int32_t averaging : {HARMOTRACK_AVERAGING_OVERWRITE,
                                    HARMOTRACK_AVERAGING_KEEP_FIRST,
                                    HARMOTRACK_AVERAGING_MEAN,
                                    HARMOTRACK_AVERAGING_PEAK_HOLD}) {
        SCOPED_TRACE(averaging);
        Host host(GetParam());
        host.analysis.averagingType = averaging;
        host.parameters.binOrderSpectrum = 1;
        host.start();
        host.run(record(crossing(tone(3.0, 4.0, 0.7)), kCrossingSamples));
        host.handOverRings();
        EXPECT_EQ(host.begin(), 0);
        // the walk goes on with the rings; the value must come from below the centre again
        EXPECT_EQ(host.run(record(crossing(tone(1.0, 4.0, 0.7)), kCrossingSamples)).size(), 1U);
        const double expected = averaging == HARMOTRACK_AVERAGING_PEAK_HOLD ? 3.0 : 1.0;
        EXPECT_NEAR(host.orderRow(kCrossedBin, host.firstSet())[16], expected, 1e-5);
    }
}

// ---- the records --------------------------------------------------------------------------------

// Setups are packed: their fields stand at odd offsets wherever the record itself begins.
TEST_P(Lifecycle, SetupsMayStandAtAnyAddress)
{
    Host expected(GetParam());
    expected.binning.scale = 0.1;
    expected.parameters.binOrderSpectrum = 1;
    expected.start();
    Machine machine = crossing(tone(3.0, 4.0, 0.7));
    machine.binSignal = stepAt(255.5 / 32.0, 11800.0, 12200.0);
    const auto straight = expected.run(record(machine, kCrossingSamples));
    ASSERT_EQ(straight.size(), 1U);

    for (size_t shift = 0; shift < 8; ++shift) {
        alignas(8) static unsigned char bytes[8][256];
        unsigned char* at = bytes[shift] + shift;
        Host host(GetParam());
        host.parameters.binOrderSpectrum = 1;
        host.prepare();
        auto* binning = reinterpret_cast<BinningSetup*>(at);
        auto* orders = reinterpret_cast<OrderSetup*>(at + 32);
        auto* analysis = reinterpret_cast<AnalysisSetup*>(at + 64);
        auto* parameters = reinterpret_cast<AnalyzerParameters*>(at + 160);
        *binning = expected.binning;
        *orders = host.orders;
        *analysis = host.analysis;
        *parameters = host.parameters;
        setBinningSetup(host.handle(), binning);
        setOrderSetup(host.handle(), orders);
        setAnalysisSetup(host.handle(), analysis);
        setParameters(host.handle(), parameters);
        preinitiate(host.handle());
        host.handOver();
        EXPECT_EQ(host.begin(), 0);
        reset(host.handle());
        EXPECT_EQ(firstDifference(straight, host.run(record(machine, kCrossingSamples))), "");
    }
}

} // namespace
} // namespace Boundary
