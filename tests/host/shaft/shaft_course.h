#pragma once

#include "host/shaft/tachometer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

namespace Harmotrack::Host {

/// A speed that runs straight between corners, and the pulses of a wheel on that shaft.
struct ShaftCourse {
    struct Corner {
        double seconds;
        double rpm;
    };

    std::vector<Corner> corners;

    /// The moments at which the shaft stands at each of these turns, which rise. Those that it does
    /// not reach are left out.
    [[nodiscard]] std::vector<double> momentsOf(const std::vector<double>& turns) const
    {
        std::vector<double> moments;
        auto next = turns.begin();
        double passed = 0.0;
        for (std::size_t k = 1; k < corners.size(); ++k) {
            const double span = corners[k].seconds - corners[k - 1].seconds;
            const double hz = corners[k - 1].rpm / 60.0;
            const double hzPerSecond = (corners[k].rpm - corners[k - 1].rpm) / 60.0 / span;
            const double end = passed + 0.5 * (hz + corners[k].rpm / 60.0) * span;
            for (; next != turns.end() && *next <= end && end > passed; ++next) {
                const double root = hz * hz + 2.0 * hzPerSecond * (*next - passed);
                const double rate = hz + std::sqrt(std::max(root, 0.0));
                moments.push_back(corners[k - 1].seconds +
                                  (rate > 0.0 ? 2.0 * (*next - passed) / rate : 0.0));
            }
            passed = end;
        }
        return moments;
    }

    [[nodiscard]] double turns() const
    {
        double passed = 0.0;
        for (std::size_t k = 1; k < corners.size(); ++k)
            passed += 0.5 * (corners[k - 1].rpm + corners[k].rpm) / 60.0 *
                      (corners[k].seconds - corners[k - 1].seconds);
        return passed;
    }
};

/// A pulse, and the angle at which the shaft truly stood.
struct TruePulse {
    double seconds = 0.0;
    double turns = 0.0;
    bool besideGap = false; ///< of a wheel with missing teeth: counted, and no knot
};

/// The pulses of a wheel of which a tooth passes the sensor after `firstTurns` for the first time;
/// with missing teeth it is the one in the middle of the wheel.
inline std::vector<TruePulse>
pulsesOf(const ShaftCourse& course, double perRevolution, double firstTurns, int missingTeeth = 0)
{
    const auto teeth = static_cast<int>(perRevolution);
    std::vector<TruePulse> pulses;
    std::vector<double> turns;
    for (int k = 0; firstTurns + k / perRevolution <= course.turns(); ++k) {
        const int tooth = missingTeeth == 0 ? 1 : (k + teeth / 2) % teeth;
        const int last = missingTeeth == 0 ? 2 : teeth - missingTeeth - 1;
        if (tooth > last) continue;
        turns.push_back(firstTurns + k / perRevolution);
        pulses.push_back({0.0, turns.back(), tooth == 0 || tooth == last});
    }
    const std::vector<double> moments = course.momentsOf(turns);
    pulses.resize(moments.size());
    for (std::size_t k = 0; k < moments.size(); ++k) pulses[k].seconds = moments[k];
    return pulses;
}

inline std::vector<double> momentsOf(const std::vector<TruePulse>& pulses)
{
    std::vector<double> moments;
    moments.reserve(pulses.size());
    for (const TruePulse& pulse : pulses) moments.push_back(pulse.seconds);
    return moments;
}

/// A stretch in which the shaft stands still.
struct Standstill {
    double fromSeconds = 0.0;
    double toSeconds = 0.0;
};

/// Share of the time in which the speed from knot to knot is off by more than 2 per cent, or
/// nothing is known, of that from the first to the last pulse which can be a knot; without the time
/// between the two round a standstill.
inline double wrongShare(const std::vector<TruePulse>& pulses,
                         const std::vector<AngleKnot>& knots,
                         const Standstill& still = {-1.0, -1.0})
{
    double right = 0.0;
    auto pulse = pulses.begin();
    double turnsBefore = 0.0;
    for (std::size_t k = 0; k < knots.size(); ++k) {
        while (pulse->seconds < knots[k].seconds) ++pulse;
        const double turns = pulse->turns - std::exchange(turnsBefore, pulse->turns);
        if (k == 0 || knots[k].beginsSegment) continue;
        if (knots[k - 1].seconds <= still.fromSeconds && knots[k].seconds >= still.toSeconds)
            continue;
        if (std::abs(knots[k].turns - knots[k - 1].turns - turns) <= 0.02 * turns)
            right += knots[k].seconds - knots[k - 1].seconds;
    }
    double all = 0.0;
    const TruePulse* before = nullptr;
    for (const TruePulse& each : pulses) {
        if (each.besideGap) continue;
        if (before != nullptr &&
            !(before->seconds <= still.fromSeconds && each.seconds >= still.toSeconds))
            all += each.seconds - before->seconds;
        before = &each;
    }
    return (all - right) / all;
}

} // namespace Harmotrack::Host
