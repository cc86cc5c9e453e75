// Whatever the C boundary leaves undefined ends in a sentence, before the library is called.

#include "face_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <optional>

namespace Face {
namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr float kNotANumber = std::numeric_limits<float>::quiet_NaN();

AnalyzerSetup goodSetup()
{
    AnalyzerSetup setup = machineSetup();
    setup.results.binOrderSpectrum = true;
    return setup;
}

struct WrongSetup {
    std::function<void(AnalyzerSetup&)> spoil;
    const char* name;  ///< of the field, as the sentence has it
    const char* value; ///< as the sentence has it, or another part of it
    Mode mode = Mode::OneReal;
};

// clang-format off
const WrongSetup kWrongSetups[] = {
    {[](auto& s) { s.sampleRate = 0; }, "sampleRate is 0", "above 0 Hz"},
    {[](auto& s) { s.sampleRate = kNaN; }, "sampleRate is nan", "above 0 Hz"},
    {[](auto& s) { s.binning.step = 0; }, "binning.step is 0", "above 0"},
    {[](auto& s) { s.binning.step = 1e-4F; }, "number of bins is 1e+07", "a million"},
    {[](auto& s) { s.binning.minValue = kNotANumber; }, "binning.minValue is nan", "finite"},
    {[](auto& s) { s.binning.maxValue = 900; }, "binning.maxValue is 900", "not below"},
    {[](auto& s) { s.binning.hysteresisPercent = -1; }, "binning.hysteresisPercent is -1", "0 or more"},
    {[](auto& s) { s.binning.scale = 0; }, "binning.scale is 0", "other than 0"},
    {[](auto& s) { s.binning.direction = Direction{4}; }, "binning.direction is 4", "0 to 3"},
    {[](auto& s) { s.orders.orderResolution = 0; }, "orders.orderResolution is 0", "1 divided by a whole number"},
    {[](auto& s) { s.orders.orderResolution = 0.3F; }, "orders.orderResolution is 0.3", "whole number"},
    {[](auto& s) { s.orders.orderResolution = 2; }, "orders.orderResolution is 2", "whole number"},
    {[](auto& s) { s.orders.maxOrder = 3; }, "orders.maxOrder is 3", "4 or more"},
    {[](auto& s) { s.orders.harmonicOrders = {16.0F}; }, "harmonicOrders is 16", "from 0 to 15.75"},
    {[](auto& s) { s.orders.harmonicOrders = {1.0F, -1.0F}; }, "harmonicOrders is -1", "from 0"},
    {[](auto& s) { s.orders.harmonicOrders = {kNotANumber}; }, "harmonicOrders is nan", "from 0"},
    {[](auto& s) { s.inputBufferLimit = 2; }, "inputBufferLimit is 2", "16 or more"},
    {[](auto& s) { s.inputBufferLimit = 100; }, "order block", "is 128, and inputBufferLimit allows 64"},
    {[](auto& s) { s.analysis.windowType = Window{9}; }, "analysis.windowType is 9", "0 to 8"},
    {[](auto& s) { s.analysis.windowType = Window::Exponential; }, "analysis.windowParameter is 0", "above 0 up to 1"},
    {[](auto& s) { s.analysis.windowType = Window::Transient; s.analysis.windowParameter = -1; }, "analysis.windowParameter is -1", "0 or more"},
    {[](auto& s) { s.analysis.amplitudeType = Amplitude{3}; }, "analysis.amplitudeType is 3", "0 to 2"},
    {[](auto& s) { s.analysis.blockMode = BlockMode{2}; }, "analysis.blockMode is 2", "0 to 1"},
    {[](auto& s) { s.analysis.averagingType = Averaging{-1}; }, "analysis.averagingType is -1", "0 to 3"},
    {[](auto& s) { s.analysis.weightingType = Weighting{7}; }, "analysis.weightingType is 7", "0 to 6"},
    {[](auto& s) { s.analysis.weightingType = Weighting::A; }, "analysis.maxRpm is 0", "above analysis.minRpm"},
    {[](auto& s) { s.analysis.minRpm = -1; }, "analysis.minRpm is -1", "0 or more"},
    {[](auto& s) { s.analysis.timeLines = 3; }, "analysis.timeLines is 3", "4 to"},
    {[](auto& s) { s.analysis.timeLines = 0; s.results.overall = true; }, "analysis.maxRpm is 0", "timeLines"},
    {[](auto& s) { s.analysis.overlapPercent = 101; }, "analysis.overlapPercent is 101", "0 to 100"},
    {[](auto& s) { s.analysis.deltaSeconds = -1; }, "analysis.deltaSeconds is -1", "0 or more"},
    {[](auto& s) { s.analysis.twoSided = true; }, "analysis.twoSided", "only Mode::OneComplex"},
    {[](auto& s) { s.analysis.twoSided = true; }, "analysis.twoSided", "only Mode::OneComplex", Mode::TwoReal},
    {[](auto& s) { s.results = {}; }, "No result is asked for", "at least one"},
    {[](auto& s) { s.results.deltaHarmonics = true; }, "never be released", "analysis.deltaOnTime"},
    {[](auto& s) { s.results.binOrderTwoSided = true; }, "Two-sided results", "only Mode::TwoReal"},
    {[](auto& s) { s.results = {}; s.results.binOrderTwoSided = true; }, "results.binOrderTwoSided", "only together with", Mode::TwoReal},
    {[](auto& s) { s.largestDelivery = 0; }, "largestDelivery is 0", "1 to 2^28"},
    {[](auto& s) { s.angleRing = 4287; }, "angleRing is 4287", "need 4288"},
    {[](auto& s) { s.angleRing = -1; }, "angleRing is -1", "automatic"},
    {[](auto& s) { s.results.overall = true; s.timeRing = 4351; }, "timeRing is 4351", "need 4352"},
};

// clang-format on

TEST(Misuse, OfAnAnalyzersSetupIsNamedWithItsValueAndWhatIsAllowed)
{
    for (const WrongSetup& wrong : kWrongSetups) {
        AnalyzerSetup setup = goodSetup();
        wrong.spoil(setup);
        AnyAnalyzer analyzer(wrong.mode);
        const std::string sentence = sentenceOf([&] { analyzer.setUp(setup); });
        EXPECT_THAT(sentence, AllOf(HasSubstr(wrong.name), HasSubstr(wrong.value)));
        EXPECT_FALSE(analyzer.isSetUp());
    }
}

// The least ring: 1.5 blocks of 128 and a delivery of 4096.
TEST(Misuse, EndsAtTheLeastRing)
{
    AnalyzerSetup setup = goodSetup();
    setup.results.overall = true;
    setup.angleRing = 4288;
    setup.timeRing = 4352;
    EXPECT_EQ(sentenceOf([&] { Analyzer<Mode::OneReal>{setup}; }), "");
}

TEST(Misuse, OfASetupLeavesTheAnalyzerAsItWas)
{
    Analyzer<Mode::OneReal> analyzer(goodSetup());
    AnalyzerSetup wrong = goodSetup();
    wrong.binning.step = 0;
    EXPECT_NE(sentenceOf([&] { analyzer.setUp(wrong); }), "");
    EXPECT_TRUE(analyzer.isSetUp());
    EXPECT_EQ(analyzer.sizes().bins, 11);
}

TEST(Misuse, OfTheCallingOrderHasASentence)
{
    Analyzer<Mode::OneReal> analyzer;
    const std::string notSetUp = "The analyzer is not set up: call setUp() first.";
    EXPECT_EQ(sentenceOf([&] { analyzer.feed({}); }), notSetUp);
    EXPECT_EQ(sentenceOf([&] { analyzer.next(); }), notSetUp);
    EXPECT_EQ(sentenceOf([&] { analyzer.restart(); }), notSetUp);
    EXPECT_EQ(sentenceOf([&] { (void)analyzer.turns(); }), notSetUp);

    analyzer.setUp(goodSetup());
    EXPECT_FALSE(analyzer.next());
    analyzer.feed({});
    EXPECT_THAT(sentenceOf([&] { analyzer.feed({}); }), HasSubstr("call next()"));

    const AnyAnalyzer taken = std::move(analyzer);
    // NOLINTNEXTLINE(bugprone-use-after-move): that is the test
    EXPECT_EQ(sentenceOf([&] { analyzer.next(); }), notSetUp);
    EXPECT_TRUE(taken.isSetUp());
}

TEST(Misuse, OfResultsHasASentence)
{
    const Analyzer<Mode::OneReal> analyzer([] {
        AnalyzerSetup setup = goodSetup();
        setup.orders.harmonicOrders = {1.0F};
        setup.results.binHarmonics = true;
        return setup;
    }());
    const auto sentence = [](auto&& call) { return sentenceOf([&] { (void)call(); }); };
    EXPECT_THAT(sentence([&] { return analyzer.binOrderSpectrum(11); }), HasSubstr("bin is 11"));
    EXPECT_THAT(sentence([&] { return analyzer.binOrderSpectrum(-1); }), HasSubstr("bin is -1"));
    EXPECT_THAT(sentence([&] { return analyzer.binHarmonics(1); }), HasSubstr("harmonic is 1"));
    EXPECT_THAT(sentence([&] { return analyzer.binHarmonics(-1); }), HasSubstr("harmonic is -1"));
    EXPECT_THAT(sentence([&] { return analyzer.binOrderSpectrum(0, Signal::Second); }),
                HasSubstr("only Mode::TwoReal"));
    EXPECT_THAT(sentence([&] { return analyzer.binHarmonics(0, Signal::Second); }),
                HasSubstr("only Mode::TwoReal"));
    for (const auto& notAsked : {sentence([&] { return analyzer.overall(); }),
                                 sentence([&] { return analyzer.binTimeSpectrum(0); }),
                                 sentence([&] { return analyzer.binTimeTwoSided(0); }),
                                 sentence([&] { return analyzer.binOrderTwoSided(0); }),
                                 sentence([&] { return analyzer.timeOrderSpectrum(); }),
                                 sentence([&] { return analyzer.timeOrderTwoSided(); }),
                                 sentence([&] { return analyzer.deltaHarmonics(); }),
                                 sentence([&] { return analyzer.deltaOrderSpectrum(); })})
        EXPECT_THAT(notAsked, HasSubstr("is not set in the setup"));
}

// ---- deliveries ---------------------------------------------------------------------------------

/// Columns of one delivery, to be spoilt.
struct Columns {
    std::vector<double> signalA = std::vector<double>(100, 1.0);
    std::vector<double> signalB;
    std::vector<double> binSignal = std::vector<double>(100, 1200.0);
    std::vector<double> frequency = std::vector<double>(100, 20.0);
    std::vector<double> angle = std::vector<double>(100, 90.0);
    std::vector<double> time = [] {
        std::vector<double> seconds(100);
        for (std::size_t i = 0; i < seconds.size(); ++i)
            seconds[i] = 0.001 * static_cast<double>(i);
        return seconds;
    }();
    std::vector<double> timeA;
    std::vector<double> timeB;

