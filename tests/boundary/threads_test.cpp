// Handles are independent: many analyzers are made, initiated and run at the same time.

#include "test_host.h"

#include <gtest/gtest.h>

#include <barrier>
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace Boundary {
namespace {

constexpr size_t kAnalyzers = 200;
constexpr size_t kThreads = 8;

struct Result {
    std::vector<Outcome> outcomes;
    std::vector<uint32_t> tables;
};

// Of all modes and windows, and of several sizes, so that planning has to do.
Result analyse(size_t number, const Recording& recording)
{
    Host host(static_cast<int32_t>(number % 3));
    host.angleSlots = host.timeSlots = 2048;
    host.harmonicOrders = {1.0F, 2.5F};
    host.orders.orderResolution = 1.0F / static_cast<float>(1 + number % 7);
    host.analysis.timeLines = 16 + static_cast<int32_t>(number % 5) * 8;
    host.analysis.windowType = static_cast<int32_t>(number % 6);
    host.analysis.weightingType = static_cast<int32_t>(number % 4);
    host.analysis.blockMode = static_cast<int32_t>(number / 3 % 2);
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 0.5F;
    host.parameters = {1, 1, 1, 1, 1, 1, 0, 1, 1, 1};
    host.start();
    Result result;
    result.outcomes = host.run(recording);
    result.tables = host.tableWords();
    return result;
}

TEST(Threads, TwoHundredAnalyzersOnEightThreadsGiveTheBitsOfASingleOne)
{
    const Recording recording =
        record(runUp(sum(tone(1.0, 1.0, 0.4), noise(3)), sum(tone(0.5, 2.5, 0.1), noise(4))), 1000);

    std::vector<Result> together(kAnalyzers);
    std::barrier start(static_cast<std::ptrdiff_t>(kThreads));
    std::vector<std::thread> threads;
    for (size_t thread = 0; thread < kThreads; ++thread) {
        threads.emplace_back([&, thread] {
            start.arrive_and_wait();
            for (size_t i = thread; i < kAnalyzers; i += kThreads)
                together[i] = analyse(i, recording);
        });
    }
    for (std::thread& thread : threads) thread.join();

    for (size_t i = 0; i < kAnalyzers; ++i) {
        const Result alone = analyse(i, recording);
        EXPECT_FALSE(alone.outcomes.empty());
        EXPECT_EQ(firstDifference(alone.outcomes, together[i].outcomes), "") << "analyzer " << i;
        EXPECT_TRUE(alone.tables == together[i].tables) << "analyzer " << i;
    }
}

} // namespace
} // namespace Boundary
