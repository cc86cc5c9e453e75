// The speed of a machine from one of its signals: reads a WAV or FLAC file or a table, tracks the
// speed by the orders that the machine shows, and writes it as a table and a picture. A tacho, if
// there is one, only tells how good that is.

#include "gnuplot.h"
#include "interruption.h"
#include "options.h"
#include "output_folder.h"
#include "picture.h"
#include "program.h"
#include "report.h"
#include "summary.h"
#include "tracking.h"

namespace Harmotrack::Examples {
namespace {

void run(int argc, const char* const* argv)
{
    const Options options = readOptions(argc, argv);
    if (options.picture) requireGnuplot();
    const Source source = readSource(options.source, 1);
    const Host::UniformSignal& signal = source.signals.front();
    options.tracking.validate(signal.rateHz);
    const Host::TrackingPlan plan = Host::planFor(options.tracking, signal.rateHz);
    OutputFolder folder(options.outputFolder);

    const Host::TrackedSpeed speed = track(signal, options.tracking);
    Report report{source, options.tracking, plan, speed, {}};
    if (source.angle) report.comparison = Comparison(speed, plan.blockSeconds(), *source.angle);
    folder.write("speed.csv", speedTable(report));
    if (options.picture) folder.write("speed.png", runGnuplot(pictureScript(report)));
    Interruption::check();
    folder.commit();
    print(summaryText(report) + "\nWritten to " + options.outputFolder + '\n');
}

} // namespace
} // namespace Harmotrack::Examples

int main(int argc, char** argv)
{
    return Harmotrack::Examples::runGuarded("track_speed",
                                            [&] { Harmotrack::Examples::run(argc, argv); });
}