    void feed(AnyAnalyzer& analyzer) const
    {
        analyzer.feed({signalA, signalB, binSignal, frequency, angle, time}, {timeA, timeB});
    }
};

TEST(Misuse, OfADeliveryHasASentenceAndChangesNothing)
{
    using Spoil = std::function<void(Columns&)>;
    const std::pair<Spoil, const char*> kWrong[] = {
        {[](Columns& c) { c.signalA.pop_back(); }, "differ in length"},
        {[](Columns& c) { c.binSignal.pop_back(); }, "differ in length"},
        {[](Columns& c) { c.frequency.pop_back(); }, "differ in length"},
        {[](Columns& c) { c.angle.pop_back(); }, "differ in length"},
        {[](Columns& c) { c.signalB.assign(100, 0.0); }, "signalB is given"},
        {[](Columns& c) { c.timeA.assign(5, 0.0); }, "Equal-time samples are given"},
        {[](Columns& c) { c.signalA[7] = kNaN; }, "signalA hold a value that is not a finite"},
        {[](Columns& c) { c.frequency[7] = kNaN; }, "frequency hold a value"},
        {[](Columns& c) { c.time[7] = std::numeric_limits<double>::infinity(); }, "time hold a"},
        {[](Columns& c) { c.angle[7] = 361.0; }, "angle is 361, and 0 to 360"},
        {[](Columns& c) { c.angle[7] = -1.0; }, "angle is -1, and 0 to 360"},
        {[](Columns& c) { c.time[7] = c.time[6]; }, "time is 0.006, and it must be above"},
    };
    const Columns good;
    Analyzer<Mode::OneReal> analyzer(goodSetup());
    Analyzer<Mode::OneReal> unspoilt(goodSetup());
    for (const auto& [spoil, words] : kWrong) {
        Columns wrong;
        spoil(wrong);
        EXPECT_THAT(sentenceOf([&] { wrong.feed(analyzer); }), HasSubstr(words));
    }
    good.feed(analyzer);
    good.feed(unspoilt);
    while (analyzer.next()) {
    }
    EXPECT_EQ(analyzer.angleRoom(), unspoilt.angleRoom());

    AnyAnalyzer two(Mode::TwoReal);
    two.setUp(goodSetup());
    EXPECT_THAT(sentenceOf([&] { good.feed(two); }), HasSubstr("signalB differs in length"));
}

// A binned value that is no number is off the axis, which the library knows.
TEST(Misuse, IsNotABinnedValueThatIsNoNumber)
{
    Columns columns;
    columns.binSignal[3] = kNaN;
    Analyzer<Mode::OneReal> analyzer(goodSetup());
    EXPECT_EQ(sentenceOf([&] { columns.feed(analyzer); }), "");
}

// 4096 are the largest delivery; of a ring of 4288 slots, 128 are kept for blocks that reach back.
TEST(Misuse, OfTheRingHasASentence)
{
    using namespace Boundary;
    AnalyzerSetup setup = goodSetup();
    setup.angleRing = 4288;
    Analyzer<Mode::OneReal> analyzer(setup);
    const Recording recording = record(runUp(silence()), 5000);
    const auto feed = [&](int64_t first, int64_t last) {
        analyzer.feed(angleSamples(recording, Mode::OneReal, first, last));
        while (analyzer.next()) {
        }
    };
    EXPECT_EQ(analyzer.angleRoom(), 4096);
    EXPECT_THAT(sentenceOf([&] { feed(0, 4097); }),
                HasSubstr("is 4097, and there is room for 4096"));
    feed(0, 4096);
    EXPECT_EQ(analyzer.angleRoom(), 4096); // 64 wait, 128 are kept
    feed(4096, 5000);
}

// Equal-angle samples wait for equal-time ones; where those never come, the ring fills up.
TEST(Misuse, OfTheTwoRingsTogetherHasASentence)
{
    using namespace Boundary;
    AnalyzerSetup setup = goodSetup();
    setup.results.overall = true;
    setup.largestDelivery = 500;
    setup.angleRing = 1000;
    Analyzer<Mode::OneReal> analyzer(setup);
    const Recording recording = record(runUp(silence()), 2000);
    const auto feed = [&](int64_t first, int64_t last) {
        analyzer.feed(angleSamples(recording, Mode::OneReal, first, last));
        while (analyzer.next()) {
        }
    };
    feed(0, 500);
    EXPECT_EQ(analyzer.angleRoom(), 372); // 1000 - 128 - 500
    EXPECT_THAT(sentenceOf([&] { feed(500, 873); }), HasSubstr("500 samples wait for their turn"));
    feed(500, 872);
    EXPECT_EQ(analyzer.angleRoom(), 0);
    analyzer.feed({}, timeSamples(recording, Mode::OneReal, 0, 500));
    while (analyzer.next()) {
    }
    EXPECT_GT(analyzer.angleRoom(), 200); // what lies in the first 0.43 s of 0.49 has been taken
    EXPECT_THAT(
        sentenceOf([&] { analyzer.feed({}, timeSamples(recording, Mode::OneReal, 500, 1001)); }),
        HasSubstr("equal-time samples of a delivery is 501"));
}

// Contiguous blocks are made up for when the value returns to its axis, from samples that must
// still be there.
TEST(Misuse, OfContiguousBlocksOffTheAxisHasASentence)
{
    using namespace Boundary;
    AnalyzerSetup setup = goodSetup();
    setup.analysis.blockMode = BlockMode::Contiguous;
    setup.largestDelivery = 256;
    const auto excursion = [&](int64_t length) {
        Machine machine = crossing(silence());
        Recording recording = record(machine, 6000);
        for (std::size_t k = 0; k < recording.binSignal.size(); ++k)
            recording.binSignal[k] =
                k >= 1000 && k < 1000 + static_cast<std::size_t>(length) ? 3000.0 : 1200.0;
        Analyzer<Mode::OneReal> analyzer(setup);
        std::string sentence = sentenceOf([&] { runThrough(analyzer, recording, 5888, 256); });
        if (!sentence.empty()) {
            EXPECT_EQ(sentenceOf([&] { analyzer.next(); }),
                      "The run ended with an error: call restart() or reset().");
            analyzer.restart();
            EXPECT_EQ(sentenceOf([&] { runThrough(analyzer, recording, 512, 256); }), "");
        }
        return sentence;
    };
    EXPECT_EQ(excursion(0), "");
    EXPECT_EQ(excursion(200), "");
    EXPECT_THAT(excursion(3000), HasSubstr("off the axis of the bins"));
    EXPECT_EQ(excursion(5000), "") << "it never comes back";
}

// ---- trackers -----------------------------------------------------------------------------------

TrackerSetup goodTracker()
{
    TrackerSetup setup;
    setup.sampleRate = 1000.0;
    setup.orders = {1, 2, 3};
    setup.minFrequency = 600.0;
    setup.maxFrequency = 6000.0;
    return setup;
}

struct WrongTracker {
    std::function<void(TrackerSetup&)> spoil;
    const char* name;
    const char* allowed;
};

// clang-format off
const WrongTracker kWrongTrackers[] = {
    {[](auto& s) { s.sampleRate = -1; }, "sampleRate is -1", "above 0 Hz"},
    {[](auto& s) { s.orders = {}; }, "orders is empty", "at least one"},
    {[](auto& s) { s.orders = {1, 0}; }, "order of orders is 0", "above 0"},
    {[](auto& s) { s.orders = {1, 2, 1}; }, "order of orders is 1", "twice"},
    {[](auto& s) { s.orders = {kNotANumber}; }, "order of orders is nan", "above 0"},
    {[](auto& s) { s.minFrequency = -1; }, "minFrequency is -1", "0 or more"},
    {[](auto& s) { s.maxFrequency = 600; }, "maxFrequency is 600", "above minFrequency"},
    {[](auto& s) { s.maxFrequency = 10001; }, "highest order at maxFrequency is 500.05", "allows 500 Hz"},
    {[](auto& s) { s.useStartFrequency = true; s.startFrequency = kNaN; }, "startFrequency is nan", "0 or more"},
    {[](auto& s) { s.startFrequencySource = StartFrequency{3}; }, "startFrequencySource is 3", "0 to 2"},
    {[](auto& s) { s.minFrequency = 1e-9; }, "number of steps of a search", "never ends"},
    {[](auto& s) { s.manualParameters = true; s.searchStep = 0; }, "searchStep is 0", "never ends"},
    {[](auto& s) { s.manualParameters = true; s.searchStep = -1; }, "searchStep is -1", "never ends"},
    {[](auto& s) { s.manualParameters = true; s.searchStep = 1e-20; }, "number of steps of a search", "never ends"},
    {[](auto& s) { s.manualParameters = true; s.predictionSigmaPercent = 0; }, "predictionSigmaPercent is 0", "above 0"},
    {[](auto& s) { s.manualParameters = true; s.overlapPercent = 100; }, "overlapPercent is 100", "stand still"},
    {[](auto& s) { s.manualParameters = true; s.overlapPercent = 99.6; }, "from one block to the next is 0", "1 or more"},
    {[](auto& s) { s.manualParameters = true; s.blockDuration = 0; }, "blockDuration is 0", "above 0 seconds"},
    {[](auto& s) { s.manualParameters = true; s.blockDuration = 0.007; }, "is 7, and it must be above", "which is 7"},
    {[](auto& s) { s.manualParameters = true; s.blockDuration = 1e9; }, "length of a block", "2^28"},
    {[](auto& s) { s.largestDelivery = 0; }, "largestDelivery is 0", "1 to 2^28"},
    {[](auto& s) { s.ring = 100; }, "ring is 100", "need 16584"},
};

// clang-format on

TEST(Misuse, OfATrackersSetupIsNamedWithItsValueAndWhatIsAllowed)
{
    for (const WrongTracker& wrong : kWrongTrackers) {
        TrackerSetup setup = goodTracker();
        wrong.spoil(setup);
        Autotracker tracker;
        const std::string sentence = sentenceOf([&] { tracker.setUp(setup); });
        EXPECT_THAT(sentence, AllOf(HasSubstr(wrong.name), HasSubstr(wrong.allowed)));
        EXPECT_FALSE(tracker.isSetUp());
    }
}

TEST(Misuse, OfATrackersCallsHasASentence)
{
    Autotracker tracker;
    const std::string notSetUp = "The tracker is not set up: call setUp() first.";
    EXPECT_EQ(sentenceOf([&] { tracker.feed({}); }), notSetUp);
    EXPECT_EQ(sentenceOf([&] { tracker.next(); }), notSetUp);
    EXPECT_EQ(sentenceOf([&] { tracker.reset(); }), notSetUp);

    TrackerSetup setup = goodTracker();
    setup.largestDelivery = 1000;
    tracker.setUp(setup);
    EXPECT_THAT(sentenceOf([&] { tracker.feed(std::vector<double>(1001)); }),
                HasSubstr("is 1001, and largestDelivery allows 1000"));
    EXPECT_THAT(sentenceOf([&] { tracker.feed(std::vector<double>(10, kNaN)); }),
                HasSubstr("not a finite number"));
    tracker.feed(std::vector<double>(10));
    EXPECT_THAT(sentenceOf([&] { tracker.feed(std::vector<double>(10)); }),
                HasSubstr("call next()"));
}

// ---- the pool -----------------------------------------------------------------------------------

TEST(Pool, MakesAsManyHandlesAsWorkAtOnce)
{
    const std::size_t before = analyzerPool(Mode::TwoReal).made;
    const std::size_t idle = analyzerPool(Mode::TwoReal).idle;
    for (int recording = 0; recording < 20; ++recording) {
        Analyzer<Mode::TwoReal> first(goodSetup());
        Analyzer<Mode::TwoReal> second(goodSetup());
        second.setUp(goodSetup());
        Analyzer<Mode::TwoReal> third(std::move(first));
    }
    EXPECT_LE(analyzerPool(Mode::TwoReal).made, before + 2);
    EXPECT_EQ(analyzerPool(Mode::TwoReal).idle, std::max<std::size_t>(idle, 2));
}

TEST(Pool, GivesSizesWithoutASetup)
{
    const Analyzer<Mode::OneReal> analyzer;
    AnalyzerSetup setup = goodSetup();
    setup.results.overall = true;
    EXPECT_EQ(analyzer.sizesOf(setup).orderBlock, 128);
    EXPECT_EQ(analyzer.sizesOf(setup).timeResolution, 8.0);
    EXPECT_FALSE(analyzer.isSetUp());
}

/// A function of the library that is replaced for as long as this lives.
template <typename Function>
class Replaced {
public:
    Replaced(Function Detail::Functions::*member, Function by)
        : place_(const_cast<Detail::Functions&>(Detail::Library::instance().functions()).*member),
          original_(place_)
    {
        place_ = by;
    }

