#include "host/shaft/speed_profile.h"

#include "host/host_error.h"
#include "host/ranges.h"

#include <cmath>
#include <utility>

namespace Harmotrack::Host {

std::string SpeedGap::text() const
{
    const std::string span =
        "From " + numberText(seconds) + " to " + numberText(untilSeconds) + " s ";
    switch (kind) {
    case Kind::Standstill:
        return span + "the shaft stands still: the angle begins anew.";
    case Kind::Reversal:
        return span + "the shaft turns backwards: the angle begins anew.";
    case Kind::Gap:
        break;
    }
    return span + "the speed is not known: the angle begins anew.";
}

std::string ImpossibleSpeeds::text() const
{
    const std::string first = numberText(rpm) + " rpm at " + numberText(seconds) + " s";
    const std::string allowed =
        "no machine turns at " + numberText(kFastestRpm) + " rpm or more, and ";
    if (count == 1) return "The speed is " + first + ": " + allowed + "the value was left out.";
    return std::to_string(count) + " values of the speed, the first " + first + ": " + allowed +
           "they were left out.";
}

SpeedProfile::SpeedProfile(SpeedProfileSettings settings) : settings_(settings)
{
    if (!(settings.standstillRpm >= 0.0) || !std::isfinite(settings.standstillRpm))
        throw HostError("The speed of standstill is " + numberText(settings.standstillRpm) +
                        " rpm, and it must be 0 or more.");
    if (!(settings.longestGapSeconds > 0.0))
        throw HostError("The longest gap is " + numberText(settings.longestGapSeconds) +
                        " s, and it must be above 0.");
}

std::vector<AngleKnot> SpeedProfile::feed(std::span<const double> seconds,
                                          std::span<const double> speedRpm)
{
    if (seconds.size() != speedRpm.size())
        throw HostError("The speed profile has " + std::to_string(speedRpm.size()) +
                        " speeds and " + std::to_string(seconds.size()) +
                        " times, and the counts must be equal.");
    std::optional<double> before = lastSeconds_;
    for (std::size_t k = 0; k < seconds.size(); ++k) {
        if (!std::isfinite(seconds[k]) || std::isinf(speedRpm[k]))
            throw HostError("Value " + std::to_string(k + 1) + " of the speed profile is " +
                            numberText(speedRpm[k]) + " rpm at " + numberText(seconds[k]) +
                            " s, and both must be finite.");
        if (before && !(seconds[k] > *before))
            throw HostError("Time does not increase at speed value " + std::to_string(k + 1) +
                            ": " + numberText(seconds[k]) + " s follows " + numberText(*before) +
                            " s.");
        checkTime("The time of speed value " + std::to_string(k + 1), seconds[k]);
        before = seconds[k];
    }
    std::vector<AngleKnot> knots;
    for (std::size_t k = 0; k < seconds.size(); ++k) {
        lastSeconds_ = seconds[k];
        if (std::isnan(speedRpm[k])) continue;
        if (isPossibleSpeed(speedRpm[k])) {
            take(seconds[k], speedRpm[k], knots);
        } else {
            if (impossible_.count == 0) impossible_ = {0, seconds[k], speedRpm[k]};
            ++impossible_.count;
        }
    }
    return knots;
}

void SpeedProfile::take(double seconds, double rpm, std::vector<AngleKnot>& knots)
{
    if (lastKnownSeconds_ && seconds - *lastKnownSeconds_ > settings_.longestGapSeconds)
        endSegment(seconds, SpeedGap::Kind::Gap);
    if (!lastKnownSeconds_) lastKnownSeconds_ = seconds;
    if (rpm <= settings_.standstillRpm) {
        endSegment(seconds, rpm < 0.0 ? SpeedGap::Kind::Reversal : SpeedGap::Kind::Standstill);
        lastKnownSeconds_ = seconds;
        return;
    }
    AngleKnot knot{seconds, 0.0, rpm / 60.0, true};
    if (last_) {
        knot.beginsSegment = false;
        knot.turns = last_->turns + 0.5 * (last_->turnsPerSecond + knot.turnsPerSecond) *
                                        (seconds - last_->seconds);
    } else if (!gaps_.empty() && gaps_.back().untilSeconds == *lastKnownSeconds_) {
        gaps_.back().untilSeconds = seconds;
    }
    last_ = knot;
    lastKnownSeconds_ = seconds;
    knots.push_back(knot);
}

// A standstill of many values is one gap, and so is a reversal in it.
void SpeedProfile::endSegment(double untilSeconds, SpeedGap::Kind kind)
{
    if (!last_ && !gaps_.empty() && gaps_.back().untilSeconds == *lastKnownSeconds_) {
        gaps_.back().untilSeconds = untilSeconds;
        if (kind == SpeedGap::Kind::Reversal) gaps_.back().kind = kind;
    } else {
        gaps_.push_back({*lastKnownSeconds_, untilSeconds, kind});
    }
    last_.reset();
}

std::vector<SpeedGap> SpeedProfile::takeGaps()
{
    return std::exchange(gaps_, {});
}

} // namespace Harmotrack::Host
