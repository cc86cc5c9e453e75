#pragma once

#include "host/shaft/tachometer.h"
#include "host/tracking/tracking_settings.h"

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace Harmotrack::Examples {

/// What a program is to read. What is empty was not asked for.
struct SourceOptions {
    // Either a WAV or FLAC file ...
    std::string audioFile;
    int tachoChannel = 0; ///< counted from 1; 0: none
    Host::TachometerSettings tacho;
    std::vector<int> signalChannels; ///< counted from 1; empty: the first that are not the tacho
    double fullScale = 1.0;          ///< value of a sample at full scale, in the signals' unit

    // ... or a table.
    std::string csvFile;
    std::string timeColumn;
    double timeUnitSeconds = 1.0;
    std::string speedColumn;
    std::vector<std::string> signalColumns;

    [[nodiscard]] bool hasSpeed() const { return tachoChannel != 0 || !speedColumn.empty(); }
};

/// Adds the options that fill it to a command line, and those of a tracking.
void addSource(CLI::App& app, SourceOptions& options);

/// @throws Host::HostError  neither file is given, or both, or a table without its columns
void checkSource(const SourceOptions& options);

/// How a speed is to be tracked in a signal.
struct TrackingOptions {
    std::string range; ///< "600:6000", in rpm; empty: not asked for
    std::vector<double> orders;
    std::optional<double> blockSeconds;

    [[nodiscard]] bool given() const { return !range.empty(); }
};

/// Adds --track, --orders and --block.
void addTracking(CLI::App& app, TrackingOptions& options);

/// @throws Host::HostError  the range is no pair of numbers, or there are no orders
Host::TrackingSettings trackingSettings(const TrackingOptions& options);

} // namespace Harmotrack::Examples
