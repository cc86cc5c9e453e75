#include "host/shaft/shaft_angle.h"

#include "host/host_error.h"
#include "host/ranges.h"

// Declares the isnan that pchip.hpp calls without including it.
#include <boost/math/special_functions/fpclassify.hpp>

#include <boost/math/interpolators/cubic_hermite.hpp>
#include <boost/math/interpolators/pchip.hpp>
#include <boost/math/tools/roots.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

namespace Harmotrack::Host {
namespace {

using Values = std::vector<double>;
using boost::math::interpolators::cubic_hermite;
using boost::math::interpolators::pchip;

void checkIncreasing(std::span<const double> seconds, const char* what)
{
    for (std::size_t k = 0; k < seconds.size(); ++k) {
        checkTime("The time of " + std::string(what) + " " + std::to_string(k + 1), seconds[k]);
        if (k > 0 && !(seconds[k] > seconds[k - 1]))
            throw HostError("Time does not increase at " + std::string(what) + " " +
                            std::to_string(k + 1) + ": " + numberText(seconds[k]) + " s follows " +
                            numberText(seconds[k - 1]) + " s.");
    }
}

// Slope of the parabola through three points at the first of them, held where a cubic with it stays
// monotone (Fritsch and Carlson: 0 to 3 times the secant).
double endSlope(double x0, double x1, double x2, double y0, double y1, double y2)
{
    const double near = (y1 - y0) / (x1 - x0);
    const double far = (y2 - y1) / (x2 - x1);
    const double slope = near + (near - far) * (x1 - x0) / (x2 - x0);
    return std::clamp(slope, 0.05 * near, 3.0 * near);
}

// The pchip slopes at the knots; its own rule for the two ends, the secant, errs by half a step.
Values monotoneSlopes(const Values& x, const Values& y)
{
    const std::size_t n = x.size();
    const pchip<Values> interpolant(
        Values(x),
        Values(y),
        endSlope(x[0], x[1], x[2], y[0], y[1], y[2]),
        endSlope(-x[n - 1], -x[n - 2], -x[n - 3], -y[n - 1], -y[n - 2], -y[n - 3]));
    Values slopes(n);
    std::transform(
        x.begin(), x.end(), slopes.begin(), [&](double at) { return interpolant.prime(at); });
    return slopes;
}

} // namespace

struct ShaftAngle::Knots {
    Knots(Values seconds_, Values turns_, Values slopes_)
        : seconds(std::move(seconds_)), turns(std::move(turns_)), slopes(std::move(slopes_)),
          angle(Values(seconds), Values(turns), Values(slopes))
    {
    }

