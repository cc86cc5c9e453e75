// Memory that runs out in setting up, whichever allocation it begins with: from then on all fail.
// There is a sentence nevertheless, no handle whose initiate() failed goes back to the pool, and
// what is set up later, with memory, is as good as new.

#include "face_host.h"

#include "api/failing_new.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace Face {
namespace {

using testing::StartsWith;

/// What came of a call; takes no memory to keep.
struct Ending {
    std::array<char, 400> sentence{};
    bool memoryRanOut = false;
};

template <typename Call>
Ending endingWithAllocations(int allocations, const Call& call)
{
    Ending ending;
    const FailingNew scarce(allocations);
    try {
        call();
    } catch (const Error& error) {
        std::strncpy(ending.sentence.data(), error.what(), ending.sentence.size() - 1);
    }
    ending.memoryRanOut = FailingNew::hasFailed();
    return ending;
}

/// Repeats it with one allocation more each time, until none fails.
/// @return  how often memory ran out
template <typename Attempt>
int withMoreAndMore(const Attempt& attempt)
{
    int failures = 0;
    while (attempt(failures)) ++failures;
    return failures;
}

void expectSentence(const Ending& ending, int allocations)
{
    EXPECT_THAT(ending.sentence.data(), StartsWith("Memory ran out")) << allocations;
}

/// All handles that were made, but for those in use, are idle or abandoned.
void expectNoHandleLost(std::size_t inUse)
{
    std::size_t known = analyzerPool(Mode::OneReal).abandoned + inUse;
    for (const Mode mode : kModes) known += analyzerPool(mode).idle;
    EXPECT_EQ(known, analyzerPool(Mode::OneReal).made);
}

AnalyzerSetup everything(Mode mode)
{
    AnalyzerSetup setup = machineSetup();
    setup.orders.harmonicOrders = {1.0F, 2.5F};
    setup.analysis.weightingType = Weighting::A;
    setup.analysis.maxRpm = 3000.0F;
    setup.analysis.deltaOnTime = true;
    setup.results = {.binHarmonics = true, .binOrderSpectrum = true, .timeOrderSpectrum = true};
    setup.results.binTimeSpectrum = setup.results.overall = true;
    setup.results.deltaHarmonics = setup.results.deltaOrderSpectrum = true;
    if (mode == Mode::TwoReal)
        setup.results.binOrderTwoSided = setup.results.timeOrderTwoSided =
            setup.results.binTimeTwoSided = true;
    return setup;
}

/// initiate() of the library, which counts how often it failed.
int failedInitiates = 0;

void countingInitiate(AnalyzerHandle analyzer, std::int32_t* error)
{
    ::initiate(analyzer, error);
    if (*error != 0) ++failedInitiates;
}

class OutOfMemory : public testing::TestWithParam<Mode> {
protected:
    OutOfMemory()
    {
        const_cast<Detail::Functions&>(Detail::Library::instance().functions()).initiate =
            countingInitiate;
        failedInitiates = 0;
        abandonedBefore_ = analyzerPool(GetParam()).abandoned;
    }

    [[nodiscard]] std::size_t abandoned() const
    {
        return analyzerPool(GetParam()).abandoned - abandonedBefore_;
    }

