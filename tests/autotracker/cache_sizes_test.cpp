// A candidate allocates nothing and scores the same whatever caches the processor has: Eigen is
// told other ones than it finds. A process of its own, since it defines malloc and what Eigen is
// told stays told.

#include "boundary/counted_heap.h"
#include "test_tracker.h"

#include <Eigen/Core>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <vector>

namespace Velmora::Autotracker {
namespace {

struct Caches {
    std::ptrdiff_t level1;
    std::ptrdiff_t level2;
    std::ptrdiff_t level3;
};

std::ostream& operator<<(std::ostream& out, const Caches& caches)
{
    return out << caches.level1 << ", " << caches.level2 << " and " << caches.level3 << " bytes";
}

constexpr std::ptrdiff_t kKibi = 1024;
constexpr std::ptrdiff_t kMebi = 1024 * kKibi;

class EveryProcessor : public testing::TestWithParam<Caches> {
protected:
    EveryProcessor()
    {
        Eigen::setCpuCacheSizes(GetParam().level1, GetParam().level2, GetParam().level3);
    }
};

// A tracker that has a block, with the orders 1 .. m up to a quarter of the rate.
class BlockOf : public TestTracker {
public:
    BlockOf(std::int32_t samples, std::int32_t orderCount)
    {
        orders.clear();
        for (std::int32_t j = 1; j <= orderCount; ++j) orders.push_back(static_cast<float>(j));
        setup.maxFrequency = 250.0 / orderCount;
        slots = samples + 1;
        useBlocksOf(samples);
        start();
        feed(steadyMachine(static_cast<std::size_t>(samples), 1000.0, 0.7 * setup.maxFrequency));
        tracker.copyBlock();
    }

    double score() { return tracker.likelihood(kTwoPi * 0.7 * setup.maxFrequency, false); }
};

TEST_P(EveryProcessor, CandidateAllocatesNothing)
{
    for (const std::int32_t samples : {250, 1000, 5000})
        for (const std::int32_t orderCount : {0, 1, 3, 10, 32, 64, 120}) {
            BlockOf block(samples, orderCount);
            std::int64_t allocations = 0;
            {
                const Boundary::Counting counting;
                static_cast<void>(block.score());
                allocations = Boundary::heapCount.allocations;
            }
            EXPECT_EQ(allocations, 0) << samples << " samples, " << orderCount << " orders";
        }
}

TEST_P(EveryProcessor, InverseIsTheSameToTheBit)
{
    BlockOf block(250, 64);
    static_cast<void>(block.score());
    const Eigen::MatrixXd inverse = block.tracker.gramInverse();
    Eigen::setCpuCacheSizes(32 * kKibi, 256 * kKibi, 8 * kMebi);
    static_cast<void>(block.score());
    EXPECT_EQ(block.tracker.gramInverse(), inverse);
}

// Processors from a small one of 2005 to a large server.
INSTANTIATE_TEST_SUITE_P(Caches,
                         EveryProcessor,
                         testing::Values(Caches{16 * kKibi, 256 * kKibi, 256 * kKibi},
                                         Caches{32 * kKibi, 256 * kKibi, 2 * kMebi},
                                         Caches{32 * kKibi, 512 * kKibi, 32 * kMebi},
                                         Caches{48 * kKibi, 1280 * kKibi, 24 * kMebi},
                                         Caches{48 * kKibi, 2 * kMebi, 384 * kMebi},
                                         Caches{64 * kKibi, 512 * kKibi, 2 * kMebi},
                                         Caches{128 * kKibi, 12 * kMebi, 12 * kMebi}));

} // namespace
} // namespace Velmora::Autotracker
