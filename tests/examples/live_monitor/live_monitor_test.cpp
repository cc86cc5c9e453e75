#include "program.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <string>

namespace Harmotrack::Tests {
namespace {

using testing::HasSubstr;

Outcome monitor(const std::vector<std::string>& arguments)
{
    Launch launch;
    launch.arguments = arguments;
    return runProgram(LIVE_MONITOR_PROGRAM, launch);
}

// In ten seconds the machine makes 213 turns, and a block of 8 turns ends every second one. The
// last 12 turns or so are held back: half a block, and pulses that are still being judged. Order 1
// is 2 mm/s, times the resonance. No picture stands over another outside a terminal.
TEST(LiveMonitor, DrawsSpectraUntilItsTimeIsOver)
{
    const Outcome outcome = monitor({"--seconds", "10", "--fast"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("rpm   peak, mm/s   order 1:  2."));
    EXPECT_THAT(outcome.output, HasSubstr("█"));
    EXPECT_EQ(outcome.output.find('\033'), std::string::npos);
    const std::size_t last = outcome.output.rfind('\n', outcome.output.size() - 2);
    EXPECT_NEAR(std::atoi(outcome.output.c_str() + last + 1), (213.0 - 8.0 - 12.0) / 2.0, 8.0);
}

TEST(LiveMonitor, TimeThatIsNoneIsRefused)
{
    const Outcome outcome = monitor({"--seconds", "-1"});
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("--seconds"));
}

} // namespace
} // namespace Harmotrack::Tests