    AnalyzerSetup setup_ = everything(GetParam());
    const Boundary::Recording recording_ = record(Boundary::crossing(Boundary::tone(3, 4, 0)), 512);

private:
    std::size_t abandonedBefore_ = 0;
};

INSTANTIATE_TEST_SUITE_P(Mode, OutOfMemory, testing::ValuesIn(kModes));

// The first attempts find FFTW not even loaded.
TEST_P(OutOfMemory, OfSettingUpHasASentenceAndNoConsequence)
{
    std::vector<std::uint32_t> expected;
    const int failures = withMoreAndMore([&](int allocations) {
        AnyAnalyzer analyzer(GetParam());
        const Ending ending = endingWithAllocations(allocations, [&] { analyzer.setUp(setup_); });
        EXPECT_EQ(analyzer.isSetUp(), !ending.memoryRanOut);
        if (ending.memoryRanOut) expectSentence(ending, allocations);
        EXPECT_GE(abandoned(), static_cast<std::size_t>(failedInitiates));
        expectNoHandleLost(ending.memoryRanOut ? 0 : 1);

        analyzer.setUp(setup_);
        const auto words = runThrough(analyzer, recording_, 512, 256);
        if (expected.empty()) expected = words;
        EXPECT_EQ(words, expected) << allocations;
        return ending.memoryRanOut;
    });
    EXPECT_GT(failures, 60);
    EXPECT_GT(failedInitiates, 10);
}

// Its handle is detached, and initiated again.
TEST_P(OutOfMemory, OfRestartingHasASentenceAndAsksForANewSetup)
{
    const int failures = withMoreAndMore([&](int allocations) {
        AnyAnalyzer analyzer(GetParam());
        analyzer.setUp(setup_);
        const Ending ending = endingWithAllocations(allocations, [&] { analyzer.restart(); });
        if (ending.memoryRanOut) {
            expectSentence(ending, allocations);
            EXPECT_THAT(sentenceOf([&] { analyzer.next(); }), StartsWith("Memory ran out in this"));
        }
        analyzer.setUp(setup_);
        EXPECT_FALSE(runThrough(analyzer, recording_, 512, 256).empty());
        return ending.memoryRanOut;
    });
    EXPECT_GT(failures, 10);
    EXPECT_EQ(abandoned(), static_cast<std::size_t>(failures));
}

// A process that lacks memory ends its objects too.
TEST_P(OutOfMemory, OfEndingAnAnalyzerAbandonsItsHandle)
{
    auto analyzer = std::make_optional<AnyAnalyzer>(GetParam());
    analyzer->setUp(setup_);
    {
        const FailingNew scarce(0);
        analyzer.reset();
    }
    EXPECT_EQ(abandoned(), 1U);
    expectNoHandleLost(0);
}

// If memory runs out after the sizes are known, when the handle goes back, they are good.
TEST_P(OutOfMemory, OfAskingForSizesHasASentenceOrGivesThem)
{
    const AnyAnalyzer analyzer(GetParam());
    int sentences = 0;
    const int failures = withMoreAndMore([&](int allocations) {
        int bins = 0;
        const Ending ending =
            endingWithAllocations(allocations, [&] { bins = analyzer.sizesOf(setup_).bins; });
        if (bins == 0) {
            expectSentence(ending, allocations);
            ++sentences;
        } else {
            EXPECT_EQ(bins, 11);
        }
        expectNoHandleLost(0);
        return ending.memoryRanOut;
    });
    EXPECT_GT(sentences, 5);
    EXPECT_GT(failures, sentences);
}

// One that decimates: the first attempts find the kernels not loaded.
TEST(OutOfMemoryOfTrackers, HasASentenceAndNoConsequence)
{
    TrackerSetup setup;
    setup.sampleRate = 6000.0;
    setup.orders = {1, 2, 3};
    setup.minFrequency = 600.0;
    setup.maxFrequency = 6000.0;
    std::vector<double> sound(6000);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double angle = 2.0 * 3.14159265358979 * 20.0 * static_cast<double>(i) / 6000.0;
        sound[i] = std::cos(angle) + 0.6 * std::cos(2 * angle) + 0.4 * std::cos(3 * angle);
    }
    const int failures = withMoreAndMore([&](int allocations) {
        Autotracker tracker;
        const Ending ending = endingWithAllocations(allocations, [&] { tracker.setUp(setup); });
        EXPECT_EQ(tracker.isSetUp(), !ending.memoryRanOut);
        if (ending.memoryRanOut) expectSentence(ending, allocations);
        const std::size_t inUse = ending.memoryRanOut ? 0 : 1;
        EXPECT_EQ(trackerPool().idle + trackerPool().abandoned + inUse, trackerPool().made);

        tracker.setUp(setup);
        tracker.feed(sound);
        const auto estimate = tracker.next();
        EXPECT_TRUE(estimate && std::abs(estimate->frequency - 1200.0) < 3.0) << allocations;
        return ending.memoryRanOut;
    });
    EXPECT_GT(failures, 10);
    EXPECT_GT(trackerPool().abandoned, 1U);
}

} // namespace
} // namespace Face
