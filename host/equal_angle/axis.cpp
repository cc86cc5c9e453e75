#include "host/equal_angle/axis.h"

#include "host/host_error.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Harmotrack::Host {
namespace {

// The speed at a knot follows from it and its two neighbours; so the cubic between two knots is
// certain when one more stands behind them, and unchanged if one more stays before them.
constexpr std::size_t kKnotsBehind = 1;
constexpr std::size_t kLeastKnots = 4;

// Knots are looked at so many at a time: often enough to keep the window short, seldom enough to be
// cheap.
constexpr std::size_t kWindowKnots = 256;

// More steps in a second, and so many at least, are the damage of a knot: no channel has a rate for
// them, and they would fill the memory.
constexpr double kMostSteps = 2e7;

void checkDistance(const AngleKnot& from, const AngleKnot& to, int samplesPerRevolution)
{
    const double seconds = std::max(to.seconds - from.seconds, 1.0);
    const double most = std::floor(kMostSteps * seconds / samplesPerRevolution);
    if (to.beginsSegment || !(to.turns - from.turns > most)) return;
    throw HostError("From " + numberText(from.seconds) + " to " + numberText(to.seconds) +
                    " s the shaft makes " + numberText(to.turns - from.turns) +
                    " turns of which nothing else is known, and at most " + numberText(most) +
                    " are allowed.");
}

} // namespace

double EqualAngleStep::angleDegrees(int samplesPerRevolution) const
{
    const long long remainder = number % samplesPerRevolution;
    const long long inTurn = remainder < 0 ? remainder + samplesPerRevolution : remainder;
    return 360.0 * static_cast<double>(inTurn) / static_cast<double>(samplesPerRevolution);
}

EqualAngleAxis::EqualAngleAxis(int samplesPerRevolution, double fromSeconds)
    : samplesPerRevolution_(samplesPerRevolution),
      halfTurn_(static_cast<std::size_t>(samplesPerRevolution / 2)), fromSeconds_(fromSeconds)
{
}

void EqualAngleAxis::feed(std::span<const AngleKnot> knots)
{
    for (AngleKnot knot : knots) {
        if (std::exchange(ended_, false)) knot.beginsSegment = true;
        if (!waiting_.empty())
            checkDistance(waiting_.back(), knot, samplesPerRevolution_);
        else if (!window_.empty())
            checkDistance(window_.back(), knot, samplesPerRevolution_);
        waiting_.push_back(knot);
    }
}

std::vector<EqualAngleStep> EqualAngleAxis::take(double untilSeconds)
{
    std::vector<EqualAngleStep> steps;
    for (;;) {
        fillWindow();
        const bool isLast = waiting_.empty();
        const bool atTheEnd = isLast ? ended_ : waiting_.front().beginsSegment;
        if (!addSteps(atTheEnd, untilSeconds, steps)) break;
        if (atTheEnd) leaveSegment();
        if (isLast) break;
    }
    return steps;
}

void EqualAngleAxis::fillWindow()
{
    while (!waiting_.empty() && window_.size() < kWindowKnots) {
        if (waiting_.front().beginsSegment && !window_.empty()) break;
        window_.push_back(waiting_.front());
        waiting_.pop_front();
    }
}

void EqualAngleAxis::leaveSegment()
{
    if (begun_) count_.leave(window_.back().turns);
    window_.clear();
    done_ = 0;
    begun_ = false;
    moments_.clear();
    first_ = true;
}

double EqualAngleAxis::certainSeconds() const
{
    if (!moments_.empty()) {
        return moments_[moments_.size() - std::min(moments_.size(), halfTurn_)];
    }
    return window_.empty() ? -std::numeric_limits<double>::infinity() : window_[done_].seconds;
}

// All steps of which the window is certain. False if it has more, behind the time.
bool EqualAngleAxis::addSteps(bool atTheEnd,
                              double untilSeconds,
                              std::vector<EqualAngleStep>& steps)
{
    if (isNextStepBehind(untilSeconds)) return false;
    const bool known = std::none_of(window_.begin(), window_.end(), [](const AngleKnot& knot) {
        return std::isnan(knot.turnsPerSecond);
    });
    const std::size_t behind = atTheEnd || known ? 0 : kKnotsBehind;
    if (window_.size() < (known ? 2 : kLeastKnots)) return true;
    if (!atTheEnd && window_.size() < done_ + 2 + behind) return true;

    const ShaftAngle angle = ShaftAngle::fromKnots(window_);
    const std::size_t last = window_.size() - 1 - behind;
    if (!begun_) beginSegment();
    skipEarlySteps(angle, window_[last].seconds);
    for (;; ++nextStep_) {
        if (isNextStepBehind(untilSeconds)) return false;
        const double turns = static_cast<double>(nextStep_) / samplesPerRevolution_;
        // Strictly before the last knot, unless it is the end: so a step on a knot is found by the
        // same cubic whatever came at once.
        if (turns > window_[last].turns || (!atTheEnd && turns == window_[last].turns)) break;
        moments_.push_back(angle.secondsAt(turns));
        if (moments_.size() == 2 * halfTurn_ + 1) addStep(steps);
    }
    dropPassedKnots(last);
    return true;
}

bool EqualAngleAxis::isNextStepBehind(double seconds) const
{
    return moments_.size() > halfTurn_ && moments_[halfTurn_] > seconds;
}

void EqualAngleAxis::beginSegment()
{
    const double start = window_.front().turns;
    nextStep_ = static_cast<long long>(std::ceil(start * samplesPerRevolution_));
    passedSteps_ = static_cast<long long>(count_.enter(start)) * samplesPerRevolution_;
    begun_ = true;
}

// Goes on half a turn before the first step that is wanted, or where the window ends before it: a
// step more, as the angle of a moment is rounded.
void EqualAngleAxis::skipEarlySteps(const ShaftAngle& angle, double lastSeconds)
{
    const double wanted = angle.turnsAt(std::min(fromSeconds_, lastSeconds));
    const long long step = static_cast<long long>(std::floor(wanted * samplesPerRevolution_)) -
                           samplesPerRevolution_ / 2 - 1;
    if (step <= nextStep_) return;
    nextStep_ = step;
    moments_.clear();
}

// The one in the middle of the turn that has been passed.
void EqualAngleAxis::addStep(std::vector<EqualAngleStep>& steps)
{
    const double turnSeconds = moments_.back() - moments_.front();
    if (moments_[halfTurn_] >= fromSeconds_)
        steps.push_back({passedSteps_ + nextStep_ - static_cast<long long>(halfTurn_),
                         moments_[halfTurn_],
                         60.0 / turnSeconds,
                         std::exchange(first_, false)});
    moments_.pop_front();
}

// The knots that the next cubics need stay; at least four, so that they can be made at once.
void EqualAngleAxis::dropPassedKnots(std::size_t last)
{
    done_ = last;
    const std::size_t gone = std::min(done_ - std::min<std::size_t>(done_, 1),
                                      window_.size() - std::min(window_.size(), kLeastKnots));
    window_.erase(window_.begin(), window_.begin() + static_cast<std::ptrdiff_t>(gone));
    done_ -= gone;
}

std::vector<EqualAngleStep> equalAngleSteps(const ShaftAngle& angle,
                                            int samplesPerRevolution,
                                            double fromSeconds,
                                            double toSeconds)
{
    EqualAngleAxis axis(samplesPerRevolution, fromSeconds);
    axis.feed(angle.knots());
    axis.endSegment();
    return axis.take(toSeconds);
}

} // namespace Harmotrack::Host
