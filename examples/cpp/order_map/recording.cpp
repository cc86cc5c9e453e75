#include "recording.h"

#include "tracking.h"

#include "host/shaft/shaft_angle.h"

#include <cstddef>
#include <utility>

namespace Harmotrack::Examples {
namespace {

constexpr std::size_t kMostSignals = 2;

Recording withTrackedSpeed(Source source, const TrackingOptions& options)
{
    const Host::TrackedSpeed speed = track(source.signals.front(), trackingSettings(options));
    return {std::move(source.file),
            std::move(source.signals),
            source.names,
            shaftOf(speed),
            false,
            "tracked in " + source.names.front() + ", " + foundText(speed),
            {},
            {}};
}

} // namespace

double Recording::turns() const
{
    double turns = 0.0;
    for (const Host::ShaftAngle& segment : Host::ShaftAngle::segmentsOf(knots))
        turns += segment.turns();
    return turns;
}

Recording readRecording(const Options& options)
{
    Source source = readSource(options.source, kMostSignals);
    if (options.tracking.given()) return withTrackedSpeed(std::move(source), options.tracking);
    return {std::move(source.file),
            std::move(source.signals),
            std::move(source.names),
            std::move(source.knots),
            source.hasMark,
            options.source.tachoChannel != 0 ? "from the tacho" : "from the column of speed",
            std::move(source.tachoEvents),
            std::move(source.remarks)};
}

} // namespace Harmotrack::Examples
