#pragma once

#include <memory>
#include <span>

namespace Harmotrack::Host {

/// The angle of a shaft over time, counted in turns from its first known moment; strictly
/// increasing, with the speed as its derivative.
///
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

    [[nodiscard]] double startSeconds() const; ///< first moment of known angle
    [[nodiscard]] double endSeconds() const;   ///< last moment of known angle
    [[nodiscard]] double turns() const;        ///< angle at the end; it is 0 at the start

    /// Angle at a time of startSeconds() .. endSeconds(), turns. Times outside count as the nearest
    /// end.
    [[nodiscard]] double turnsAt(double seconds) const;

    /// Speed at a time, the derivative of the angle; times outside count as the nearest end.
    [[nodiscard]] double speedRpmAt(double seconds) const;

    /// The moment of an angle of 0 .. turns(), seconds: the inverse of turnsAt(), by Newton steps
    /// inside the bracket of its two knots. Angles outside count as the nearest end.
    [[nodiscard]] double secondsAt(double turns) const;

private:
    struct Knots;

    explicit ShaftAngle(std::shared_ptr<const Knots> knots);

    std::shared_ptr<const Knots> knots_;
};

} // namespace Harmotrack::Host
