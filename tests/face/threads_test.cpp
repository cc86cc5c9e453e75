// Objects are independent, and the pool serves all threads. What the tsan preset builds and runs.

#include "face_host.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

namespace Face {
namespace {

constexpr std::size_t kThreads = 8;

template <typename Work>
void onAllThreads(const Work& work)
{
    std::barrier start(static_cast<std::ptrdiff_t>(kThreads));
    std::vector<std::thread> threads;
    for (std::size_t number = 0; number < kThreads; ++number)
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            work(number);
        });
    for (std::thread& thread : threads) thread.join();
}

std::vector<double> track(std::size_t number)
{
    TrackerSetup setup;
    setup.sampleRate = 6000.0;
    setup.orders = {1, 2, 3};
    setup.minFrequency = 600;
    setup.maxFrequency = 6000;
    std::vector<double> samples(6000);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double hertz = 20.0 + static_cast<double>(number);
        const double angle = 2.0 * Boundary::kPi * hertz * static_cast<double>(i) / 6000.0;
        samples[i] = std::cos(angle) + 0.6 * std::cos(2 * angle) + 0.4 * std::cos(3 * angle);
    }
    Autotracker tracker(setup);
    tracker.feed(samples);
    std::vector<double> estimates;
    while (const auto estimate = tracker.next()) estimates.push_back(estimate->frequency);
    return estimates;
}

// The first sample of the first decimating tracker loads the kernels without a lock. So this is the
// first test of its process, and each test has one.
TEST(Threads, EightDecimatingTrackersStartAtOnce)
{
    std::array<std::vector<double>, kThreads> together;
    onAllThreads([&](std::size_t number) { together[number] = track(number); });
    for (std::size_t number = 0; number < kThreads; ++number) {
        ASSERT_FALSE(together[number].empty());
        EXPECT_NEAR(together[number].front(), 60.0 * (20.0 + static_cast<double>(number)), 3.0);
        EXPECT_EQ(together[number], track(number));
    }
}

std::vector<uint32_t> analyse(std::size_t number, const Boundary::Recording& recording)
{
    const Mode mode = kModes[number % 3];
    AnalyzerSetup setup = machineSetup();
    setup.orders.harmonicOrders = {1.0F, 2.5F};
    setup.orders.orderResolution = 1.0F / static_cast<float>(1 + number % 7);
    setup.analysis.timeLines = 16 + static_cast<int>(number % 5) * 8;
    setup.analysis.deltaOnTime = true;
    setup.results = {true, true, false, true, false, true, false, true, true, true};
    AnyAnalyzer analyzer(mode);
    analyzer.setUp(setup);
    return runThrough(analyzer, recording, 1000, 300);
}

TEST(Threads, ShareThePoolAndGiveTheBitsOfASingleOne)
{
    using namespace Boundary;
    constexpr std::size_t kRuns = 48;
    const Recording recording = record(runUp(sum(tone(1.0, 1.0, 0.4), noise(3)), noise(4)), 1000);
    std::array<std::vector<uint32_t>, kRuns> together;
    onAllThreads([&](std::size_t number) {
        for (std::size_t i = number; i < kRuns; i += kThreads) together[i] = analyse(i, recording);
    });
    EXPECT_LE(analyzerPool(Mode::OneReal).made, 3 * kThreads);
    for (std::size_t i = 0; i < kRuns; ++i) EXPECT_TRUE(together[i] == analyse(i, recording)) << i;
}

} // namespace
} // namespace Face
