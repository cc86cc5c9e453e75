#pragma once

#include "host/shaft/angle_knot.h"
#include "host/shaft/shaft_angle.h"

#include <cstddef>
#include <deque>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// When a shaft passes one of its equal steps of angle, and how fast it turns there.
///
/// The speed is the mean over the whole turn round the step, turns / time: what changes within a
/// turn (the rotation's own irregularity, noise of a speed sensor) does not move it, and a steady
/// change of speed does not bend it.
struct EqualAngleStep {
    long long number = 0; ///< the step stands at number / samplesPerRevolution turns of TurnCount
    double seconds = 0.0;
    double speedRpm = 0.0;
    bool beginsSegment = false; ///< nothing is known between the step before and this one

    /// Angle of the step within its turn, degrees, 0 up to but not including 360.
    [[nodiscard]] double angleDegrees(int samplesPerRevolution) const;
};

/// Goes from knots of a shaft's angle to its equal steps, as the knots come.
///
/// A segment of known angle has steps from half a turn after its start to half a turn before its
/// end. A step comes out once half a turn and two knots behind it are known; what comes out does
/// not depend on how the knots were split. Memory: the steps of a turn. One thread at a time.
class EqualAngleAxis {
public:
    /// @param samplesPerRevolution  even, at least 2
    explicit EqualAngleAxis(int samplesPerRevolution);

    /// @throws HostError  knots that ShaftAngle::fromKnots() refuses, or between which millions of
    ///                    steps lie
    void feed(std::span<const AngleKnot> knots);

    /// The segment in hand ends here.
    void endSegment();

    /// Steps that are certain and were not taken yet.
    std::vector<EqualAngleStep> take();

    /// Before this time no step will come any more, seconds; minus infinity before the first knot.
    [[nodiscard]] double certainSeconds() const;

private:
    void addSteps(bool atTheEnd);

    int samplesPerRevolution_;
    std::vector<AngleKnot> window_; ///< the newest knots of the segment
    std::size_t done_ = 0;          ///< number in the window of the last knot that was passed
    bool begun_ = false;            ///< nextStep_ is set
    long long nextStep_ = 0;        ///< by the segment's own angle
    TurnCount count_;
    long long passedSteps_ = 0;  ///< what it adds to that
    std::deque<double> moments_; ///< of the newest steps, up to nextStep_ - 1
    bool first_ = true;          ///< no step of the segment came out yet
    std::vector<EqualAngleStep> steps_;
};

/// All steps of a segment that lie within a span of time. May be empty.
std::vector<EqualAngleStep> equalAngleSteps(const ShaftAngle& angle,
                                            int samplesPerRevolution,
                                            double fromSeconds,
                                            double toSeconds);

} // namespace Harmotrack::Host
