#include "host/tracking/speed_follower.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numeric>
#include <optional>

namespace Harmotrack::Host {
namespace {

constexpr int kBlocksUntilLost = 3;
// An estimate is the greatest likelihood, which differs a little from the greatest share.
constexpr double kLeastDistinctness = 0.95;
constexpr double kLeastTrustedDistinctness = 0.5;
constexpr double kMostDistinctness = 1e6;

// Nothing but a constant, or numbers whose squares no double holds.
bool isSilent(std::span<const double> block, double energy)
{
    constexpr double kRounding = 1e-20;
    const double square = std::inner_product(block.begin(), block.end(), block.begin(), 0.0);
    return !(energy > kRounding * square) || energy < std::numeric_limits<double>::min() ||
           !std::isfinite(square);
}

} // namespace

SpeedFollower::SpeedFollower(const TrackingSettings& settings, const TrackingPlan& plan)
    : settings_(settings), stepHz_(plan.stepHz), tracker_(settings, plan),
      fit_(settings.orders, plan.rateHz, static_cast<std::size_t>(plan.blockSamples))
{
    const double rangeHz = (settings.maxRpm - settings.minRpm) / 60.0;
    scan_.resize(static_cast<std::size_t>(std::ceil(rangeHz / (2.0 * stepHz_))) + 2);
}

void SpeedFollower::continueFrom(double rpm)
{
    tracker_.continueFrom(rpm);
    searching_ = false;
    trusting_ = true;
    badBlocks_ = 0;
}

SpeedEstimate SpeedFollower::follow(std::span<const double> block)
{
    const SpeedEstimate result = estimate(block);
    if (result.valid) {
        searching_ = false;
        badBlocks_ = 0;
        return result;
    }
    ++badBlocks_;
    if (searching_ || badBlocks_ >= kBlocksUntilLost) {
        tracker_.searchAll();
        searching_ = true;
        trusting_ = false;
    }
    return result;
}

SpeedEstimate SpeedFollower::estimate(std::span<const double> block)
{
    SpeedEstimate result;
    fit_.take(block);
    if (isSilent(block, fit_.energy())) return result;
    std::optional<double> rpm = tracker_.track(block);
    if (rpm && searching_) {
        // The first search of the whole range weighs its last steps by the distance from the start
        // of the range, and ends a part of a step off: once more, round what it found.
        tracker_.continueFrom(*rpm);
        rpm = tracker_.track(block);
    }
    if (!rpm || !(*rpm > 0.0)) return result;

    result.rpm = *rpm;
    if (*rpm < 0.98 * settings_.minRpm || *rpm > 1.02 * settings_.maxRpm) return result;
    result.explained = fit_.explained(*rpm / 60.0);
    const double next = explainedByNextBest(*rpm / 60.0);
    result.distinctness =
        result.explained > kMostDistinctness * next ? kMostDistinctness : result.explained / next;
    result.valid =
        result.explained >= settings_.leastExplained &&
        result.distinctness >= (trusting_ ? kLeastTrustedDistinctness : kLeastDistinctness);
    return result;
}

double SpeedFollower::explained(std::span<const double> block, double rpm)
{
    fit_.take(block);
    return fit_.explained(rpm / 60.0);
}

double SpeedFollower::explainedByNextBest(double hertz)
{
    const double lowest = settings_.minRpm / 60.0;
    const double step =
        (settings_.maxRpm - settings_.minRpm) / 60.0 / static_cast<double>(scan_.size() - 1);
    for (std::size_t i = 0; i < scan_.size(); ++i)
        scan_[i] = fit_.explained(lowest + static_cast<double>(i) * step);

    // Down the hill on either side of the estimate.
    const double place =
        std::clamp((hertz - lowest) / step, 0.0, static_cast<double>(scan_.size() - 1));
    auto left = static_cast<std::size_t>(place);
    auto right = std::min(left + 1, scan_.size() - 1);
    while (left > 0 && scan_[left - 1] <= scan_[left]) --left;
    while (right + 1 < scan_.size() && scan_[right + 1] <= scan_[right]) ++right;
    double next = 0.0;
    for (std::size_t i = 0; i < left; ++i) next = std::max(next, scan_[i]);
    for (std::size_t i = right + 1; i < scan_.size(); ++i) next = std::max(next, scan_[i]);
    return next;
}

} // namespace Harmotrack::Host
