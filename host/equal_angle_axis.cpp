#include "host/equal_angle_axis.h"

#include <algorithm>
#include <cmath>

namespace Harmotrack::Host {

double EqualAngleAxis::angleDegrees(std::size_t k) const
{
    const long long step = (firstStep + static_cast<long long>(k)) % samplesPerRevolution;
    return 360.0 * static_cast<double>(step) / static_cast<double>(samplesPerRevolution);
}

EqualAngleAxis equalAngleAxis(const ShaftAngle& angle,
                              int samplesPerRevolution,
                              double fromSeconds,
                              double toSeconds)
{
    EqualAngleAxis axis;
    axis.samplesPerRevolution = samplesPerRevolution;

    // Every step of the known angle first: the speed needs half a turn of them on either side.
    const auto stepsPerTurn = static_cast<double>(samplesPerRevolution);
    const auto steps = static_cast<std::size_t>(std::floor(angle.turns() * stepsPerTurn)) + 1;
    std::vector<double> seconds(steps);
    for (std::size_t k = 0; k < steps; ++k)
        seconds[k] = angle.secondsAt(static_cast<double>(k) / stepsPerTurn);

    const auto half = static_cast<std::size_t>(samplesPerRevolution / 2);
    for (std::size_t k = half; k + half < steps; ++k) {
        if (seconds[k] < fromSeconds || seconds[k] > toSeconds) continue;
        if (axis.seconds.empty()) axis.firstStep = static_cast<long long>(k);
        axis.seconds.push_back(seconds[k]);
        axis.speedRpm.push_back(60.0 / (seconds[k + half] - seconds[k - half]));
    }
    return axis;
}

} // namespace Harmotrack::Host
