// The program track_speed, run as its user runs it.

#include "program_test.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <csignal>

namespace Harmotrack::Tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class TrackSpeed : public ProgramTest {
protected:
    TrackSpeed() : ProgramTest(TRACK_SPEED_PROGRAM) {}

    [[nodiscard]] std::vector<std::string>
    arguments(const std::vector<std::string>& more = {}) const
    {
        return with({recording_, "--track", "1000:3000", "--orders", "1,3.5", "--output", output_},
                    more);
    }
};

// Share of the rows of speed.csv that are valid and within some per cent of the truth.
template <typename Truth>
double shareWithin(const std::string& file, double percent, const Truth& rpmAt)
{
    const auto rows = rowsOf(file);
    std::size_t within = 0;
    for (std::size_t r = 1; r < rows.size(); ++r) {
        const double truth = rpmAt(std::stod(rows[r][0]));
        const double error = 100.0 * std::abs(std::stod(rows[r][1]) / truth - 1.0);
        if (rows[r][2] == "1" && error <= percent) ++within;
    }
    return static_cast<double>(within) / static_cast<double>(rows.size() - 1);
}

TEST_F(TrackSpeed, RecordingGivesATableAPictureAndASummary)
{
    const Outcome outcome = run(arguments());
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, IsEmpty()); // no progress but on a terminal
    EXPECT_THAT(outcome.output, HasSubstr("orders 1, 3.5 from 1000 to 3000 rpm"));
    EXPECT_THAT(outcome.output, Not(HasSubstr("Error"))); // nothing to compare with
    const auto rows = rowsOf(output_ + "/speed.csv");
    EXPECT_THAT(rows.front(),
                ElementsAre("time (s)", "speed (rpm)", "valid", "explained", "distinctness"));
    EXPECT_GT(rows.size(), 50U);
    EXPECT_EQ(
        shareWithin(output_ + "/speed.csv", 0.5, [](double t) { return SmallMachine().rpmAt(t); }),
        1.0);
    EXPECT_THAT(contentOf(output_ + "/speed.png").substr(1, 3), "PNG");
}

// Neither the block length nor anything else but range and orders is given. Speed and rate of
// change are those of the truth file.
TEST_F(TrackSpeed, SimulatedRunUpIsTrackedWithinOnePerCent)
{
    Launch make;
    make.arguments = {folder_ / "run_up.flac"};
    ASSERT_EQ(runProgram(MAKE_RUN_UP_PROGRAM, make).exitCode, 0);
    const auto truth = nlohmann::json::parse(contentOf(folder_ / "run_up.json"));
    const auto start = truth.at("speed").at("start_rpm").get<double>();
    const auto slope = (truth.at("speed").at("end_rpm").get<double>() - start) /
                       truth.at("duration_s").get<double>();
    for (const char* channel : {"1", "2"}) {
        const Outcome outcome = run({folder_ / "run_up.flac",
                                     "--channels",
                                     channel,
                                     "--track",
                                     "500:6500",
                                     "--orders",
                                     "1,2",
                                     "--no-picture",
                                     "--output",
                                     output_});
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        EXPECT_GE(
            shareWithin(output_ + "/speed.csv", 1.0, [&](double t) { return start + slope * t; }),
            0.95);
    }
}

