// order_map without a tacho: the speed is tracked in the signal.

#include "program_test.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <map>
#include <numbers>

namespace Harmotrack::Tests {
namespace {

using testing::HasSubstr;

class OrderMapWithoutTacho : public ProgramTest {
protected:
    OrderMapWithoutTacho() : ProgramTest(ORDER_MAP_PROGRAM) {}

    [[nodiscard]] Outcome orderMap(const std::vector<std::string>& arguments) const
    {
        return run(with(arguments, {"--output", output_}));
    }

    void expectRefusal(const std::vector<std::string>& arguments, const std::string& words) const
    {
        ProgramTest::expectRefusal(with(arguments, {"--output", output_}), words);
    }
};

// Amplitude by speed of one order of a signal, from harmonics.csv.
std::map<double, double> amplitudes(const std::string& folder, double order)
{
    std::map<double, double> found;
    const auto rows = rowsOf(folder + "/harmonics.csv");
    for (std::size_t r = 1; r < rows.size(); ++r) {
        if (rows[r][0] == "channel 1" && std::stod(rows[r][1]) == order)
            found[std::stod(rows[r][2])] = std::stod(rows[r][3]);
    }
    return found;
}

// The machine vibrates with order 1 at a quarter of full scale and order 3.5 at an eighth. An error
// of the tracked speed of 0.1 % smears order 3.5 by a thirtieth of a line.
TEST_F(OrderMapWithoutTacho, TablesHoldTheMachinesOrders)
{
    const Outcome outcome = orderMap({recording_,
                                      "--channels",
                                      "1",
                                      "--track",
                                      "1000:3000",
                                      "--orders",
                                      "1,3.5",
                                      "--harmonics",
                                      "1,3.5"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("tracked in channel 1, found in"));
    for (const auto& [order, amplitude] : {std::pair{1.0, 0.25}, std::pair{3.5, 0.125}}) {
        const auto found = amplitudes(output_, order);
        EXPECT_GT(found.size(), 30U);
        for (const auto& [rpm, value] : found)
            EXPECT_NEAR(value, amplitude, 0.02 * amplitude) << order << " at " << rpm;
    }
    EXPECT_TRUE(std::filesystem::exists(output_ + "/order_map.png"));
}

// 1200 to 1800 rpm within 4 s, silence, and 1800 to 2400 rpm.
TEST_F(OrderMapWithoutTacho, BothSidesOfASilenceAreAnalysed)
{
    constexpr double kRate = 8000.0;
    std::vector<double> frames;
    double turns = 0.0;
    for (int k = 0; k < static_cast<int>(11.0 * kRate); ++k) {
        const double t = k / kRate;
        const bool silent = t >= 4.0 && t < 7.0;
        turns += (1200.0 + 150.0 * (t < 4.0 ? t : t - 3.0)) / 60.0 / kRate;
        const double phi = 2.0 * std::numbers::pi * turns;
        const double machine = 0.25 * std::cos(phi + 0.5) + 0.125 * std::cos(3.5 * phi);
        frames.insert(frames.end(), {silent ? 0.0 : machine, 0.0, 0.0});
    }
    storeAudio(recording_, frames, kRate, kFlac);
    const Outcome outcome = orderMap({recording_,
                                      "--channels",
                                      "1",
                                      "--track",
                                      "1000:3000",
                                      "--orders",
                                      "1,3.5",
                                      "--harmonics",
                                      "1,3.5"});
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto found = amplitudes(output_, 1.0);
    EXPECT_GT(std::distance(found.begin(), found.lower_bound(1750.0)), 5);
    EXPECT_GT(std::distance(found.upper_bound(1850.0), found.end()), 5);
    for (const auto& [rpm, value] : found) EXPECT_NEAR(value, 0.25, 0.005) << rpm;
}

TEST_F(OrderMapWithoutTacho, TableNeedsNoColumnOfSpeed)
{
    const std::string table = folder_ / "machine.csv";
    store(table, SmallMachine().table());
    const Outcome outcome = orderMap(with(
        columnsOf(table),
        {"--track", "1100:2500", "--orders", "1,3.5", "--highest-order", "5", "--no-picture"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("tracked in Signal"));
}

TEST_F(OrderMapWithoutTacho, MeaninglessRequestsAreRefused)
{
    expectRefusal({recording_}, "needs --tacho CHANNEL, or --track MIN:MAX");
    expectRefusal({recording_, "--track", "1000:3000"}, "--track needs --orders LIST");
    expectRefusal({recording_, "--track", "1000", "--orders", "1,2"}, "\"1000\", and two speeds");
    expectRefusal({recording_, "--track", "1000:3000x", "--orders", "1,2"}, "\"1000:3000x\"");
    expectRefusal({recording_, "--track", ":3000", "--orders", "1,2"}, "\":3000\"");
    expectRefusal({recording_, "--track", "3000:1000", "--orders", "1,2"}, "3000 to 1000 rpm");
    expectRefusal({recording_, "--track", "1000:3000", "--orders", "1"}, "number of orders is 1");
    expectRefusal({recording_, "--track", "1000:3000", "--orders", "1,0"}, "list is 0");
    expectRefusal({recording_, "--track", "1000:3000", "--orders", "2,4"}, "multiples of 2");
    expectRefusal({recording_, "--track", "1000:3000", "--orders", "1,200"}, "must be at least");
    expectRefusal({recording_, "--track", "1000:3000", "--orders", "1,2", "--block", "-1"},
                  "--block is -1");
    expectRefusal({recording_, "--tacho", "3", "--track", "1000:3000", "--orders", "1,2"},
                  "either tracked by --track or known");
    expectRefusal({recording_, "--tacho", "3", "--orders", "1,2"}, "is --highest-order");
    expectRefusal({recording_, "--tacho", "3", "--block", "1"}, "--block belongs to --track");
}

TEST_F(OrderMapWithoutTacho, SignalWithoutAMachineIsRefused)
{
    const std::vector<double> silence(3 * 8000, 0.0);
    storeAudio(recording_, silence, 8000.0, kFlac);
    expectRefusal({recording_, "--track", "1000:3000", "--orders", "1,2"},
                  "No speed from 1000 to 3000 rpm was found");
}

} // namespace
} // namespace Harmotrack::Tests
