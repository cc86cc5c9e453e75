#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/uniform_signal.h"

namespace Harmotrack::Host {

/// Which flank of a tacho pulse counts.
enum class Edge { Rising, Falling };

/// How the pulses of an analogue tacho channel are read.
struct TachometerSettings {
    /// Level whose crossing is the pulse, in the channel's unit. By default half the pulses'
    /// height: midway between the low and the high level that most of the recording reaches.
    std::optional<double> level;
    /// How far beyond the level, per cent of the pulses' height, the signal must go on either side
    /// for a crossing to count: 0 up to 45. Noise smaller than that makes no pulses.
    double hysteresisPercent = 15.0;
    Edge edge = Edge::Rising;
    /// What errors call the channel.
    std::string name = "The tacho channel";
};

/// Reads the times of the pulses from an analogue tacho channel.
///
/// A pulse is a crossing of the level on the chosen flank, and it counts once the signal has gone
/// on beyond the hysteresis, from beyond it on the other side. Its time is that of the last
/// crossing of the level before that, between two samples: a polynomial of fifth degree through the
/// six samples round it is solved for the level. On a band-limited flank the error is far below a
/// hundredth of a sample, where a straight line errs by several.
class Tachometer {
public:
    /// @throws HostError  the hysteresis is out of range, or the level not finite
    explicit Tachometer(TachometerSettings settings = {});

    /// Times of the pulses, seconds, strictly increasing; at least one.
    /// @throws HostError  the channel shows no pulses, or a sample is not finite
    [[nodiscard]] std::vector<double> pulseTimes(const UniformSignal& channel) const;

private:
    TachometerSettings settings_;
};

} // namespace Harmotrack::Host