    Values seconds;
    Values turns;
    Values slopes;
    cubic_hermite<Values> angle; ///< turns over seconds
};

ShaftAngle::ShaftAngle(std::shared_ptr<const Knots> knots) : knots_(std::move(knots)) {}

ShaftAngle ShaftAngle::fromPulses(std::span<const double> pulseSeconds, double pulsesPerRevolution)
{
    if (!(pulsesPerRevolution > 0.0) || !std::isfinite(pulsesPerRevolution))
        throw HostError("The number of pulses per revolution is " +
                        numberText(pulsesPerRevolution) + ", and it must be above 0.");
    if (pulseSeconds.size() < 4)
        throw HostError("The tacho gives " + std::to_string(pulseSeconds.size()) +
                        " pulses, and at least 4 are needed.");
    checkIncreasing(pulseSeconds, "pulse");

    Values seconds(pulseSeconds.begin(), pulseSeconds.end());
    Values turns(seconds.size());
    for (std::size_t k = 0; k < turns.size(); ++k)
        turns[k] = static_cast<double>(k) / pulsesPerRevolution;
    Values slopes = monotoneSlopes(seconds, turns);
    return ShaftAngle(
        std::make_shared<const Knots>(std::move(seconds), std::move(turns), std::move(slopes)));
}

ShaftAngle ShaftAngle::fromSpeed(std::span<const double> seconds, std::span<const double> speedRpm)
{
    if (seconds.size() != speedRpm.size())
        throw HostError("The speed profile has " + std::to_string(speedRpm.size()) +
                        " speeds and " + std::to_string(seconds.size()) +
                        " times, and the counts must be equal.");
    if (seconds.size() < 2)
        throw HostError("The speed profile has " + std::to_string(seconds.size()) +
                        " values, and at least 2 are needed.");
    checkIncreasing(seconds, "speed value");
    for (std::size_t k = 0; k < speedRpm.size(); ++k) {
        if (!(speedRpm[k] > 0.0) || !std::isfinite(speedRpm[k]))
            throw HostError("The speed is " + numberText(speedRpm[k]) + " rpm at " +
                            numberText(seconds[k]) + " s, and it must be above 0 throughout.");
    }

    Values turns(seconds.size(), 0.0);
    Values slopes(seconds.size());
    for (std::size_t k = 0; k < turns.size(); ++k) {
        slopes[k] = speedRpm[k] / 60.0;
        if (k > 0)
            turns[k] =
                turns[k - 1] + 0.5 * (slopes[k - 1] + slopes[k]) * (seconds[k] - seconds[k - 1]);
    }
    return ShaftAngle(std::make_shared<const Knots>(
        Values(seconds.begin(), seconds.end()), std::move(turns), std::move(slopes)));
}

ShaftAngle ShaftAngle::fromKnots(std::span<const AngleKnot> knots)
{
    Values seconds;
    Values turns;
    Values slopes;
    bool known = true;
    for (const AngleKnot& knot : knots) {
        seconds.push_back(knot.seconds);
        turns.push_back(knot.turns);
        slopes.push_back(knot.turnsPerSecond);
        known = known && !std::isnan(knot.turnsPerSecond);
        if (knot.turnsPerSecond < 0.0)
            throw HostError("The speed is " + numberText(60.0 * knot.turnsPerSecond) + " rpm at " +
                            numberText(knot.seconds) + " s, and it must not be negative.");
        if (!(std::abs(knot.turns) <= kFarthestTurns))
            throw HostError("The angle is " + numberText(knot.turns) + " turns at " +
                            numberText(knot.seconds) + " s, and " + numberText(-kFarthestTurns) +
                            " to " + numberText(kFarthestTurns) + " are allowed.");
        if (turns.size() > 1 && !(turns.back() > turns[turns.size() - 2]))
            throw HostError("The angle does not increase at " + numberText(knot.seconds) +
                            " s: " + numberText(turns.back()) + " turns follow " +
                            numberText(turns[turns.size() - 2]) + ".");
    }
    const std::size_t least = known ? 2 : 4;
    if (seconds.size() < least)
        throw HostError("The angle has " + std::to_string(seconds.size()) +
                        " knots, and at least " + std::to_string(least) + " are needed.");
    checkIncreasing(seconds, "knot");
    if (!known) {
        const Values found = monotoneSlopes(seconds, turns);
        for (std::size_t k = 0; k < slopes.size(); ++k) {
            if (std::isnan(slopes[k])) slopes[k] = found[k];
        }
    }
    return ShaftAngle(
        std::make_shared<const Knots>(std::move(seconds), std::move(turns), std::move(slopes)));
}

std::vector<ShaftAngle> ShaftAngle::segmentsOf(std::span<const AngleKnot> knots)
{
    std::vector<ShaftAngle> segments;
    std::size_t first = 0;
    for (std::size_t end = 1; end <= knots.size(); ++end) {
        if (end < knots.size() && !knots[end].beginsSegment) continue;
        const auto segment = knots.subspan(first, end - first);
        const bool known = std::none_of(segment.begin(), segment.end(), [](const AngleKnot& knot) {
            return std::isnan(knot.turnsPerSecond);
        });
        if (segment.size() >= (known ? 2U : 4U)) segments.push_back(fromKnots(segment));
        first = end;
    }
    return segments;
}

std::vector<AngleKnot> ShaftAngle::knots() const
{
    std::vector<AngleKnot> knots;
    for (std::size_t k = 0; k < knots_->seconds.size(); ++k)
        knots.push_back({knots_->seconds[k], knots_->turns[k], knots_->slopes[k], k == 0});
    return knots;
}

double ShaftAngle::startSeconds() const
{
    return knots_->seconds.front();
}

double ShaftAngle::endSeconds() const
{
    return knots_->seconds.back();
}

double ShaftAngle::startTurns() const
{
    return knots_->turns.front();
}

double ShaftAngle::endTurns() const
{
    return knots_->turns.back();
}

double ShaftAngle::turns() const
{
    return endTurns() - startTurns();
}

double ShaftAngle::turnsAt(double seconds) const
{
    return knots_->angle(std::clamp(seconds, startSeconds(), endSeconds()));
}

double ShaftAngle::speedRpmAt(double seconds) const
{
    return 60.0 * knots_->angle.prime(std::clamp(seconds, startSeconds(), endSeconds()));
}

double ShaftAngle::secondsAt(double turns) const
{
    const Values& angles = knots_->turns;
    if (turns <= angles.front()) return knots_->seconds.front();
    if (turns >= angles.back()) return knots_->seconds.back();
    const auto next = std::upper_bound(angles.begin(), angles.end(), turns) - angles.begin();
    const auto right = static_cast<std::size_t>(next);
    const double from = knots_->seconds[right - 1];
    const double to = knots_->seconds[right];
    const double share = (turns - angles[right - 1]) / (angles[right] - angles[right - 1]);
    std::uintmax_t iterations = 60;
    return boost::math::tools::newton_raphson_iterate(
        [&](double t) { return std::pair(knots_->angle(t) - turns, knots_->angle.prime(t)); },
        from + share * (to - from),
        from,
        to,
        std::numeric_limits<double>::digits - 4,
        iterations);
}

double TurnCount::enter(double startTurns)
{
    passed_ = std::max(std::ceil(end_ - startTurns), 0.0);
    return passed_;
}

std::vector<double> turnsPassed(std::span<const ShaftAngle> segments)
{
    TurnCount count;
    std::vector<double> passed;
    for (const ShaftAngle& segment : segments) {
        passed.push_back(count.enter(segment.startTurns()));
        count.leave(segment.endTurns());
    }
    return passed;
}

} // namespace Harmotrack::Host
