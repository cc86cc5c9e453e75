// Reads what make_run_up writes, as a stranger would: through libsndfile and the JSON beside it.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <numbers>
#include <stdexcept>
#include <string>
#include <vector>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

namespace fs = std::filesystem;

constexpr double kPi = std::numbers::pi;

std::string contents(const fs::path& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

struct Recording {
    int rateHz = 0;
    int format = 0;
    std::vector<double> x, y, tacho; // -1 .. 1
};

Recording readRecording(const fs::path& path)
{
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (file == nullptr || info.channels != 3) throw std::runtime_error(sf_strerror(file));
    std::vector<double> frames(static_cast<std::size_t>(info.frames) * 3);
    const auto read = sf_readf_double(file, frames.data(), info.frames);
    sf_close(file);
    if (read != info.frames) throw std::runtime_error("short file");
    Recording recording{info.samplerate, info.format, {}, {}, {}};
    for (std::size_t i = 0; i < frames.size(); i += 3) {
        recording.x.push_back(frames[i]);
        recording.y.push_back(frames[i + 1]);
        recording.tacho.push_back(frames[i + 2]);
    }
    return recording;
}

/// A folder of its own for each test, and the program that writes into it.
class MakeRunUp : public testing::Test {
protected:
    void SetUp() override
    {
        std::string name = fs::temp_directory_path() / "make_run_up.XXXXXX";
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        folder_ = name;
    }

    void TearDown() override { fs::remove_all(folder_); }

    /// Runs the program in the folder; `before` are shell commands.
    /// @return  its exit code
    [[nodiscard]] int run(const std::string& arguments, const std::string& before = {}) const
    {
        const std::string command = "cd '" + folder_.string() + "' && { " + before + MAKE_RUN_UP +
                                    " " + arguments + "; } > said.txt 2> complained.txt";
        const int status = std::system(command.c_str()); // NOLINT(concurrency-mt-unsafe)
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    [[nodiscard]] std::string complained() const { return contents(folder_ / "complained.txt"); }

    [[nodiscard]] nlohmann::json truth(const std::string& name = "run_up.json") const
    {
        return nlohmann::json::parse(contents(folder_ / name));
    }

    [[nodiscard]] std::vector<std::string> filesWritten() const
    {
        std::vector<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder_))
            names.push_back(entry.path().filename());
        std::erase(names, "said.txt");
        std::erase(names, "complained.txt");
        std::sort(names.begin(), names.end());
        return names;
    }

    fs::path folder_;
};

TEST_F(MakeRunUp, ExampleIsA24BitFlacOfThreeChannelsBelowFullScale)
{
    ASSERT_EQ(run(""), 0) << complained();
    EXPECT_EQ(filesWritten(), (std::vector<std::string>{"run_up.flac", "run_up.json"}));
    const Recording recording = readRecording(folder_ / "run_up.flac");
    EXPECT_EQ(recording.format, SF_FORMAT_FLAC | SF_FORMAT_PCM_24);
    EXPECT_EQ(recording.rateHz, 25600);
    EXPECT_EQ(recording.x.size(), 30U * 25600U);
    EXPECT_EQ(truth().at("samples"), 30 * 25600);
    for (const auto* channel : {&recording.x, &recording.y, &recording.tacho}) {
        const auto [least, most] = std::minmax_element(channel->begin(), channel->end());
        EXPECT_LT(std::max(*most, -*least), 0.75);
        EXPECT_GT(std::max(*most, -*least), 0.25);
    }
}

TEST_F(MakeRunUp, SameSeedGivesTheSameBytesAndAnotherSeedOthers)
{
    ASSERT_EQ(run("a.flac --duration 2 --seed 7"), 0);
    ASSERT_EQ(run("b.flac --duration 2 --seed 7"), 0);
    ASSERT_EQ(run("c.flac --duration 2 --seed 8"), 0);
    EXPECT_EQ(contents(folder_ / "a.flac"), contents(folder_ / "b.flac"));
    EXPECT_NE(contents(folder_ / "a.flac"), contents(folder_ / "c.flac"));
}

/// Peak amplitude and phase of one order against the shaft's angle, over whole periods.
std::complex<double> demodulated(const std::vector<double>& samples,
                                 double turnsPerSample,
                                 double startTurns,
                                 double order)
{
    std::complex<double> sum;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double turns = startTurns + turnsPerSample * static_cast<double>(i);
        sum += samples[i] * std::polar(1.0, -2.0 * kPi * order * turns);
    }
    return sum * (2.0 / static_cast<double>(samples.size()));
}

