// order_map on a real rotor rig.

#include "program.h"
#include "rotor_rig.h"
#include "scratch_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

namespace Harmotrack::Tests {
namespace {

// The unbalance rules this machine: its order 1 is the greatest line nearly everywhere.
TEST(RotorRig, FirstOrderIsTheGreatestInNineRowsOfTen)
{
    const ScratchFolder folder;
    Launch launch;
    launch.arguments = rotorRig("LinAcc. x");
    launch.arguments.insert(launch.arguments.end(), {"--output", folder.path().string()});
    const Outcome outcome = runProgram(ORDER_MAP_PROGRAM, launch);
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;

    const auto rows = rowsOf(folder / "order_map.csv");
    std::size_t firstOrder = 0;
    for (std::size_t r = 1; r < rows.size(); ++r) {
        double greatest = 0.0;
        double orderOfGreatest = 0.0;
        for (std::size_t c = 2; c < rows[r].size(); ++c) {
            const double order = std::stod(rows[0][c].substr(std::string("order ").size()));
            const double amplitude = std::stod(rows[r][c]);
            if (order <= 0.25 || amplitude <= greatest) continue;
            greatest = amplitude;
            orderOfGreatest = order;
        }
        if (std::abs(orderOfGreatest - 1.0) <= 0.15) ++firstOrder;
    }
    EXPECT_GT(rows.size(), 30U);
    EXPECT_GE(static_cast<double>(firstOrder), 0.9 * static_cast<double>(rows.size() - 1));
}

} // namespace
} // namespace Harmotrack::Tests