    ~Replaced() { place_ = original_; }

    Replaced(const Replaced&) = delete;
    Replaced& operator=(const Replaced&) = delete;

private:
    Function& place_;
    Function original_;
};

// Whatever ended it, an initiate() that failed leaves an object that nobody can trust.
TEST(Pool, NeverTakesBackAHandleWhoseInitiateFailed)
{
    const std::pair<void (*)(AnalyzerHandle, std::int32_t*), const char*> kFailures[] = {
        {[](AnalyzerHandle, std::int32_t* error) { *error = 1; }, "Memory ran out for 11 bins"},
        {[](AnalyzerHandle, std::int32_t*) { throw std::invalid_argument("No."); }, "set up: No."},
    };
    for (const auto& [failure, words] : kFailures) {
        Analyzer<Mode::OneReal> analyzer;
        Analyzer<Mode::OneReal> running(goodSetup());
        const PoolCounts before = analyzerPool(Mode::OneReal);
        {
            const Replaced replaced(&Detail::Functions::initiate, failure);
            EXPECT_THAT(sentenceOf([&] { analyzer.setUp(goodSetup()); }), HasSubstr(words));
            EXPECT_FALSE(analyzer.isSetUp());
            EXPECT_NE(sentenceOf([&] { running.restart(); }), "");
            EXPECT_THAT(sentenceOf([&] { running.next(); }), HasSubstr("set it up anew"));
            EXPECT_THAT(sentenceOf([&] { (void)running.binOrderSpectrum(0); }),
                        HasSubstr("set it up anew"));
        }
        running.setUp(goodSetup());
        const PoolCounts after = analyzerPool(Mode::OneReal);
        EXPECT_EQ(after.abandoned, before.abandoned + 2);
        EXPECT_EQ(after.made + before.idle, before.made + after.idle + 2);
    }
}

// A handle that can not be detached would go on pointing to memory that is gone.
TEST(Pool, NeverTakesBackAHandleThatCanNotBeDetached)
{
    const PoolCounts before = analyzerPool(Mode::OneReal);
    {
        auto analyzer = std::make_optional<Analyzer<Mode::OneReal>>(goodSetup());
        const Replaced replaced(
            &Detail::Functions::initiate, +[](AnalyzerHandle, std::int32_t* error) { *error = 1; });
        analyzer.reset();
    }
    EXPECT_EQ(analyzerPool(Mode::OneReal).abandoned, before.abandoned + 1);
}

TEST(Pool, NeverTakesBackATrackerWhoseInitiateFailed)
{
    const PoolCounts before = trackerPool();
    {
        const Replaced replaced(
            &Detail::Functions::autotrackerInitiate,
            +[](TrackerHandle) { throw std::bad_alloc(); });
        EXPECT_THAT(sentenceOf([] { Autotracker{goodTracker()}; }), HasSubstr("Memory ran out"));
    }
    EXPECT_EQ(trackerPool().abandoned, before.abandoned + 1);
    EXPECT_EQ(sentenceOf([] { Autotracker{goodTracker()}; }), "");
}

// The samples of the failed call are taken again.
TEST(Pool, GoesOnAfterMemoryRanOutInARun)
{
    const Boundary::Recording recording = record(Boundary::crossing(Boundary::tone(3, 4, 0)), 512);
    Analyzer<Mode::OneReal> analyzer(goodSetup());
    analyzer.feed(angleSamples(recording, Mode::OneReal, 0, 512));
    {
        const Replaced replaced(
            &Detail::Functions::calculate,
            +[](AnalyzerHandle) -> CalculationResult { throw std::bad_alloc(); });
        EXPECT_THAT(sentenceOf([&] { analyzer.next(); }), HasSubstr("tries it again"));
    }
    while (analyzer.next()) {
    }
    EXPECT_NEAR(static_cast<double>(analyzer.binOrderSpectrum(2)[16]), 3.0, 1e-6);
}

} // namespace
} // namespace Face