// At a steady 1800 rpm, 10 s hold whole periods of every component (141 of order 0.47), so that
// their sums with the conjugate exponential are orthogonal and read amplitude and phase exactly:
// to the rounding of the table, 5e-7 mm/s and 5e-5 degrees.
TEST_F(MakeRunUp, SteadyMachineVibratesAsTheTruthSays)
{
    ASSERT_EQ(run("--duration 10 --start-rpm 1800 --end-rpm 1800 --noise 0"), 0) << complained();
    const Recording recording = readRecording(folder_ / "run_up.flac");
    const nlohmann::json said = truth();
    EXPECT_EQ(said.at("table_rpm"), std::vector<double>{1800.0});
    EXPECT_EQ(said.at("components").size(), 6U);
    for (const auto& component : said.at("components")) {
        for (const std::string direction : {"x", "y"}) {
            const double fullScale =
                said.at("channels").at(direction == "x" ? 0 : 1).at("full_scale");
            const auto read = fullScale * demodulated(direction == "x" ? recording.x : recording.y,
                                                      30.0 / 25600.0,
                                                      said.at("speed").at("start_turns"),
                                                      component.at("order"));
            const double amplitude = component.at(direction).at("amplitude").at(0);
            const double phase = component.at(direction).at("phase_deg").at(0);
            EXPECT_NEAR(std::abs(read), amplitude, 2e-6) << component.at("name") << direction;
            EXPECT_NEAR(std::arg(read) * 180.0 / kPi, phase, 2e-4) << component.at("name");
        }
    }
}

// Rows 180, 240 and 540 of the table are 2400, 3000 and 6000 rpm. At their natural speeds x
// and y have 3 pi and 3.75 pi mm/s, at the heavy spot and a quarter turn behind it. Misalignment
// at 6000 rpm in x: twice |1.2 exp(i 20 deg) + 0.5 exp(i 60 deg)| = 2 sqrt(1.69 + 1.2 cos 40 deg).
TEST_F(MakeRunUp, TableHoldsTheHandCalculatedPoints)
{
    ASSERT_EQ(run(""), 0) << complained();
    const nlohmann::json said = truth();
    EXPECT_EQ(said.at("table_rpm").size(), 541U);
    EXPECT_EQ(said.at("table_rpm").at(180), 2400.0);
    EXPECT_EQ(said.at("table_rpm").at(540), 6000.0);
    const auto& unbalance = said.at("components").at(0);
    EXPECT_NEAR(unbalance.at("x").at("amplitude").at(180), 3.0 * kPi, 1e-6);
    EXPECT_NEAR(unbalance.at("x").at("phase_deg").at(180), 35.0, 1e-4);
    EXPECT_NEAR(unbalance.at("y").at("amplitude").at(240), 3.75 * kPi, 1e-6);
    EXPECT_NEAR(unbalance.at("y").at("phase_deg").at(240), -55.0, 1e-4);
    const auto& misalignment = said.at("components").at(2);
    EXPECT_EQ(misalignment.at("order"), 2.0);
    EXPECT_NEAR(misalignment.at("x").at("amplitude").at(540),
                2.0 * std::sqrt(1.69 + 1.2 * std::cos(40.0 * kPi / 180.0)),
                1e-6);
}

// turns = -1/2 + 10 t + 1.5 t^2 by hand. A straight line between two samples h apart errs by at
// most h^2 |p''| / (8 p') of the angle; for this pulse at half height p'' / p' is 2.3 per radian,
// and h 0.025 radian at 6000 rpm: 1.8e-4 radian. The 24 bits add less than 1e-6.
TEST_F(MakeRunUp, TachoCrossesItsLevelAtTheMarks)
{
    ASSERT_EQ(run(""), 0) << complained();
    const Recording recording = readRecording(folder_ / "run_up.flac");
    const nlohmann::json said = truth();
    const double level =
        double(said.at("tacho").at("level")) / double(said.at("channels").at(2).at("full_scale"));
    double firstMark = 0.0;
    int mark = 0;
    for (std::size_t i = 1; i < recording.tacho.size(); ++i) {
        const double before = recording.tacho[i - 1] - level;
        const double after = recording.tacho[i] - level;
        if (before >= 0.0 || after < 0.0) continue;
        const double t = (static_cast<double>(i - 1) + before / (before - after)) / 25600.0;
        if (mark == 0) firstMark = t;
        EXPECT_NEAR(-0.5 + 10.0 * t + 1.5 * t * t, mark, 1.8e-4 / (2.0 * kPi));
        ++mark;
    }
    EXPECT_NEAR(said.at("tacho").at("first_mark_s"), firstMark, 1e-7);
    EXPECT_EQ(mark, said.at("tacho").at("marks"));
    EXPECT_EQ(mark, 1650);
}

