#include "../order_tracking/analyzer_rig.h"
#include "api/handles.h"
#include "failing_new.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>

namespace Velmora::OrderTracking {
namespace {

class OutOfMemory : public testing::TestWithParam<std::int32_t> {};

INSTANTIATE_TEST_SUITE_P(EachMode,
                         OutOfMemory,
                         testing::Values(HARMOTRACK_MODE_ONE_REAL,
                                         HARMOTRACK_MODE_TWO_REAL,
                                         HARMOTRACK_MODE_ONE_COMPLEX));

void askForEverything(AnalyzerRig& rig)
{
    for (std::size_t i = 0; i < sizeof rig.parameters; ++i) (&rig.parameters.binHarmonics)[i] = 1;
    rig.orders = {1.0F, 0.5F};
    rig.analysis.weightingType = HARMOTRACK_WEIGHTING_A;
}

// Each allocation in turn fails, in an object of its own, which is then destroyed: leak detection
// sees what stays behind.
TEST_P(OutOfMemory, InitiateTurnsIntoAnErrorValueWhereverItHappens)
{
    int failures = 0;
    for (int allocations = 0;; ++allocations) {
        AnalyzerRig rig(GetParam());
        askForEverything(rig);
        rig.derive();
        std::int32_t error = -1;
        bool failed = false;
        {
            const FailingNew scarce(allocations);
            initiate(Api::handleOf(&rig.analyzer), &error);
            failed = FailingNew::hasFailed();
        }
        ASSERT_EQ(error, failed ? 1 : 0) << allocations;
        if (!failed) break;
        ++failures;
    }
    EXPECT_GT(failures, 20);
}

TEST(UnknownWindow, LeavesTheErrorValueAtZeroAndPassesThrough)
{
    AnalyzerRig rig;
    rig.analysis.windowType = 9;
    rig.derive();
    std::int32_t error = -1;
    EXPECT_THROW(initiate(Api::handleOf(&rig.analyzer), &error), std::invalid_argument);
    EXPECT_EQ(error, 0);
}

// A contiguous block with harmonics falls due at sample 15. The failed call leaves its samples to
// the next one, which stores the block at the same sample.
TEST_P(OutOfMemory, CalculateLeavesItsSamplesToTheNextCall)
{
    AnalyzerRig rig(GetParam());
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.0F};
    rig.prepare();
    for (int i = 0; i < 30; ++i) rig.addAngle({.a = 3.0, .bin = 1300.0});
    {
        const FailingNew scarce(0);
        EXPECT_THROW(rig.analyzer.calculate(), std::bad_alloc);
    }
    EXPECT_EQ(rig.processed(), 0);
    EXPECT_EQ(rig.calculate(), "binHarmonics rpm bin 3 more");
    EXPECT_EQ(rig.processed(), 16);
    EXPECT_EQ(rig.analyzer.results().harmonicsA.rows()[0][3], std::complex<float>(3.0F));
}

// What a run allocates is the value array of its harmonics, and nothing else.
TEST_P(OutOfMemory, CalculateNeedsNoMemoryWithoutHarmonics)
{
    AnalyzerRig rig(GetParam());
    askForEverything(rig);
    rig.parameters.binHarmonics = 0;
    rig.parameters.deltaHarmonics = 0;
    rig.analysis.deltaOnTime = 1;
    rig.prepare();
    int results = 0;
    for (std::int64_t i = 0; i < 200; ++i) {
        const FailingNew scarce(0);
        rig.addTime(static_cast<double>(i % 5));
        rig.addAngle({.a = static_cast<double>(i % 7),
                      .bin = 1000.0 + 5.0 * static_cast<double>(i),
                      .time = static_cast<double>(i) / 160.0});
        while (rig.analyzer.calculate().consumed == 0) ++results;
        if (i % 50 == 49) rig.analyzer.reset();
    }
    EXPECT_GT(results, 20);
}

} // namespace
} // namespace Velmora::OrderTracking
