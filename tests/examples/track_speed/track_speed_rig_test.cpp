// track_speed on a real rotor rig.

#include "program.h"
#include "rotor_rig.h"
#include "scratch_folder.h"

#include <gtest/gtest.h>

namespace Harmotrack::Tests {
namespace {

// Sensor and encoder differ by nearly 2 % throughout,
// which no tracking can mend; the encoder's readings scatter by several per cent besides, which the
// mean over a block of nearly 2 s evens out.
TEST(RotorRig, SteadySpeedIsTrackedWithinThreePerCentOfTheEncoder)
{
    for (const char* signal : {"LinAcc. x", "LinAcc. z"}) {
        const ScratchFolder folder;
        Launch launch;
        launch.arguments = rotorRig(signal);
        launch.arguments.insert(launch.arguments.end(),
                                {"--track",
                                 "100:320",
                                 "--orders",
                                 "1,2",
                                 "--no-picture",
                                 "--output",
                                 folder.path().string()});
        const Outcome outcome = runProgram(TRACK_SPEED_PROGRAM, launch);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        const std::string text = "Error to column   median ";
        const auto place = outcome.output.find(text);
        ASSERT_NE(place, std::string::npos) << outcome.output;
        EXPECT_LT(std::stod(outcome.output.substr(place + text.size())), 3.0);

        const auto rows = rowsOf(folder / "speed.csv");
        std::size_t valid = 0;
        for (std::size_t r = 1; r < rows.size(); ++r) valid += rows[r][2] == "1" ? 1U : 0U;
        EXPECT_GE(static_cast<double>(valid), 0.85 * static_cast<double>(rows.size() - 1));
    }
}

} // namespace
} // namespace Harmotrack::Tests
