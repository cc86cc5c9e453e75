// A process that finds no kernel library, neither beside itself nor by the system's search. The
// table of kernels is never emptied again, so these steps are one test.

#include "autotracker/autotracker.h"
#include "kernels/kernel_table.h"

#include "test_tracker.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace Velmora::Autotracker {
namespace {

std::string failureOf(Autotracker& tracker)
{
    try {
        static_cast<void>(tracker.calculate());
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

TEST(AutotrackerWithoutKernels, LosesASampleACallAndTracksOnWhenTheyAreFound)
{
    // Without decimation there is no filter, and nothing fails.
    TestTracker plain;
    plain.start();
    plain.feed(steadyMachine(100, 1000.0, 40.0));
    EXPECT_EQ(plain.tracker.calculate().valid, 1);

    TestTracker test;
    test.sampleRate = 20000.0;
    test.start();
    test.feed(steadyMachine(2100, 20000.0, 40.0));
    for (std::int64_t lost = 1; lost <= 3; ++lost) {
        EXPECT_EQ(failureOf(test.tracker), "Failed to initialize VexCalc.");
        EXPECT_EQ(+test.tracker.signal().readCount, lost);
        EXPECT_EQ(test.tracker.signal().readIndex, lost);
        EXPECT_EQ(test.tracker.filteredCount(), 0);
        EXPECT_EQ(+test.tracker.decimatedSignal().writeCount, 0);
        EXPECT_EQ(test.tracker.result().valid, 0);
    }

    ASSERT_EQ(Kernels::initializeVexCalc(0, 220, HARMOTRACK_LIBRARY_DIR), 0);
    EXPECT_EQ(test.tracker.calculate().valid, 1);
    EXPECT_EQ(+test.tracker.signal().readCount, 2100);
    EXPECT_EQ(test.tracker.filteredCount(), 2097);
}

} // namespace
} // namespace Velmora::Autotracker