// Noise is what a recording with noise has more than one without. The relative standard deviation
// of the RMS of n samples is 1 / sqrt(2n), that of the correlation of two channels 1 / sqrt(n).
TEST_F(MakeRunUp, NoiseHasTheStatedRmsAndIsIndependentInXAndY)
{
    ASSERT_EQ(run("--duration 4 --noise 0.5"), 0) << complained();
    ASSERT_EQ(run("silent.flac --duration 4 --noise 0"), 0) << complained();
    const Recording noisy = readRecording(folder_ / "run_up.flac");
    const Recording silent = readRecording(folder_ / "silent.flac");
    const auto n = static_cast<double>(noisy.x.size());
    double xx = 0.0;
    double yy = 0.0;
    double xy = 0.0;
    for (std::size_t i = 0; i < noisy.x.size(); ++i) {
        const double x = 25.0 * (noisy.x[i] - silent.x[i]);
        const double y = 25.0 * (noisy.y[i] - silent.y[i]);
        xx += x * x;
        yy += y * y;
        xy += x * y;
    }
    EXPECT_EQ(truth().at("noise").at("rms"), 0.5);
    EXPECT_NEAR(std::sqrt(xx / n), 0.5, 0.5 * 4.0 / std::sqrt(2.0 * n));
    EXPECT_NEAR(std::sqrt(yy / n), 0.5, 0.5 * 4.0 / std::sqrt(2.0 * n));
    EXPECT_NEAR(xy / std::sqrt(xx * yy), 0.0, 4.0 / std::sqrt(n));
    EXPECT_EQ(noisy.tacho, silent.tacho);
}

TEST_F(MakeRunUp, BadInputEndsWithOneSentenceAndCodeTwoAndWritesNothing)
{
    for (const std::string arguments : {"--rate abc",
                                        "--rate 25600.5",
                                        "--duration nan",
                                        "--start-rpm 0",
                                        "--end-rpm 20000",
                                        "--noise 20", // exceeds full scale on the way
                                        "--seed -1",
                                        "--unknown",
                                        "one.flac two.flac",
                                        "run_up.wav",
                                        "missing_folder/run_up.flac"}) {
        EXPECT_EQ(run(arguments), 2) << arguments;
        EXPECT_TRUE(filesWritten().empty()) << arguments;
        const std::string sentence = complained();
        EXPECT_TRUE(sentence.starts_with("make_run_up: ")) << sentence;
        EXPECT_EQ(std::count(sentence.begin(), sentence.end(), '\n'), 1) << sentence;
    }
}

// The limit on a file's size stands for a full disk: writing fails half-way.
TEST_F(MakeRunUp, FullDiskLeavesTheEarlierRecordingAndNoHalfWrittenFile)
{
    ASSERT_EQ(run("--duration 1"), 0) << complained();
    const std::string earlier = contents(folder_ / "run_up.flac");
    EXPECT_EQ(run("--duration 10", "trap '' XFSZ; ulimit -f 200; "), 2);
    EXPECT_EQ(filesWritten(), (std::vector<std::string>{"run_up.flac", "run_up.json"}));
    EXPECT_EQ(contents(folder_ / "run_up.flac"), earlier);
    EXPECT_EQ(truth().at("duration_s"), 1.0);
}

// The signal is sent when the temporary file is there, so it arrives while the program writes.
TEST_F(MakeRunUp, InterruptedRunLeavesNothing)
{
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (chdir(folder_.c_str()) == 0)
            execl(MAKE_RUN_UP, "make_run_up", "--duration", "3600", nullptr);
        _exit(127);
    }
    while (filesWritten().empty() && kill(child, 0) == 0) usleep(1000);
    kill(child, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 128 + SIGTERM) << status;
    EXPECT_TRUE(filesWritten().empty());
}

} // namespace
