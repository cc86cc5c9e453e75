// From a recording of a run-up to its order map: reads a WAV or FLAC file with a tacho channel, or
// a table with a speed column, brings the signals to equal angles, lets the library analyse them,
// and writes the tables and a picture.

#include "defaults.h"
#include "gnuplot.h"
#include "interruption.h"
#include "options.h"
#include "output_folder.h"
#include "picture.h"
#include "recording.h"
#include "summary.h"
#include "tables.h"

#include "host/analysis_run.h"
#include "host/host_error.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <utility>

#include <unistd.h>

namespace Harmotrack::Examples {
namespace {

constexpr int kBadInput = 2;
constexpr int kOutputFailed = 1;

// A bar on the terminal, if standard error is one.
class ProgressBar {
public:
    void show(double share)
    {
        constexpr int kWidth = 40;
        const int filled = static_cast<int>(share * kWidth);
        if (!terminal_ || filled == shown_) return;
        shown_ = filled;
        std::fprintf(stderr,
                     "\rAnalysing [%s%s] %3.0f %%",
                     std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(kWidth - filled), '.').c_str(),
                     100.0 * share);
    }

    ~ProgressBar()
    {
        if (shown_ >= 0) std::fprintf(stderr, "\r%60s\r", "");
    }

private:
    bool terminal_ = ::isatty(STDERR_FILENO) != 0;
    int shown_ = -1;
};

Host::AnalysisResults analyse(const Recording& recording, const Host::AnalysisSettings& settings)
{
    ProgressBar bar;
    return std::move(Host::AnalysisRun(settings)
                         .runPasses(recording.signals,
                                    recording.knots,
                                    [&bar](double share) {
                                        Interruption::check();
                                        bar.show(share);
                                    })
                         .front());
}

void requireResults(const Host::AnalysisResults& results)
{
    const auto visited = [](int blocks) { return blocks > 0; };
    if (std::any_of(results.orderBlocks.begin(), results.orderBlocks.end(), visited)) return;
    throw Host::HostError(
        "No block fell into the speed bins of " + rounded(results.binRpm.front()) + " to " +
        rounded(results.binRpm.back()) + " rpm: the shaft turned at " + rounded(results.lowestRpm) +
        " to " + rounded(results.highestRpm) + " rpm.");
}

void print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw OutputError("The summary could not be printed.");
}

void run(int argc, const char* const* argv)
{
    const Options options = readOptions(argc, argv);
    if (options.picture) requireGnuplot();
    const Recording recording = readRecording(options);
    const Host::AnalysisSettings settings = settingsFor(recording, options);
    OutputFolder folder(options.outputFolder);

    const Host::AnalysisResults results = analyse(recording, settings);
    requireResults(results);
    const Report report{recording, settings, results, options.unit};
    folder.write("order_map.csv", orderMapTable(report));
    folder.write("frequency_map.csv", frequencyMapTable(report));
    folder.write("harmonics.csv", harmonicsTable(report));
    folder.write("overall.csv", overallTable(report));
    if (settings.twoSided) folder.write("whirl_map.csv", whirlMapTable(report));
    Interruption::check();
    if (options.picture) folder.write("order_map.png", runGnuplot(pictureScript(report)));
    Interruption::check();
    folder.commit();
    print(summaryText(report) + "\nWritten to " + options.outputFolder + '\n');
}

int runGuarded(int argc, const char* const* argv)
{
    try {
        Interruption::install();
        run(argc, argv);
        return 0;
    } catch (const Interrupted& interrupted) {
        Interruption::endBy(interrupted.signal);
    } catch (const Host::HostError& error) {
        std::fprintf(stderr, "order_map: %s\n", error.what());
        return kBadInput;
    } catch (const std::bad_alloc&) {
        std::fprintf(stderr, "order_map: Memory ran out.\n");
    } catch (const std::exception& error) {
        std::fprintf(stderr, "order_map: %s\n", error.what());
    }
    return kOutputFailed;
}

} // namespace
} // namespace Harmotrack::Examples

int main(int argc, char** argv)
{
    return Harmotrack::Examples::runGuarded(argc, argv);
}
