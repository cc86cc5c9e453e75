#pragma once

#include "host/shaft/angle_knot.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <vector>

namespace Harmotrack::Host {

/// Moves the times of pulses onto a smooth curve: at each pulse a polynomial of third degree of
/// time over the angle is fitted to the pulses within half a window on either side, weighted by (1
/// - |x|³)³ (Cleveland, Robust locally weighted regression and smoothing scatterplots, 1979). The
/// window is symmetric, so nothing lags; at the ends of a segment it has what is there.
///
/// Where the times are known to a step, as those of a rectangular tacho's samples, the window is
/// the widest of 64, 32, 16 and 8 turns (and 64 pulses on either side) in which the pulses scatter
/// about the curve no more than rounding to that step may: by half of it in the weighted mean
/// square, as where a shaft turns in step with the samples and its pulses fall now before and now
/// behind one. No pulse is moved by more than 0.6 of a step. Where there is no such window the
/// pulses stay as they are. So a true swing of the speed is flattened by no more than moves the
/// pulses by half a step.
///
/// No pulse passes another: it moves by less than half of the way to its neighbours.
///
/// What comes out does not depend on how the knots were split. Memory: the knots of a window.
class PulseSmoother {
public:
    /// @param turns        the window, above 0; none: by the scatter, as above
    /// @param stepSeconds  to which the times are known; counts without `turns` alone
    PulseSmoother(std::optional<double> turns, double stepSeconds);

    /// Takes the next knot, and adds those to `to` that are certain by now.
    void feed(const AngleKnot& knot, std::vector<AngleKnot>& to);

    /// No more knots come: the rest.
    void finish(std::vector<AngleKnot>& to);

    [[nodiscard]] std::size_t moved() const { return moved_; } ///< knots so far

    [[nodiscard]] double farthestSeconds() const { return farthest_; } ///< that one was moved by

    [[nodiscard]] double widestTurns() const { return widest_; } ///< window that was used

private:
    void settle(std::vector<AngleKnot>& to);
    [[nodiscard]] double smoothed(std::size_t at);
    [[nodiscard]] std::optional<double> fitted(std::size_t at, double turns) const;
    void forget();

    std::optional<double> turns_;
    double step_;
    double reach_; ///< half of the widest window, turns
    std::size_t mostEachSide_;

    std::deque<AngleKnot> knots_; ///< of one segment, as they came
    std::size_t next_ = 0;        ///< the first of them that did not come out yet

    std::size_t moved_ = 0;
    double farthest_ = 0.0;
    double widest_ = 0.0;
};

} // namespace Harmotrack::Host
