#pragma once

#include "host/shaft/angle_knot.h"
#include "host/shaft/shaft_angle.h"

#include <cstddef>
#include <deque>
#include <limits>
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
/// end. A step can be taken once half a turn and two knots behind it are known; what comes out does
/// not depend on how the knots were split, nor on the times up to which steps were taken.
///
/// Memory: the knots that no step was taken behind, and the steps of a turn. Steps are made when
/// they are taken, so that two knots may be any time apart. One thread at a time.
class EqualAngleAxis {
public:
    /// @param samplesPerRevolution  even, at least 2
    /// @param fromSeconds           steps before this time are left out
    explicit EqualAngleAxis(int samplesPerRevolution,
                            double fromSeconds = -std::numeric_limits<double>::infinity());

    /// @throws HostError  knots between which tens of millions of steps lie in a second
    void feed(std::span<const AngleKnot> knots);

    /// The segment in hand ends here.
    void endSegment() { ended_ = true; }

    /// Steps up to and including a time that are certain and were not taken yet.
    ///
    /// @throws HostError  knots that ShaftAngle::fromKnots() refuses
    std::vector<EqualAngleStep> take(double untilSeconds = std::numeric_limits<double>::infinity());

    /// Before this time no step will come any more, seconds; minus infinity before the first knot.
    [[nodiscard]] double certainSeconds() const;

private:
    void fillWindow();
    bool addSteps(bool atTheEnd, double untilSeconds, std::vector<EqualAngleStep>& steps);
    void addStep(std::vector<EqualAngleStep>& steps);
    void beginSegment();
    void leaveSegment();
    void skipEarlySteps(const ShaftAngle& angle, double lastSeconds);
    void dropPassedKnots(std::size_t last);
    [[nodiscard]] bool isNextStepBehind(double seconds) const;

    int samplesPerRevolution_;
    std::size_t halfTurn_; ///< steps
    double fromSeconds_;
    std::deque<AngleKnot> waiting_; ///< knots behind those of the window
    bool ended_ = false;            ///< the segment of the newest knot ends with it
    std::vector<AngleKnot> window_; ///< the oldest knots that are still needed, of one segment
    std::size_t done_ = 0;          ///< number in the window of the last knot that was passed
    bool begun_ = false;            ///< nextStep_ is set
    long long nextStep_ = 0;        ///< by the segment's own angle
    TurnCount count_;
    long long passedSteps_ = 0;  ///< what it adds to that
    std::deque<double> moments_; ///< of the newest steps, up to nextStep_ - 1
    bool first_ = true;          ///< no step of the segment came out yet
};

/// All steps of a segment that lie within a span of time. May be empty.
std::vector<EqualAngleStep> equalAngleSteps(const ShaftAngle& angle,
                                            int samplesPerRevolution,
                                            double fromSeconds,
                                            double toSeconds);

} // namespace Harmotrack::Host
