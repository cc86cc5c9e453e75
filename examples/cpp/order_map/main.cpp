// From a recording of a run-up to its order map: reads a WAV or FLAC file with a tacho channel, or
// a table with a speed column, or tracks the speed in a signal; brings the signals to equal angles,
// lets the library analyse them, and writes the tables and a picture.

#include "defaults.h"
#include "gnuplot.h"
#include "interruption.h"
#include "options.h"
#include "output_folder.h"
#include "picture.h"
#include "program.h"
#include "progress_bar.h"
#include "recording.h"
#include "summary.h"
#include "tables.h"

#include "host/analysis/analysis_run.h"
#include "host/host_error.h"

#include <algorithm>
#include <utility>

namespace Harmotrack::Examples {
namespace {

Host::AnalysisResults analyse(const Recording& recording, const Host::AnalysisSettings& settings)
{
    ProgressBar bar("Analysing");
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

} // namespace
} // namespace Harmotrack::Examples

int main(int argc, char** argv)
{
    return Harmotrack::Examples::runGuarded("order_map",
                                            [&] { Harmotrack::Examples::run(argc, argv); });
}
