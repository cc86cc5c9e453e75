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

// Two knots so far apart are the damage of one: their steps would fill the memory.
constexpr double kMostStepsBetweenKnots = 2e7;

void checkDistance(const AngleKnot& from, const AngleKnot& to, int samplesPerRevolution)
{
    const double most = std::floor(kMostStepsBetweenKnots / samplesPerRevolution);
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

EqualAngleAxis::EqualAngleAxis(int samplesPerRevolution)
    : samplesPerRevolution_(samplesPerRevolution)
{
}

void EqualAngleAxis::feed(std::span<const AngleKnot> knots)
{
    for (const AngleKnot& knot : knots) {
        if (knot.beginsSegment) endSegment();
        if (!window_.empty()) checkDistance(window_.back(), knot, samplesPerRevolution_);
        window_.push_back(knot);
        // Often enough to keep the window short, seldom enough to be cheap.
        if (window_.size() >= 256) addSteps(false);
    }
    addSteps(false);
}

void EqualAngleAxis::endSegment()
{
    addSteps(true);
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
        const auto half = static_cast<std::size_t>(samplesPerRevolution_ / 2);
        return moments_[moments_.size() - std::min(moments_.size(), half)];
    }
    return window_.empty() ? -std::numeric_limits<double>::infinity() : window_[done_].seconds;
}

void EqualAngleAxis::addSteps(bool atTheEnd)
{
    const bool known = std::none_of(window_.begin(), window_.end(), [](const AngleKnot& knot) {
        return std::isnan(knot.turnsPerSecond);
    });
    const std::size_t behind = atTheEnd || known ? 0 : kKnotsBehind;
    if (window_.size() < (known ? 2 : kLeastKnots)) return;
    if (!atTheEnd && window_.size() < done_ + 2 + behind) return;

    const ShaftAngle angle = ShaftAngle::fromKnots(window_);
    const std::size_t last = window_.size() - 1 - behind;
    const auto stepsPerTurn = static_cast<double>(samplesPerRevolution_);
    if (!begun_) {
        const double start = window_.front().turns;
        nextStep_ = static_cast<long long>(std::ceil(start * stepsPerTurn));
        passedSteps_ = static_cast<long long>(count_.enter(start)) * samplesPerRevolution_;
        begun_ = true;
    }
    const auto half = static_cast<std::size_t>(samplesPerRevolution_ / 2);
    for (;; ++nextStep_) {
        const double turns = static_cast<double>(nextStep_) / stepsPerTurn;
        // Strictly before the last knot, unless it is the end: so a step on a knot is found by the
        // same cubic whatever came at once.
        if (turns > window_[last].turns || (!atTheEnd && turns == window_[last].turns)) break;
        moments_.push_back(angle.secondsAt(turns));
        if (moments_.size() < 2 * half + 1) continue;
        const double turnSeconds = moments_.back() - moments_.front();
        steps_.push_back({passedSteps_ + nextStep_ - static_cast<long long>(half),
                          moments_[half],
                          60.0 / turnSeconds,
                          std::exchange(first_, false)});
        moments_.pop_front();
    }
    // The knots that the next cubics need; at least four, so that they can be made at once.
    done_ = last;
    const std::size_t keep = std::min(done_ - std::min<std::size_t>(done_, 1),
                                      window_.size() - std::min(window_.size(), kLeastKnots));
    window_.erase(window_.begin(), window_.begin() + static_cast<std::ptrdiff_t>(keep));
    done_ -= keep;
}

std::vector<EqualAngleStep> EqualAngleAxis::take()
{
    return std::exchange(steps_, {});
}

std::vector<EqualAngleStep> equalAngleSteps(const ShaftAngle& angle,
                                            int samplesPerRevolution,
                                            double fromSeconds,
                                            double toSeconds)
{
    EqualAngleAxis axis(samplesPerRevolution);
    axis.feed(angle.knots());
    axis.endSegment();
    std::vector<EqualAngleStep> steps = axis.take();
    std::erase_if(steps, [&](const EqualAngleStep& step) {
        return step.seconds < fromSeconds || step.seconds > toSeconds;
    });
    if (!steps.empty()) steps.front().beginsSegment = true;
    return steps;
}

} // namespace Harmotrack::Host
