#pragma once

#include "host/shaft_angle.h"

#include <cstddef>
#include <vector>

namespace Harmotrack::Host {

/// When a shaft passes equal steps of angle, and how fast it turns there.
///
///     sample k:  angle (firstStep + k) / samplesPerRevolution turns of the ShaftAngle,
///                at seconds[k], turning at speedRpm[k]
///
/// The speed is the mean over the whole turn round the sample, turns / time: what changes within a
/// turn (the rotation's own irregularity, noise of a speed sensor) does not move it, and a steady
/// change of speed does not bend it.
struct EqualAngleAxis {
    int samplesPerRevolution = 0;
    long long firstStep = 0;
    std::vector<double> seconds;
    std::vector<double> speedRpm;

    [[nodiscard]] std::size_t size() const { return seconds.size(); }

    /// Angle of sample k within its turn, degrees, 0 up to but not including 360.
    [[nodiscard]] double angleDegrees(std::size_t k) const;
};

/// The steps of angle from half a turn after the angle's start to half a turn before its end, as
/// far as they lie within a span of time. May be empty.
///
/// @param samplesPerRevolution  even, at least 2
EqualAngleAxis equalAngleAxis(const ShaftAngle& angle,
                              int samplesPerRevolution,
                              double fromSeconds,
                              double toSeconds);

} // namespace Harmotrack::Host
