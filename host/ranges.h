#pragma once

#include <cmath>
#include <string>

namespace Harmotrack::Host {

// What speeds, times and rates of a recording can be. What lies beyond is no measurement but an
// error code or a value of another unit, and the number of a sample or a step of angle would not
// fit an integer.

/// No machine turns so fast, in either direction.
inline constexpr double kFastestRpm = 1e6;
/// Three hundred years to either side of zero: the clocks of computers count from 1970.
inline constexpr double kLatestSeconds = 1e10;
inline constexpr double kHighestRateHz = 1e8;
/// Angles to either side of zero: more than turns by in all of the time.
inline constexpr double kFarthestTurns = 1e15;

/// Whether a machine can have a speed.
inline bool isPossibleSpeed(double rpm)
{
    return std::abs(rpm) < kFastestRpm;
}

/// @param what  is sampled so, beginning with a capital: "The sampling rate"
/// @throws HostError  a rate that is not above 0 and at most kHighestRateHz
void checkRate(const std::string& what, double rateHz);

/// @param what  stands there, beginning with a capital: "The time of the first sample"
/// @throws HostError  a time that is not finite or beyond kLatestSeconds
void checkTime(const std::string& what, double seconds);

} // namespace Harmotrack::Host
