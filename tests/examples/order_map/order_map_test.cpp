// The program order_map, run as its user runs it.

#include "program_test.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <limits>
#include <numbers>

namespace Harmotrack::Tests {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

class OrderMap : public ProgramTest {
protected:
    OrderMap() : ProgramTest(ORDER_MAP_PROGRAM) { store(table_, SmallMachine().table()); }

    [[nodiscard]] std::vector<std::string> audioArguments() const
    {
        return {"--tacho", "3", recording_, "--output", output_};
    }

    [[nodiscard]] std::vector<std::string> tableArguments() const
    {
        return with(columnsOf(table_), {"--speed", "Speed", "--output", output_});
    }

    std::string table_ = folder_ / "machine.csv";
};

TEST_F(OrderMap, RecordingGivesFourTablesAPictureAndASummary)
{
    const Outcome outcome = run(with(audioArguments(), {"--pulses-per-revolution", "1"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.errors, IsEmpty()); // no progress but on a terminal
    EXPECT_THAT(outcome.output, HasSubstr("Speed"));
    EXPECT_THAT(outcome.output, HasSubstr("visited"));
    EXPECT_THAT(outcome.output, HasSubstr("order 3.5"));
    EXPECT_THAT(outcome.output, HasSubstr("overall level"));

    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(output_))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    EXPECT_THAT(
        names,
        ElementsAre(
            "frequency_map.csv", "harmonics.csv", "order_map.csv", "order_map.png", "overall.csv"));
    // Width and height stand in the first chunk, most significant byte first.
    const std::string picture = contentOf(output_ + "/order_map.png");
    ASSERT_GT(picture.size(), 24U);
    EXPECT_EQ(picture.substr(1, 3), "PNG");
    EXPECT_EQ(picture.substr(16, 8), std::string("\0\0\x07\xD0\0\0\x04\xE2", 8)); // 2000 x 1250
}

// The second channel is half the first; 0.25 peak is the amplitude of order 1, and phase 0.5 rad
// less the angle of the tacho's mark.
TEST_F(OrderMap, TablesHoldTheMachinesOrders)
{
    const Outcome outcome = run(with(audioArguments(), {"--harmonics", "1", "--no-picture"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto rows = rowsOf(output_ + "/harmonics.csv");
    ASSERT_THAT(
        rows[0],
        ElementsAre(
            "signal", "order", "speed (rpm)", "amplitude (EU peak)", "phase (deg)", "coherence"));
    ASSERT_GT(rows.size(), 60U);
    for (std::size_t r = 1; r < rows.size(); ++r) {
        EXPECT_NEAR(std::stod(rows[r][3]), rows[r][0] == "channel 1" ? 0.25 : 0.125, 0.001);
        // The mark is the pulse's rise through half its height, acos(1 - ln(2) / 20) before its
        // peak at 0.3 rad: at 0.0361 rad.
        EXPECT_NEAR(std::stod(rows[r][4]), (0.5 + 0.0361) * 180.0 / std::numbers::pi, 0.5);
        EXPECT_NEAR(std::stod(rows[r][5]), 1.0, 0.01);
    }
    const auto levels = rowsOf(output_ + "/overall.csv");
    ASSERT_GT(levels.size(), 60U);
    for (std::size_t r = 1; r < levels.size(); ++r) // RMS: sqrt((0.25² + 0.125²) / 2)
        EXPECT_NEAR(std::stod(levels[r][2]), levels[r][0] == "channel 1" ? 0.1976 : 0.0988, 0.003);
}

TEST_F(OrderMap, WavGivesTheTablesOfFlac)
{
    ASSERT_EQ(run(with(audioArguments(), {"--no-picture"})).exitCode, 0);
    const std::string fromFlac = contentOf(output_ + "/order_map.csv");
    recording_ = folder_ / "machine.wav";
    storeAudio(recording_, SmallMachine().frames(), SmallMachine().rateHz, kWav);
    ASSERT_EQ(run(with(audioArguments(), {"--no-picture"})).exitCode, 0);
    EXPECT_EQ(contentOf(output_ + "/order_map.csv"), fromFlac);
}

// 1000 to 1500 rpm within 4 s, a second of standstill, and 1500 to 2000 rpm.
TEST_F(OrderMap, TableWithAStandstillIsAnalysedOnBothSidesOfIt)
{
    std::string text = "Time,Speed,Signal\n";
    double turns = 0.0;
    for (int k = 0; k < 4500; ++k) {
        const double t = k / 500.0;
        const bool stands = t >= 4.0 && t < 5.0;
        const double rpm = stands ? 0.0 : 1000.0 + 125.0 * (t < 4.0 ? t : t - 1.0);
        turns += rpm / 60.0 / 500.0;
        text += std::to_string(1000.0 * t) + ',' + std::to_string(rpm) + ',' +
                std::to_string(stands ? 0.0 : std::cos(2.0 * std::numbers::pi * turns)) + '\n';
    }
    store(table_, text);
    const Outcome outcome = run(with(tableArguments(), {"--harmonics", "1"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("the shaft stands still: the angle begins anew."));
    std::size_t below = 0;
    std::size_t above = 0;
    const auto rows = rowsOf(output_ + "/harmonics.csv");
    for (std::size_t r = 1; r < rows.size(); ++r) {
        EXPECT_NEAR(std::stod(rows[r][3]), 1.0, 0.02) << rows[r][2] << " rpm";
        ++(std::stod(rows[r][2]) < 1450.0 ? below : above);
    }
    EXPECT_GT(below, 3U);
    EXPECT_GT(above, 3U);
}

// Column names with blanks round them, and a column of blanks and NaN that is not asked for.
TEST_F(OrderMap, TableWithASpeedColumnIsAnalysed)
{
    const Outcome outcome = run(tableArguments());
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto rows = rowsOf(output_ + "/order_map.csv");
    ASSERT_GT(rows.size(), 30U);
    for (std::size_t r = 1; r < rows.size(); ++r) {
        const auto greatest = std::max_element(
            rows[r].begin() + 2, rows[r].end(), [](const std::string& a, const std::string& b) {
                return std::stod(a) < std::stod(b);
            });
        EXPECT_EQ(rows[0][static_cast<std::size_t>(greatest - rows[r].begin())], "order 1");
        EXPECT_NEAR(std::stod(*greatest), 0.25, 0.005);
    }
}

TEST_F(OrderMap, OrbitAddsTheWhirl)
{
    ASSERT_EQ(run(with(audioArguments(), {"--orbit", "--no-picture"})).exitCode, 0);
    const auto rows = rowsOf(output_ + "/whirl_map.csv");
    ASSERT_GT(rows.size(), 30U);
    EXPECT_EQ(rows[0].front(), "speed (rpm)");
    EXPECT_EQ(rows[0][1], "order -40");
    EXPECT_EQ(rows[0].back(), "order 40");
}

TEST_F(OrderMap, OneChannelMayBeChosen)
{
    ASSERT_EQ(run(with(audioArguments(), {"--channels", "2"})).exitCode, 0);
    const auto rows = rowsOf(output_ + "/overall.csv");
    ASSERT_GT(rows.size(), 30U);
    for (std::size_t r = 1; r < rows.size(); ++r) EXPECT_EQ(rows[r][0], "channel 2");
}

// Lines are 1/15 apart, and a Hanning window leaves 0.849 of a sine in either neighbour: the mean
// of the nearest line loses a seventh, and the lines together 0.0004.
TEST_F(OrderMap, OrderBetweenTwoLinesReadsItsAmplitude)
{
    const Outcome outcome = run(with(
        audioArguments(), {"--harmonics", "3.5", "--resolution", "0.0666667", "--no-picture"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto rows = rowsOf(output_ + "/harmonics.csv");
    ASSERT_GT(rows.size(), 40U);
    for (std::size_t r = 1; r < rows.size(); ++r)
        EXPECT_NEAR(std::stod(rows[r][3]), rows[r][0] == "channel 1" ? 0.125 : 0.0625, 0.001);
}

TEST_F(OrderMap, SteadyMachineIsAnalysedInBlocksEdgeToEdge)
{
    SmallMachine steady;
    steady.rpmPerSecond = 0.0;
    storeAudio(recording_, steady.frames(), steady.rateHz, kFlac);
    const Outcome outcome = run(with(audioArguments(), {"--harmonics", "1"}));
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
    const auto rows = rowsOf(output_ + "/harmonics.csv");
    ASSERT_EQ(rows.size(), 3U);
    EXPECT_EQ(rows[1][2], "1200");
    EXPECT_NEAR(std::stod(rows[1][3]), 0.25, 1e-3);
}

// A machine that drifts by 4 %, from 1200 to 1248 rpm: one row holds all of its blocks, and asked
// for steps it has as many as are asked for.
TEST_F(OrderMap, DriftingMachineHasOneRow)
{
    SmallMachine drifting;
    drifting.rpmPerSecond = 12.0;
    storeAudio(recording_, drifting.frames(), drifting.rateHz, kFlac);
    const auto arguments = with(audioArguments(), {"--harmonics", "1"});
    ASSERT_EQ(run(arguments).exitCode, 0);
    const auto rows = rowsOf(output_ + "/harmonics.csv");
    ASSERT_EQ(rows.size(), 3U); // its title, and a row a channel
    EXPECT_NEAR(std::stod(rows[1][2]), 1224.0, 1.0);
    EXPECT_NEAR(std::stod(rows[1][3]), 0.25, 2e-3);
    ASSERT_EQ(run(with(arguments, {"--rpm-step", "10", "--no-picture"})).exitCode, 0);
    EXPECT_GT(rowsOf(output_ + "/harmonics.csv").size(), 7U);
}

TEST_F(OrderMap, ProgressIsShownOnATerminal)
{
    Launch launch;
    launch.arguments = with(audioArguments(), {"--no-picture"});
    launch.terminal = true;
    const Outcome outcome = runProgram(program_, launch);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("Analysing ["));
}

TEST_F(OrderMap, HelpEndsWellAndNamesTheOptions)
{
    const Outcome outcome = run({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    for (const char* option : {"--tacho", "--csv", "--time-unit", "--output", "--window"})
        EXPECT_THAT(outcome.output, HasSubstr(option));
}

// ---- bad input ---------------------------------------------------------------------------------

TEST_F(OrderMap, CommandLinesThatMeanNothingAreRefused)
{
    expectRefusal({"--output", output_}, "Either a recording or a table with --csv");
    expectRefusal({recording_, "--output", output_}, "needs --tacho");
    expectRefusal(with(audioArguments(), {"--colour", "red"}), "--colour");
    expectRefusal(with(audioArguments(), {"--window", "round"}), "\"round\"");
    expectRefusal({"--csv", table_, "--speed", "Speed", "--signal", "Signal", "--output", output_},
                  "needs --time");
}

TEST_F(OrderMap, FilesThatAreNoRecordingsAreRefused)
{
    recording_ = folder_ / "absent.flac";
    expectRefusal(audioArguments(), "There is no file " + recording_);
    recording_ = folder_ / "text.flac";
    store(recording_, "This is not audio, but a sentence.\n");
    expectRefusal(audioArguments(), "is no recording that can be read");
    recording_ = folder_.path().string();
    expectRefusal(audioArguments(), "is no recording that can be read");
    recording_ = folder_ / "empty.wav";
    store(recording_, "");
    expectRefusal(audioArguments(), "is no recording that can be read");
}

TEST_F(OrderMap, RecordingCutShortIsRefused)
{
    const std::string whole = contentOf(recording_);
    store(recording_, whole.substr(0, whole.size() / 2));
    expectRefusal(audioArguments(), "is cut short");
}

// At every byte of the head, where the structure is, and here and there in the samples: of a
// recording a sentence and no output, of a table that or a whole analysis of the rows that are
// left. damaged_file_test.cpp cuts at every byte.
TEST_F(OrderMap, CutFileIsRefusedOrATableAnalysedUpToThere)
{
    const std::string wav = folder_ / "cut.wav";
    storeAudio(wav, SmallMachine().frames(), SmallMachine().rateHz, kWav);
    for (const std::string& file : {wav, table_}) {
        const bool isTable = file == table_;
        const std::string whole = contentOf(file);
        for (std::size_t size = 0; size < whole.size(); size += size < 64 ? 1 : whole.size() / 7) {
            store(file, whole.substr(0, size));
            auto arguments = isTable ? tableArguments() : audioArguments();
            std::replace(arguments.begin(), arguments.end(), recording_, file);
            arguments.emplace_back("--no-picture");
            const Outcome outcome = run(arguments);
            EXPECT_TRUE(outcome.exitCode == 2 || (outcome.exitCode == 0 && isTable && size > 64))
                << file << " cut at " << size << ": " << outcome.exitCode << outcome.errors;
            EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'),
                      outcome.exitCode == 2 ? 1 : 0);
            EXPECT_EQ(std::filesystem::exists(output_), outcome.exitCode == 0);
            std::filesystem::remove_all(output_);
        }
    }
}

// A pulse of the tacho is wiped out: the map is there, and the summary says what was done.
TEST_F(OrderMap, RepairsOfTheTachoStandInTheSummary)
{
    std::vector<double> frames = SmallMachine().frames();
    for (std::size_t k = 0; k < frames.size() / 3; ++k) {
        const double t = static_cast<double>(k) / SmallMachine().rateHz;
        if (std::abs(SmallMachine().turnsAt(t) - 50.0) < 0.5) frames[3 * k + 2] = 0.0;
    }
    storeAudio(recording_, frames, SmallMachine().rateHz, kFlac);
    const Outcome outcome = run(with(audioArguments(), {"--no-picture"}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, HasSubstr("Tacho             1 repair"));
    EXPECT_THAT(outcome.output, HasSubstr("1 pulse is missing: filled in."));
}

// Every third pulse of thirty turns is wiped out.
TEST_F(OrderMap, DoubtfulTachoIsTheFirstThatTheSummarySays)
{
    std::vector<double> frames = SmallMachine().frames();
    for (std::size_t k = 0; k < frames.size() / 3; ++k) {
        const double turns = SmallMachine().turnsAt(static_cast<double>(k) / SmallMachine().rateHz);
        const double nearest = std::round(turns);
        if (nearest >= 30.0 && nearest <= 60.0 && std::fmod(nearest, 3.0) == 0.0)
            frames[3 * k + 2] = 0.0;
    }
    storeAudio(recording_, frames, SmallMachine().rateHz, kFlac);
    const Outcome outcome = run(with(audioArguments(), {"--no-picture"}));
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    EXPECT_THAT(outcome.output, StartsWith("Remarks           1 remark\n"));
    EXPECT_LT(outcome.output.find("pulses of the tacho, which has"),
              outcome.output.find("Recording"));
}

TEST_F(OrderMap, ChannelsThatAreNotThereAreRefused)
{
    expectRefusal({"--tacho", "4", recording_, "--output", output_},
                  "Channel 4 was asked for, and " + recording_ + " has channels 1 to 3.");
    expectRefusal({"--tacho", "-1", recording_, "--output", output_}, "Channel -1");
    expectRefusal(with(audioArguments(), {"--channels", "1,7"}), "Channel 7");
    expectRefusal(with(audioArguments(), {"--channels", "3"}), "that of the tacho");
    expectRefusal(with(audioArguments(), {"--channels", "1,2,1"}), "signal channels is 3");
}

TEST_F(OrderMap, TachoWithoutPulsesIsRefused)
{
    std::vector<double> frames = SmallMachine().frames();
    for (std::size_t i = 2; i < frames.size(); i += 3) frames[i] = 0.25;
    storeAudio(recording_, frames, 8000.0, kFlac);
    expectRefusal(audioArguments(), "The tacho channel 3 shows no pulses");
}

TEST_F(OrderMap, SamplesThatAreNoNumbersAreRefused)
{
    recording_ = folder_ / "machine.wav";
    std::vector<double> frames = SmallMachine().frames();
    constexpr std::size_t kFrame = 48000; // three channels at 2 s
    frames[kFrame] = std::numeric_limits<double>::quiet_NaN();
    storeAudio(recording_, frames, 8000.0, kFloatWav);
    expectRefusal(audioArguments(), "not a finite number at 2 s");
    frames[kFrame] = 0.0;
    frames[kFrame + 2] = std::numeric_limits<double>::infinity(); // the tacho
    storeAudio(recording_, frames, 8000.0, kFloatWav);
    expectRefusal(audioArguments(), "The tacho channel 3 holds a value that is not a finite");
}

TEST_F(OrderMap, SetupsOutOfRangeAreRefused)
{
    for (const auto& [option, value, words] :
         {std::array<const char*, 3>{"--pulses-per-revolution", "0", "pulses per revolution is 0"},
          {"--pulses-per-revolution", "nan", "pulses per revolution is nan"},
          {"--resolution", "0.3", "order resolution is 0.3"},
          {"--resolution", "0.001", "needs more than 1000"},
          {"--highest-order", "0", "highest order is 0"},
          {"--highest-order", "200", "the highest order possible is"},
          {"--rpm-step", "-5", "step of the speed axis is -5"},
          {"--rpm-step", "1e-9", "number of speed bins"},
          {"--min-rpm", "5000", "end of the speed axis"},
          {"--max-rpm", "100", "end of the speed axis"},
          {"--max-rpm", "inf", "--max-rpm is inf"},
          {"--hysteresis", "150", "hysteresis of the speed bins is 150"},
          {"--harmonics", "1,99", "extracted is 99"},
          {"--frequency-lines", "2", "frequency lines is 2"},
          {"--frequency-lines", "500000", "a block for the frequency spectra needs"},
          {"--full-scale", "0", "full scale is 0"},
          {"--tacho-level", "0.99", "shows no pulses"}})
        expectRefusal(with(audioArguments(), {option, value}), words);
}

TEST_F(OrderMap, SpeedAxisThatTheShaftNeverReachedIsRefused)
{
    expectRefusal(with(audioArguments(), {"--min-rpm", "5000", "--max-rpm", "6000"}),
                  "No block fell into the speed bins of 5000 to 6000 rpm: the shaft turned at 12");
}

TEST_F(OrderMap, TablesThatMakeNoSenseAreRefused)
{
    const auto refuse = [&](const std::string& content, const std::string& words) {
        store(table_, content);
        expectRefusal(tableArguments(), words);
    };
    const std::string header = "Time,Speed,Signal\n";
    refuse("", "is empty");
    refuse(header, "has no rows");
    refuse("Time,Speed\n0,100\n", "There is no column \"Signal\"; the columns are: Time, Speed.");
    refuse("Time,Speed,Signal,Speed\n0,1,2,3\n", "stands twice");
    refuse(header + "0,100,1\n1,100\n", "Line 3 ends before the column \"Signal\"");
    refuse(header + "0,100,1\n1,fast,1\n", "Line 3 holds \"fast\" in the column \"Speed\"");
    refuse(header + "0,100,1\n1,100,NaN\n", "Line 3 holds \"NaN\" in the column \"Signal\"");
    refuse(header + "0,100,1\n1,100,\n", "Line 3 holds nothing in the column \"Signal\"");
    refuse(header + "0,100,1\n1,0,1\n2,100,1\n3,0,1\n", "Speed says nowhere that the shaft turns");
    refuse(header + "0,-9,1\n1,-20,1\n2,-1,1\n3,-9,1\n", "Speed says nowhere that the shaft turns");
    refuse(header + "0,100,1\n2,100,1\n1,100,1\n3,100,1\n", "0.001 s follows 0.002 s");
    refuse(header + "0,100,1\n1,100,1\n2,100,1\n3,100,1\n", "less than two revolutions");
    table_ = folder_ / "absent.csv";
    expectRefusal(tableArguments(), "There is no file " + table_);
    table_ = folder_.path().string();
    expectRefusal(tableArguments(), "can't be read");
}

TEST_F(OrderMap, OutputFolderThatCanNotBeMadeIsRefused)
{
    const std::string file = folder_ / "file";
    store(file, "in the way");
    for (const std::string& output : {file, file + "/results"}) {
        const Outcome outcome = run({"--tacho", "3", recording_, "--output", output});
        EXPECT_EQ(outcome.exitCode, 2);
        EXPECT_THAT(outcome.errors, HasSubstr("The output folder " + output + " can't be used"));
    }
    EXPECT_EQ(contentOf(file), "in the way");
}

// ---- what the machine lacks --------------------------------------------------------------------

TEST_F(OrderMap, MissingGnuplotIsNamedWithItsPackage)
{
    expectMissingGnuplotNamed(audioArguments());
}

// A library of FFTW's name without its functions stands ahead on the search path.
TEST_F(OrderMap, MissingFftwIsNamedWithItsPackage)
{
    Launch launch;
    launch.arguments = audioArguments();
    launch.environment = {std::string("LD_LIBRARY_PATH=") + HOLLOW_FFTW_FOLDER};
    const Outcome outcome = runProgram(program_, launch);
    EXPECT_EQ(outcome.exitCode, 2);
    EXPECT_THAT(outcome.errors, HasSubstr("libfftw3-double3"));
    EXPECT_FALSE(std::filesystem::exists(output_));
}

// ---- nothing half-written ----------------------------------------------------------------------

// The order map alone is larger than the limit. That of an earlier run stays as it was.
TEST_F(OrderMap, FullDiskLeavesNoFile)
{
    std::filesystem::create_directory(output_);
    store(output_ + "/order_map.csv", "of an earlier run");
    Launch launch;
    launch.arguments = audioArguments();
    launch.fileSizeLimit = 40000;
    const Outcome outcome = runProgram(program_, launch);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("order_map.csv could not be written: File too large"));
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(output_)) {
        ++files;
        EXPECT_EQ(entry.path().filename(), "order_map.csv");
    }
    EXPECT_EQ(files, 1U);
    EXPECT_EQ(contentOf(output_ + "/order_map.csv"), "of an earlier run");
}

TEST_F(OrderMap, SummaryThatCanNotBePrintedIsAFailure)
{
    Launch launch;
    launch.arguments = with(audioArguments(), {"--no-picture"});
    launch.standardOutput = "/dev/full";
    const Outcome outcome = runProgram(program_, launch);
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.errors, HasSubstr("could not be printed"));
}

// Wherever the signal strikes, there are all files or none, and no temporary one.
TEST_F(OrderMap, InterruptedRunLeavesNoFile)
{
    SmallMachine longer;
    longer.seconds = 20.0;
    longer.rpmPerSecond = 60.0;
    storeAudio(recording_, longer.frames(), longer.rateHz, kFlac);
    int interrupted = 0;
    for (const int milliseconds : {20, 60, 120, 200, 300, 450}) {
        Launch launch;
        launch.arguments = audioArguments();
        launch.interruptAfterMilliseconds = milliseconds;
        const Outcome outcome = runProgram(program_, launch);
        if (outcome.signal == SIGINT) {
            ++interrupted;
            EXPECT_FALSE(std::filesystem::exists(output_)) << milliseconds << " ms";
        } else {
            EXPECT_EQ(outcome.exitCode, 0);
            EXPECT_THAT(std::vector<std::filesystem::path>(
                            std::filesystem::directory_iterator(output_), {}),
                        SizeIs(5));
            std::filesystem::remove_all(output_);
        }
    }
    EXPECT_GT(interrupted, 0);
}

} // namespace
} // namespace Harmotrack::Tests
