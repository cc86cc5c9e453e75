// make_run_up: writes a recording of a simulated machine that runs up, and beside it the truth
// about it, so that an analysis can be shown and checked on something whose answer is known.

#include "pending_file.h"
#include "run_up.h"
#include "run_up_recording.h"
#include "run_up_truth.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include <unistd.h>

namespace {

using namespace Harmotrack::Examples;

constexpr int kBadInput = 2;

volatile std::sig_atomic_t interruptedBy = 0;

void noteInterrupt(int signal)
{
    interruptedBy = signal;
}

/// Percent of the way on standard error, if somebody is there to see it.
class ProgressLine {
public:
    explicit ProgressLine(std::int64_t total) : total_(total), visible_(isatty(2) != 0) {}

    ~ProgressLine()
    {
        if (visible_) std::fputs("\r\033[K", stderr);
    }

    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(std::int64_t done) const
    {
        if (!visible_) return;
        std::fprintf(stderr, "\rmake_run_up: %3d %%", static_cast<int>(100 * done / total_));
    }

private:
    std::int64_t total_;
    bool visible_;
};

void writeText(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream file(path, std::ios::binary);
    file << text;
    file.close();
    if (!file) throw std::runtime_error("Cannot write " + path.string() + ".");
}

/// @return  the process's exit code
int makeRunUp(const RunUpSettings& settings, const std::filesystem::path& output)
{
    if (output.extension() != ".flac")
        throw std::invalid_argument("The output is " + output.string() +
                                    ", it must be a file name that ends in .flac.");
    RunUp run(settings);
    auto truthPath = output;
    truthPath.replace_extension(".json");
    PendingFile recording(output);
    PendingFile truth(truthPath);
    {
        const ProgressLine line(run.sampleCount());
        const bool whole = writeRecording(run, recording.path(), [&](std::int64_t written) {
            line.show(written);
            return interruptedBy == 0;
        });
        if (!whole) return 128 + interruptedBy;
    }
    writeText(truth.path(), runUpTruth(run, output.filename().string()));
    truth.publish(); // first, so that no recording stands without its truth
    recording.publish();
    std::printf("%s: %g s at %d Hz, %g to %g rpm; the truth is in %s\n",
                output.c_str(),
                settings.durationSeconds,
                settings.rateHz,
                settings.startRpm,
                settings.endRpm,
                truthPath.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv)
try {
    RunUpSettings settings;
    std::string output = "run_up.flac";
    CLI::App app("Writes the recording of a simulated machine that runs up: a FLAC file with the "
                 "channels vibration x, vibration y and tacho, and beside it a JSON file with the "
                 "truth.");
    app.option_defaults()->always_capture_default();
    app.add_option("output", output, "the recording; the truth goes beside it");
    app.add_option("--duration", settings.durationSeconds, "seconds");
    app.add_option("--rate", settings.rateHz, "samples per second");
    app.add_option("--start-rpm", settings.startRpm, "speed at the start");
    app.add_option("--end-rpm", settings.endRpm, "speed at the end");
    app.add_option("--noise", settings.noiseRms, "RMS of the noise of each vibration in mm/s");
    app.add_option("--seed", settings.seed, "seed of the noise")->check(CLI::NonNegativeNumber);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& wanted) {
        return app.exit(wanted);
    }
    std::signal(SIGINT, noteInterrupt);
    std::signal(SIGTERM, noteInterrupt);
    return makeRunUp(settings, output);

} catch (const std::exception& error) {
    std::fprintf(stderr, "make_run_up: %s\n", error.what());
    return kBadInput;
}
