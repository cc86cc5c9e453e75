#pragma once

#include "host/shaft/angle_knot.h"

#include <memory>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// The angle of a shaft over time, in turns; strictly increasing, with the speed as its derivative.
///
/// One object is one segment, without standstill, reversal or gap: segmentsOf() makes one of each.
/// Between two knots the angle is a cubic of time:
///
///   from pulses  the piecewise cubic Hermite interpolant of Fritsch and Carlson (1980) with the
///                slopes of Fritsch and Butland (1984): it passes every pulse, is monotone, and its
///                error falls with the third power of the pulse distance. One pulse a turn on a
///                run-up of 180 rpm/s from 600 rpm: below 0.02 degrees.
///   from speed   the integral of the speed, which is taken as a straight line between two values.
///
/// Objects are immutable; copies share their knots, and any number of threads may read.
class ShaftAngle {
public:
    /// From the times of tacho pulses: pulse k stands at k / pulsesPerRevolution turns. The first
    /// pulse is angle 0.
    ///
    /// @param pulseSeconds   shape (n), n at least 4, strictly increasing
    /// @param pulsesPerRevolution  above 0; need not be whole
    /// @throws HostError     too few pulses, times that do not increase, a count out of range
    static ShaftAngle fromPulses(std::span<const double> pulseSeconds, double pulsesPerRevolution);

    /// From a speed profile on any time axis. The first time is angle 0: without a mark on the
    /// shaft its true angle there is unknown.
    ///
    /// @param seconds   shape (n), n at least 2, strictly increasing
    /// @param speedRpm  shape (n), above 0: at standstill the angle stands still, and nothing can
    /// be
    ///                  sampled over it
    /// @throws HostError  an argument breaks these rules; the sentence names time and value
    static ShaftAngle fromSpeed(std::span<const double> seconds, std::span<const double> speedRpm);

    /// From the knots of one segment, as Tachometer and SpeedProfile make them. A knot without a
    /// speed gets it from its neighbours, as in fromPulses().
    ///
    /// @param knots      shape (n), n at least 2, at least 4 if one has no speed; times and turns
    ///                   strictly increasing, speeds not negative
    /// @throws HostError they break these rules
    static ShaftAngle fromKnots(std::span<const AngleKnot> knots);

    /// The same for knots of any number of segments; those with too few knots are left out.
    static std::vector<ShaftAngle> segmentsOf(std::span<const AngleKnot> knots);

    /// The knots, each with its speed; the first one begins a segment.
    [[nodiscard]] std::vector<AngleKnot> knots() const;

    [[nodiscard]] double startSeconds() const; ///< first moment of known angle
    [[nodiscard]] double endSeconds() const;   ///< last moment of known angle
    [[nodiscard]] double startTurns() const;   ///< angle at the start; 0 but for fromKnots()
    [[nodiscard]] double endTurns() const;     ///< angle at the end
    [[nodiscard]] double turns() const;        ///< from start to end

    /// Angle at a time of startSeconds() .. endSeconds(), turns. Times outside count as the nearest
    /// end.
    [[nodiscard]] double turnsAt(double seconds) const;

    /// Speed at a time, the derivative of the angle; times outside count as the nearest end.
    [[nodiscard]] double speedRpmAt(double seconds) const;

    /// The moment of an angle of startTurns() .. endTurns(), seconds: the inverse of turnsAt(), by
    /// Newton steps inside the bracket of its two knots. Angles outside count as the nearest end.
    [[nodiscard]] double secondsAt(double turns) const;

private:
    struct Knots;

    explicit ShaftAngle(std::shared_ptr<const Knots> knots);

    std::shared_ptr<const Knots> knots_;
};

/// Counts turns on over segments, whose own angles know nothing of each other: behind a gap by
/// whole turns, so that the mark stays where it is, and by as many that no angle comes twice. It
/// begins at 0 or above.
class TurnCount {
public:
    /// @param startTurns  of a segment, by its own angle
    /// @return            the whole turns that this angle lacks, 0 or more
    double enter(double startTurns);

    /// @param endTurns  of the segment entered last, by its own angle
    void leave(double endTurns) { end_ = endTurns + passed_; }

private:
    double passed_ = 0.0;
    double end_ = 0.0;
};

/// What TurnCount says of each of the segments, in the order of time.
std::vector<double> turnsPassed(std::span<const ShaftAngle> segments);

} // namespace Harmotrack::Host
