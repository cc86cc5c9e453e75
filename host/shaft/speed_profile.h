#pragma once

#include "host/shaft/angle_knot.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Harmotrack::Host {

/// Where a speed profile is no rotation that could be followed.
struct SpeedProfileSettings {
    /// At or below this speed the shaft stands still, and the angle begins anew behind it.
    double standstillRpm = 0.0;
    /// Between values further apart nothing is known, and the angle begins anew.
    double longestGapSeconds = 10.0;
};

/// A stretch of a speed profile whose angle is not known.
struct SpeedGap {
    enum class Kind { Standstill, Reversal, Gap };

    double seconds = 0.0; ///< of the last value before; the first value's, if there is none
    double untilSeconds = 0.0;
    Kind kind = Kind::Gap;

    /// One sentence: when, what, and what was done.
    [[nodiscard]] std::string text() const;
};

/// Values of a speed profile that no machine can have: error codes, or another unit.
struct ImpossibleSpeeds {
    std::size_t count = 0;
    double seconds = 0.0; ///< of the first
    double rpm = 0.0;     ///< the first

    /// One sentence: how many, the first, and what was done.
    [[nodiscard]] std::string text() const;
};

/// From a speed over time, measured or estimated by a tracker, to knots of the shaft's angle.
///
///     turns = integral of the speed, which is a straight line between two values
///
/// The time axis may be irregular. A value of NaN is no information (a tracker that was not sure)
/// and is passed over, and so is a speed that no machine can have; standstill, negative speed and
/// gaps end a segment. Any number of calls; one thread at a time.
class SpeedProfile {
public:
    /// @throws HostError  a setting is out of range
    explicit SpeedProfile(SpeedProfileSettings settings = {});

    /// @param seconds   shape (n), strictly increasing, also from call to call
    /// @param speedRpm  shape (n)
    /// @throws HostError  times that do not increase or are out of range, an infinite value;
    /// nothing
    ///                    is taken
    std::vector<AngleKnot> feed(std::span<const double> seconds, std::span<const double> speedRpm);

    /// Stretches without an angle that were not taken yet.
    std::vector<SpeedGap> takeGaps();

    /// Those of all values so far.
    [[nodiscard]] const ImpossibleSpeeds& impossible() const { return impossible_; }

private:
    void take(double seconds, double rpm, std::vector<AngleKnot>& knots);
    void endSegment(double untilSeconds, SpeedGap::Kind kind);

    SpeedProfileSettings settings_;
    std::optional<double> lastSeconds_;      ///< of all values
    std::optional<double> lastKnownSeconds_; ///< of all but NaN
    std::optional<AngleKnot> last_;          ///< of the segment
    std::vector<SpeedGap> gaps_;
    ImpossibleSpeeds impossible_;
};

} // namespace Harmotrack::Host
