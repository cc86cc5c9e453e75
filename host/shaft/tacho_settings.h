#pragma once

#include <optional>
#include <string>

namespace Harmotrack::Host {

/// Which flank of a tacho pulse counts. Both doubles the moments of known angle; the share of a
/// pulse that lies between its two flanks is learned.
enum class Edge { Rising, Falling, Both };

/// How a tacho's pulses are read and what a shaft can do.
struct TachometerSettings {
    /// Level whose crossing is the pulse, in the channel's unit. By default halfway between the
    /// pulses' low and high levels, which are followed: see PulseDetector.
    std::optional<double> level;
    /// How far beyond the level, per cent of the pulses' height, the signal must go on either side
    /// for a crossing to count: 0 up to 45. Noise smaller than that makes no pulses.
    double hysteresisPercent = 15.0;
    Edge edge = Edge::Rising;

    /// Pulses in one revolution of the wheel, above 0; need not be whole. A wheel with missing
    /// teeth is named by the teeth it would have: 60 for 60-2.
    double pulsesPerRevolution = 1.0;
    /// Teeth left out, one behind the other, as a mark: 2 for 60-2. The first tooth after the gap
    /// is angle 0. With missing teeth pulsesPerRevolution is whole.
    int missingTeeth = 0;
    /// Revolutions of the machine's shaft in one revolution of the wheel, above 0. Unless it is 1,
    /// the wheel's mark says nothing of the shaft's angle 0.
    double gearRatio = 1.0;

    /// What the machine's shaft can't do: pulses that say so are dropped and reported. By default
    /// only what follows from the pulses themselves holds: see PulseFollower.
    std::optional<double> maxRpm;
    std::optional<double> maxRpmPerSecond;

    /// Pulse times may come out of order by as many pulses, 0 to 1000; as many are held back. The
    /// flanks of a channel always come in order, and none is held back.
    int disorder = 8;

    /// Pulse times are smoothed over a window of as many turns (PulseSmoother): 0 to 1000, 0 not at
    /// all. By default only those of a channel of two values whose flanks lie within a sample, and
    /// which scatter by that sample.
    std::optional<double> smoothingTurns;

    /// What errors call the channel.
    std::string name = "The tacho channel";

    /// @throws HostError  a field is out of range; the sentence names it, its value and the range
    void validate() const;
};

} // namespace Harmotrack::Host
