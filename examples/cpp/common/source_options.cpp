#include "source_options.h"

#include "choice.h"

#include "host/host_error.h"

#include <CLI/CLI.hpp>

#include <cstdlib>

namespace Harmotrack::Examples {
namespace {

using Host::HostError;

const Names<Host::Edge> kEdges{
    {"rising", Host::Edge::Rising}, {"falling", Host::Edge::Falling}, {"both", Host::Edge::Both}};
const Names<double> kTimeUnits{{"s", 1.0}, {"ms", 1e-3}, {"us", 1e-6}};

void addAudio(CLI::App& app, SourceOptions& options)
{
    app.add_option("file", options.audioFile, "WAV or FLAC recording");
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
                   "Signal channels, as in 1,2 (the first that are not the tacho)")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("LIST");
    app.add_option(
           "--full-scale", options.fullScale, "Value of a full-scale sample, in the unit (1)")
        ->type_name("VALUE");
}

void addTable(CLI::App& app, SourceOptions& options)
{
    app.add_option("--csv", options.csvFile, "Table with columns of time, signals and speed")
        ->type_name("FILE");
    app.add_option("--time", options.timeColumn, "Name of the time column")->type_name("COLUMN");
    addChoice(
        app, "--time-unit", options.timeUnitSeconds, kTimeUnits, "Unit of the time column (s)");
    app.add_option("--speed", options.speedColumn, "Name of the speed column, in rpm")
        ->type_name("COLUMN");
    app.add_option("--signal", options.signalColumns, "Name of a signal column; may be given twice")
        ->type_name("COLUMN")
        ->allow_extra_args(false);
}

} // namespace

void addSource(CLI::App& app, SourceOptions& options)
{
    addAudio(app, options);
    addTable(app, options);
}

void checkSource(const SourceOptions& options)
{
    if (options.audioFile.empty() == options.csvFile.empty())
        throw HostError("Either a recording or a table with --csv is needed.");
    if (options.csvFile.empty()) return;
    if (options.timeColumn.empty()) throw HostError("A table needs --time COLUMN.");
    if (options.signalColumns.empty()) throw HostError("A table needs --signal COLUMN.");
}

void addTracking(CLI::App& app, TrackingOptions& options)
{
    app.add_option("--track",
                   options.range,
                   "Track the speed in the first signal, in this range of rpm, as in 600:6000")
        ->type_name("MIN:MAX");
    app.add_option("--orders",
                   options.orders,
                   "Orders to be tracked, as in 1,2: at least two that the machine shows")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->type_name("LIST");
    app.add_option("--block",
                   options.blockSeconds,
                   "Length of the blocks of the tracking (two turns at the lowest speed)")
        ->type_name("SECONDS");
}

Host::TrackingSettings trackingSettings(const TrackingOptions& options)
{
    Host::TrackingSettings settings;
    const char* text = options.range.c_str();
    char* end = nullptr;
    settings.minRpm = std::strtod(text, &end);
    const bool first = end != text && *end == ':';
    const char* second = first ? end + 1 : text;
    settings.maxRpm = std::strtod(second, &end);
    if (!first || end == second || *end != '\0')
        throw HostError("The value of --track is \"" + options.range +
                        "\", and two speeds as in 600:6000 are allowed.");
    if (options.orders.empty())
        throw HostError("--track needs --orders LIST: the orders that the machine shows.");
    for (const double order : options.orders) settings.orders.push_back(static_cast<float>(order));
    if (options.blockSeconds) {
        if (!(*options.blockSeconds > 0.0))
            throw HostError("The value of --block is " + Host::numberText(*options.blockSeconds) +
                            ", and it must be above 0.");
        settings.blockSeconds = *options.blockSeconds;
    }
    return settings;
}

} // namespace Harmotrack::Examples
