#include "host/shaft/pulse_smoother.h"

#include <Eigen/Cholesky>
#include <Eigen/Core>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Harmotrack::Host {
namespace {

constexpr std::array<double, 4> kWindows{64.0, 32.0, 16.0, 8.0}; // turns
constexpr std::size_t kMostEachSide = 64;
constexpr std::size_t kLeastKnots = 8; // of a fit with four unknowns
constexpr double kMostScatter = 0.5;   // of a step, root mean square: rounding makes no more
constexpr double kMostMove = 0.6;      // of a step
constexpr double kShareOfPitch = 0.4;  // that a pulse may come nearer to its neighbour

} // namespace

PulseSmoother::PulseSmoother(std::optional<double> turns, double stepSeconds)
    : turns_(turns), step_(stepSeconds), reach_(0.5 * turns.value_or(kWindows.front())),
      mostEachSide_(turns ? std::numeric_limits<std::size_t>::max() / 2 : kMostEachSide)
{
}

void PulseSmoother::feed(const AngleKnot& knot, std::vector<AngleKnot>& to)
{
    if (knot.beginsSegment) finish(to);
    knots_.push_back(knot);
    while (knots_.back().turns - knots_[next_].turns > reach_ ||
           knots_.size() - next_ > mostEachSide_ + 1)
        settle(to);
}

void PulseSmoother::finish(std::vector<AngleKnot>& to)
{
    while (next_ < knots_.size()) settle(to);
    knots_.clear();
    next_ = 0;
}

void PulseSmoother::settle(std::vector<AngleKnot>& to)
{
    AngleKnot knot = knots_[next_];
    knot.seconds = smoothed(next_);
    to.push_back(knot);
    ++next_;
    forget();
}

void PulseSmoother::forget()
{
    while (next_ > 1 &&
           (knots_[next_].turns - knots_.front().turns > reach_ || next_ > mostEachSide_)) {
        if (next_ >= knots_.size()) return;
        knots_.pop_front();
        --next_;
    }
}

// The time of a knot on the curve of the widest window that fits.
double PulseSmoother::smoothed(std::size_t at)
{
    const double seconds = knots_[at].seconds;
    double room = std::numeric_limits<double>::infinity();
    if (at > 0) room = seconds - knots_[at - 1].seconds;
    if (at + 1 < knots_.size()) room = std::min(room, knots_[at + 1].seconds - seconds);

    const auto windows = turns_ ? std::vector<double>{*turns_}
                                : std::vector<double>(kWindows.begin(), kWindows.end());
    for (const double turns : windows) {
        const std::optional<double> found = fitted(at, turns);
        if (!found || std::abs(*found - seconds) > kShareOfPitch * room) continue;
        const double move = std::abs(*found - seconds);
        if (move > 0.0) ++moved_;
        farthest_ = std::max(farthest_, move);
        widest_ = std::max(widest_, turns);
        return *found;
    }
    return seconds;
}

std::optional<double> PulseSmoother::fitted(std::size_t at, double turns) const
{
    const double half = 0.5 * turns;
    std::size_t first = at;
    std::size_t end = at + 1;
    while (first > 0 && at - first < mostEachSide_ &&
           knots_[at].turns - knots_[first - 1].turns <= half)
        --first;
    while (end < knots_.size() && end - at <= mostEachSide_ &&
           knots_[end].turns - knots_[at].turns <= half)
        ++end;
    if (end - first < kLeastKnots) return std::nullopt;

    // Time over angle, both from the knot on; the weight is 0 just beyond the outermost knot.
    const double reach = 1.001 * std::max(knots_[at].turns - knots_[first].turns,
                                          knots_[end - 1].turns - knots_[at].turns);
    Eigen::Matrix4d squares = Eigen::Matrix4d::Zero();
    Eigen::Vector4d products = Eigen::Vector4d::Zero();
    double weights = 0.0;
    double power = 0.0;
    for (std::size_t k = first; k < end; ++k) {
        const double x = (knots_[k].turns - knots_[at].turns) / reach;
        const double y = knots_[k].seconds - knots_[at].seconds;
        const double bell = 1.0 - std::abs(x * x * x);
        const double weight = bell * bell * bell;
        const Eigen::Vector4d row(1.0, x, x * x, x * x * x);
        squares += weight * row * row.transpose();
        products += weight * y * row;
        weights += weight;
        power += weight * y * y;
    }
    const Eigen::Vector4d curve = squares.ldlt().solve(products);
    if (!turns_) {
        const double scatter = std::sqrt(std::max(power - curve.dot(products), 0.0) / weights);
        if (scatter > kMostScatter * step_) return std::nullopt;
        return knots_[at].seconds + std::clamp(curve[0], -kMostMove * step_, kMostMove * step_);
    }
    return knots_[at].seconds + curve[0];
}

} // namespace Harmotrack::Host
