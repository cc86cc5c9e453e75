#include "options.h"

#include "host/host_error.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <map>

namespace Harmotrack::Examples {
namespace {

using Host::HostError;

template <typename Value>
using Names = std::map<std::string, Value>;

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
const Names<Host::Edge> kEdges{
    {"rising", Host::Edge::Rising}, {"falling", Host::Edge::Falling}, {"both", Host::Edge::Both}};
const Names<double> kTimeUnits{{"s", 1.0}, {"ms", 1e-3}, {"us", 1e-6}};

// An option whose words stand for values; other words are refused with the list of those allowed.
template <typename Value, typename Target>
CLI::Option* addChoice(CLI::App& app,
                       const std::string& name,
                       Target& target,
                       const Names<Value>& names,
                       const std::string& help)
{
    std::string words;
    for (const auto& [word, value] : names) words += (words.empty() ? "" : "|") + word;
    return app
        .add_option_function<std::string>(
            name,
            [&target, &names, name, words](const std::string& word) {
                const auto found = names.find(word);
                if (found == names.end())
                    throw HostError("The value of " + name + " is \"" + word + "\", and " + words +
                                    " are allowed.");
                target = found->second;
            },
            help)
        ->type_name(words);
}

void addSource(CLI::App& app, Options& options)
{
    app.add_option("file", options.audioFile, "WAV or FLAC recording with a tacho channel");
    app.add_option("--tacho", options.tachoChannel, "Channel of the tacho, counted from 1")
        ->type_name("CHANNEL");
    app.add_option("--pulses-per-revolution",
                   options.tacho.pulsesPerRevolution,
                   "Tacho pulses in one revolution, or teeth with the missing ones (1)")
        ->type_name("P");
    app.add_option("--missing-teeth",
                   options.tacho.missingTeeth,
                   "Teeth left out as a mark, as 2 of a 60-2 wheel (0)")
        ->type_name("COUNT");
    app.add_option("--gear-ratio",
                   options.tacho.gearRatio,
                   "Revolutions of the shaft in one of the tacho's wheel (1)")
        ->type_name("RATIO");
    app.add_option("--speed-limit",
                   options.tacho.maxRpm,
                   "Speed that the shaft can't reach: pulses that say so are dropped")
        ->type_name("RPM");
    app.add_option("--tacho-level", options.tacho.level, "Level of a pulse (half its height)")
        ->type_name("VALUE");
    addChoice(app, "--tacho-edge", options.tacho.edge, kEdges, "Flank that counts (rising)");
    app.add_option("--channels",
                   options.signalChannels,
                   "One or two signal channels, as in 1,2 (the first two that are not the tacho)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("LIST");
    app.add_option(
           "--full-scale", options.fullScale, "Value of a full-scale sample, in the unit (1)")
        ->type_name("VALUE");

    app.add_option("--csv", options.csvFile, "Table with columns of time, speed and signals")
        ->type_name("FILE");
    app.add_option("--time", options.timeColumn, "Name of the time column")->type_name("COLUMN");
    addChoice(
        app, "--time-unit", options.timeUnitSeconds, kTimeUnits, "Unit of the time column (s)");
    app.add_option("--speed", options.speedColumn, "Name of the speed column, in rpm")
        ->type_name("COLUMN");
    app.add_option("--signal", options.signalColumns, "Name of a signal column; may be given twice")
        ->type_name("COLUMN")
        ->allow_extra_args(false);

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
    app.add_option("--orders", options.highestOrder, "Highest order (40, or what the rate allows)")
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

void checkSource(const Options& options)
{
    if (options.audioFile.empty() == options.csvFile.empty())
        throw HostError("Either a recording with --tacho or a table with --csv is needed.");
    if (!options.audioFile.empty()) {
        if (options.tachoChannel == 0) throw HostError("A recording needs --tacho CHANNEL.");
        return;
    }
    if (options.timeColumn.empty()) throw HostError("A table needs --time COLUMN.");
    if (options.speedColumn.empty()) throw HostError("A table needs --speed COLUMN.");
    if (options.signalColumns.empty()) throw HostError("A table needs --signal COLUMN.");
}

} // namespace

Options readOptions(int argc, const char* const* argv)
{
    Options options;
    CLI::App app("Order map of a rotating machine: spectra over the order, speed by speed.\n"
                 "Writes order_map.csv, frequency_map.csv, harmonics.csv, overall.csv and the\n"
                 "picture order_map.png.");
    addSource(app, options);
    addAnalysis(app, options);
    app.add_option("--output", options.outputFolder, "Folder of the results (the current one)")
        ->type_name("FOLDER");
    app.add_flag("!--no-picture", options.picture, "Write the tables alone");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        std::exit(app.exit(help));
    } catch (const CLI::ParseError& error) {
        throw HostError(std::string(error.what()) + " (see --help).");
    }
    checkSource(options);
    return options;
}

} // namespace Harmotrack::Examples
