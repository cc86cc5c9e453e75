#pragma once

#include <limits>

namespace Harmotrack::Host {

/// One known moment of a shaft. A tachometer, a speed profile or a tracker says knots in the order
/// of time; between two of them the angle is a cubic of time (ShaftAngle).
struct AngleKnot {
    double seconds = 0.0;
    double turns = 0.0; ///< angle; whole numbers are the mark of the shaft, where there is one
    /// The speed at that moment, turns a second; NaN: to be found from the neighbours.
    double turnsPerSecond = std::numeric_limits<double>::quiet_NaN();
    /// Nothing is known between the knot before and this one: a new segment, whose angle is not
    /// tied to the former one's.
    bool beginsSegment = false;
};

} // namespace Harmotrack::Host
