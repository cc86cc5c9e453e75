#include "options.h"

#include "choice.h"

#include "host/host_error.h"

#include <CLI/CLI.hpp>

namespace Harmotrack::Examples {
namespace {

using Host::HostError;

const Names<Host::Window> kWindows{{"rectangle", Host::Window::Rectangle},
                                   {"hanning", Host::Window::Hanning},
                                   {"hamming", Host::Window::Hamming},
                                   {"flattop", Host::Window::Flattop},
                                   {"triangle", Host::Window::Triangle},
                                   {"blackman", Host::Window::Blackman},
                                   {"blackman-harris", Host::Window::BlackmanHarris}};
const Names<Host::Amplitude> kAmplitudes{{"peak", Host::Amplitude::Peak},
                                         {"rms", Host::Amplitude::Rms},
                                         {"peak-to-peak", Host::Amplitude::PeakToPeak}};
const Names<Host::Averaging> kAveragings{{"overwrite", Host::Averaging::Overwrite},
                                         {"first", Host::Averaging::KeepFirst},
                                         {"mean", Host::Averaging::Mean},
                                         {"peak-hold", Host::Averaging::PeakHold}};
const Names<Host::Direction> kDirections{{"both", Host::Direction::Both},
                                         {"rising", Host::Direction::Rising},
                                         {"falling", Host::Direction::Falling},
                                         {"automatic", Host::Direction::Automatic}};
const Names<Host::Weighting> kWeightings{
    {"none", Host::Weighting::None},
    {"a", Host::Weighting::A},
    {"c", Host::Weighting::C},
    {"integrate", Host::Weighting::Integrate},
    {"double-integrate", Host::Weighting::DoubleIntegrate},
    {"differentiate", Host::Weighting::Differentiate},
    {"double-differentiate", Host::Weighting::DoubleDifferentiate}};
const Names<Host::BlockMode> kBlockModes{{"crossing", Host::BlockMode::AtCrossing},
                                         {"contiguous", Host::BlockMode::Contiguous}};
const Names<Host::PhaseMode> kPhaseModes{{"shaft", Host::PhaseMode::Shaft},
                                         {"first-order", Host::PhaseMode::FirstOrder}};
const Names<Host::PhaseReference> kPhaseReferences{{"cosine", Host::PhaseReference::Cosine},
                                                   {"sine", Host::PhaseReference::Sine}};

void addSignals(CLI::App& app, Options& options)
{
    addSource(app, options.source);
    addTracking(app, options.tracking);
    app.add_option(
           "--unit", options.unit, "Unit of the signals, as in mm/s (EU, engineering units)")
        ->type_name("TEXT");
    app.add_flag("--orbit",
                 options.orbit,
                 "The two signals are perpendicular directions in one plane, x and y with the "
                 "rotation from x to y: also the forward and the backward whirl");
}

void addAnalysis(CLI::App& app, Options& options)
{
    Host::AnalysisSettings& settings = options.settings;
    app.add_option("--highest-order",
                   options.highestOrder,
                   "End of the order axis (40, or what the rate allows)")
        ->type_name("ORDER");
    app.add_option("--resolution",
                   options.orderResolution,
                   "Distance of the order lines, 1 / revolutions of a block (0.1)")
        ->type_name("ORDERS");
    app.add_option(
           "--harmonics", options.harmonics, "Orders to be extracted, as in 0.5,1,2 (1,2,3,4)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("LIST");
    app.add_option("--min-rpm", options.minRpm, "Start of the speed axis (the lowest speed)")
        ->type_name("RPM");
    app.add_option("--max-rpm", options.maxRpm, "End of the speed axis (the highest speed)")
        ->type_name("RPM");
    app.add_option("--rpm-step", options.stepRpm, "Step of the speed axis (about 1/80 of it)")
        ->type_name("RPM");
    app.add_option(
           "--hysteresis", settings.hysteresisPercent, "Of the speed bins, % of the step (25)")
        ->type_name("PERCENT");
    app.add_option("--frequency-lines",
                   settings.timeLines,
                   "Lines of the frequency spectra (for blocks like the order blocks at top speed)")
        ->type_name("COUNT");
    addChoice(app,
              "--blocks",
              options.blockMode,
              kBlockModes,
              "One block where the speed crosses a bin's centre, or edge to edge (crossing, unless "
              "the speed hardly changes)");
    addChoice(app, "--direction", settings.direction, kDirections, "Of the speed (both)");
    addChoice(app, "--averaging", settings.averaging, kAveragings, "In a bin (mean)");
    addChoice(app, "--window", settings.window, kWindows, "Window of the blocks (hanning)");
    addChoice(
        app, "--amplitude", settings.amplitude, kAmplitudes, "Convention of amplitudes (peak)");
    addChoice(app, "--weighting", settings.weighting, kWeightings, "Of the spectra (none)");
    addChoice(app,
              "--phase",
              options.phaseMode,
              kPhaseModes,
              "Phases against the shaft's mark or order 1 (shaft with a tacho, else first-order)");
    addChoice(app,
              "--phase-reference",
              settings.phaseReference,
              kPhaseReferences,
              "Phase of the component as a cosine or a sine (cosine)");
}

void checkSpeedSource(const Options& options)
{
    const SourceOptions& source = options.source;
    if (!options.tracking.given()) {
        if (!options.tracking.orders.empty())
            throw HostError("--orders lists what --track MIN:MAX looks for; the end of the order "
                            "axis is --highest-order.");
        if (options.tracking.blockSeconds) throw HostError("--block belongs to --track MIN:MAX.");
        if (!source.csvFile.empty() && source.speedColumn.empty())
            throw HostError("A table needs --speed COLUMN, or --track MIN:MAX.");
        if (source.csvFile.empty() && source.tachoChannel == 0)
            throw HostError("A recording needs --tacho CHANNEL, or --track MIN:MAX.");
        return;
    }
    if (source.hasSpeed())
        throw HostError("The speed is either tracked by --track or known by --tacho or --speed.");
    (void)trackingSettings(options.tracking);
}

} // namespace

Options readOptions(int argc, const char* const* argv)
{
    Options options;
    CLI::App app("Order map of a rotating machine: spectra over the order, speed by speed.\n"
                 "Writes order_map.csv, frequency_map.csv, harmonics.csv, overall.csv and the\n"
                 "picture order_map.png.");
    addSignals(app, options);
    addAnalysis(app, options);
    app.add_option("--output", options.outputFolder, "Folder of the results (the current one)")
        ->type_name("FOLDER");
    app.add_flag("!--no-picture", options.picture, "Write the tables alone");
    parse(app, argc, argv);
    checkSource(options.source);
    checkSpeedSource(options);
    return options;
}

} // namespace Harmotrack::Examples
