#include "options.h"

#include "choice.h"

#include "host/host_error.h"

#include <CLI/CLI.hpp>

namespace Harmotrack::Examples {

Options readOptions(int argc, const char* const* argv)
{
    Options options;
    TrackingOptions tracking;
    CLI::App app("Speed of a rotating machine from one of its signals, without a tacho.\n"
                 "Writes speed.csv and the picture speed.png. A tacho or a column of speed is not\n"
                 "looked at but for the errors of what was tracked.");
    addSource(app, options.source);
    addTracking(app, tracking);
    app.add_option("--output", options.outputFolder, "Folder of the results (the current one)")
        ->type_name("FOLDER");
    app.add_flag("!--no-picture", options.picture, "Write the table alone");
    parse(app, argc, argv);
    checkSource(options.source);
    if (!tracking.given())
        throw Host::HostError("--track MIN:MAX is needed: the range of speeds in rpm.");
    options.tracking = trackingSettings(tracking);
    return options;
}

} // namespace Harmotrack::Examples