// The tacho is not looked at but for the errors: the table is the same.
TEST_F(TrackSpeed, TachoTellsTheErrorAndChangesNothing)
{
    ASSERT_EQ(run(arguments({"--no-picture"})).exitCode, 0);
    const std::string table = contentOf(output_ + "/speed.csv");
    const Outcome outcome = run(arguments({"--tacho", "3"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_EQ(contentOf(output_ + "/speed.csv"), table);
    EXPECT_THAT(outcome.output, HasSubstr("Error to tacho    median 0.0"));
    EXPECT_THAT(outcome.output, HasSubstr("100 % of all blocks within 1 %"));
}

TEST_F(TrackSpeed, TablesAreTrackedToo)
{
    const std::string table = folder_ / "machine.csv";
    store(table, SmallMachine().table());
    const Outcome outcome = run(with(
        columnsOf(table),
        {"--speed", "Speed", "--track", "1100:2500", "--orders", "1,3.5", "--output", output_}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Error to column"));
    EXPECT_EQ(
        shareWithin(output_ + "/speed.csv", 0.5, [](double t) { return SmallMachine().rpmAt(t); }),
        1.0);
}

// From 1.5 to 2.5 s the signal is silent; a block that is half of it still tells the speed.
TEST_F(TrackSpeed, SummarySaysWhereTheMachineWasLost)
{
    std::vector<double> frames = SmallMachine().frames();
    std::fill(frames.begin() + 3 * 12000, frames.begin() + 3 * 20000, 0.0);
    storeAudio(recording_, frames, 8000.0, kFlac);
    const Outcome outcome = run(arguments({"--no-picture"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Lost              1.6"));
    std::size_t silentRows = 0;
    const auto rows = rowsOf(output_ + "/speed.csv");
    for (std::size_t r = 1; r < rows.size(); ++r) {
        if (std::stod(rows[r][0]) < 1.6 || std::stod(rows[r][0]) > 2.4) continue;
        EXPECT_EQ(rows[r][2], "0");
        ++silentRows;
    }
    EXPECT_GT(silentRows, 10U);
}

TEST_F(TrackSpeed, ProgressIsShownOnATerminal)
{
    Launch launch;
    launch.arguments = arguments();
    launch.terminal = true;
    const Outcome outcome = runProgram(program_, launch);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("Tracking ["));
}

TEST_F(TrackSpeed, HelpEndsWellAndNamesTheOptions)
{
    const Outcome outcome = run({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* option : {"--track", "--orders", "--block", "--tacho", "--csv", "--output"})
        EXPECT_THAT(outcome.output, HasSubstr(option));
}

// ---- bad input ---------------------------------------------------------------------------------

TEST_F(TrackSpeed, CommandLinesThatMeanNothingAreRefused)
{
    expectRefusal({"--output", output_}, "Either a recording or a table with --csv");
    expectRefusal({recording_, "--output", output_}, "--track MIN:MAX is needed");
    expectRefusal({recording_, "--track", "1000:3000", "--output", output_}, "needs --orders LIST");
    expectRefusal(arguments({"--colour", "red"}), "--colour");
    expectRefusal(arguments({"--channels", "1,2"}), "signal channels is 2, and 1 is allowed");
    expectRefusal(arguments({"--channels", "9"}), "Channel 9");
    expectRefusal(arguments({"--block", "100"}), "length of a block is 100 s");
    expectRefusal(arguments({"--block", "nan"}), "--block is nan");
    recording_ = folder_ / "absent.flac";
    expectRefusal(arguments(), "There is no file " + recording_);
}

TEST_F(TrackSpeed, SignalsThatCanNotBeTrackedAreRefused)
{
    recording_ = folder_ / "machine.wav";
    std::vector<double> frames = SmallMachine().frames();
    frames[48000] = std::nan(""); // channel 1 at 2 s
    storeAudio(recording_, frames, 8000.0, kFloatWav);
    expectRefusal(arguments(), "not a finite number at 2 s");
    storeAudio(recording_, std::vector<double>(3 * 8000, 0.5), 8000.0, kFloatWav);
    expectRefusal(arguments(), "No speed from 1000 to 3000 rpm was found");
    storeAudio(recording_, std::vector<double>(3 * 80, 0.5), 8000.0, kFloatWav);
    expectRefusal(arguments(), "The signal lasts 0.01 s, and a block needs");
}

TEST_F(TrackSpeed, RecordingCutShortIsRefused)
{
    const std::string whole = contentOf(recording_);
    store(recording_, whole.substr(0, whole.size() / 2));
    expectRefusal(arguments(), "is cut short");
}

TEST_F(TrackSpeed, MissingGnuplotIsNamedWithItsPackage)
{
    expectMissingGnuplotNamed(arguments());
}

TEST_F(TrackSpeed, FullDiskLeavesNoFile)
{
    Launch launch;
    launch.arguments = arguments();
    launch.fileSizeLimit = 1000;
    const Outcome outcome = runProgram(program_, launch);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("speed.csv could not be written: File too large"));
    EXPECT_FALSE(std::filesystem::exists(output_));
}

} // namespace
} // namespace Harmotrack::Tests
