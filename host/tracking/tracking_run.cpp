#include "host/tracking/tracking_run.h"

#include "host/host_error.h"
#include "host/shaft/shaft_angle.h"
#include "host/shaft/speed_profile.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

namespace Harmotrack::Host {
namespace {

constexpr int kLeastRow = 3;
constexpr std::size_t kRunIn = 3; // blocks

// How far the speed may go from one block to the next: what a tracker that predicts may find.
double longestJumpRpm(const TrackingSettings& settings)
{
    return 0.03 * settings.maxRpm;
}

bool follows(const SpeedEstimate& estimate, const SpeedEstimate& former, double longestJump)
{
    return former.valid && estimate.valid && std::abs(estimate.rpm - former.rpm) <= longestJump;
}

void checkFinite(std::span<const double> samples, double startSeconds, double rateHz)
{
    const auto bad = std::find_if(
        samples.begin(), samples.end(), [](double value) { return !std::isfinite(value); });
    if (bad != samples.end())
        throw HostError(
            "The signal holds a value that is not a finite number at " +
            numberText(startSeconds + static_cast<double>(bad - samples.begin()) / rateHz) + " s.");
}

/// A row of valid estimates that follow each other: first .. last.
struct Row {
    std::size_t first = 0;
    std::size_t last = 0;
    double certainty = 0.0;
};

/// A recording cut into blocks, and its estimates as they grow.
class WholeTracking {
public:
    WholeTracking(const TrackingSettings& settings,
                  const UniformSignal& signal,
                  const std::function<void(double)>& progress)
        : settings_(settings), plan_(planFor(settings, signal.rateHz)), progress_(progress),
          quality_(settings, plan_)
    {
        LowPassDecimator decimator(plan_.decimation);
        decimator.push(signal.samples, samples_);
        const auto block = static_cast<std::size_t>(plan_.blockSamples);
        if (samples_.size() < block)
            throw HostError(
                "The signal lasts " +
                numberText(static_cast<double>(signal.samples.size()) / signal.rateHz) +
                " s, and a block needs " +
                numberText(plan_.blockSeconds() +
                           2.0 * static_cast<double>(decimator.delay()) / signal.rateHz) +
                " s.");
        estimates_.resize((samples_.size() - block) / hop() + 1);
        const double first =
            signal.startSeconds + static_cast<double>(decimator.delay()) / signal.rateHz;
        for (std::size_t k = 0; k < estimates_.size(); ++k)
            times_.push_back(first + blockMiddle(k));
    }

    std::vector<SpeedEstimate> track()
    {
        SpeedFollower follower(settings_, plan_);
        for (std::size_t k = 0; k < estimates_.size(); ++k) {
            estimates_[k] = follower.follow(block(k));
            report();
        }
        extendRows();
        dropShortRows();
        if (progress_) progress_(1.0);
        for (std::size_t k = 0; k < estimates_.size(); ++k) estimates_[k].seconds = times_[k];
        return std::move(estimates_);
    }

private:
    [[nodiscard]] std::size_t hop() const { return static_cast<std::size_t>(plan_.hopSamples); }

    [[nodiscard]] double blockMiddle(std::size_t k) const
    {
        return (static_cast<double>(k * hop()) + 0.5 * (plan_.blockSamples - 1)) / plan_.rateHz;
    }

    [[nodiscard]] std::span<const double> block(std::size_t k) const
    {
        return std::span<const double>(samples_).subspan(
            k * hop(), static_cast<std::size_t>(plan_.blockSamples));
    }

    // The share is a guess: nobody knows how far the rows will reach.
    void report()
    {
        ++done_;
        if (progress_ && done_ % 16 == 0)
            progress_(std::min(
                0.5 * static_cast<double>(done_) / static_cast<double>(estimates_.size()), 1.0));
    }

    // Rows of valid estimates without a jump, within the blocks from one to another, exclusive.
    [[nodiscard]] std::vector<Row> rows(std::size_t from, std::size_t to) const
    {
        std::vector<Row> found;
        for (std::size_t k = from; k < to; ++k) {
            const SpeedEstimate& estimate = estimates_[k];
            if (!estimate.valid) continue;
            const bool goesOn =
                k > from && follows(estimate, estimates_[k - 1], longestJumpRpm(settings_));
            if (!goesOn) found.push_back({k, k, 0.0});
            found.back().last = k;
            found.back().certainty +=
                estimate.explained * std::max(1.0 - 1.0 / estimate.distinctness, 0.0);
        }
        return found;
    }

    void extendRows()
    {
        std::vector<std::pair<std::size_t, std::size_t>> parts{{0, estimates_.size()}};
        while (!parts.empty()) {
            const auto [from, to] = parts.back();
            parts.pop_back();
            Row best;
            for (const Row& row : rows(from, to)) {
                if (row.certainty > best.certainty) best = row;
            }
            if (best.certainty <= 0.0) continue;
            best = onRightMultiple(best);
            const std::size_t first = extendBackward(best, from);
            const std::size_t last = extendForward(best, to);
            parts.emplace_back(from, first);
            parts.emplace_back(last + 1, to);
        }
    }

    // Log-likelihood of the speeds of a row times a factor, up to a constant: blocks overlap by
    // half, so every other one counts.
    [[nodiscard]] double evidence(const Row& row, double factor)
    {
        constexpr double kLeastRest = 1e-6;
        double sum = 0.0;
        for (std::size_t k = row.first; k <= row.last; k += 2) {
            const double rest = 1.0 - quality_.explained(block(k), factor * estimates_[k].rpm);
            sum -= 0.5 * plan_.blockSamples * std::log(std::max(rest, kLeastRest));
        }
        return sum;
    }

    // If one order rules, one block alone hardly tells it from another of the list at a multiple
    // or a part of the speed; all blocks of a row together do. A row that stands on a wrong one
    // shrinks to a single block with the right speed, from where it grows anew.
    [[nodiscard]] Row onRightMultiple(const Row& row)
    {
        constexpr double kClearly = 6.0;
        double best = evidence(row, 1.0) + kClearly;
        double factor = 1.0;
        for (const double other : {1.0 / 3.0, 0.5, 2.0 / 3.0, 1.5, 2.0, 3.0}) {
            const auto outside = [&](std::size_t k) {
                const double rpm = other * estimates_[k].rpm;
                return rpm < settings_.minRpm || rpm > settings_.maxRpm;
            };
            if (outside(row.first) || outside(row.last)) continue;
            const double sum = evidence(row, other);
            if (sum <= best) continue;
            best = sum;
            factor = other;
        }
        if (factor == 1.0) return row;
        for (std::size_t k = row.first; k <= row.last; ++k) estimates_[k].valid = false;
        const std::size_t middle = (row.first + row.last) / 2;
        estimates_[middle].rpm *= factor;
        return {middle, middle, row.certainty};
    }

    // The machine runs backward through reversed blocks. The start lies inside the row, so that the
    // trend of the speed is known at its end.
    // Returns the first block of the longer row.
    std::size_t extendBackward(const Row& row, std::size_t from)
    {
        const std::size_t start = std::min(row.first + kRunIn, row.last);
        SpeedFollower follower(settings_, plan_);
        follower.continueFrom(estimates_[start].rpm);
        std::vector<double> reversed(static_cast<std::size_t>(plan_.blockSamples));
        std::size_t reached = row.first;
        for (std::size_t k = start + 1; k-- > from && !follower.isSearching();) {
            const auto samples = block(k);
            std::reverse_copy(samples.begin(), samples.end(), reversed.begin());
            reached = keep(follower.follow(reversed), k, row, reached);
        }
        return reached;
    }

    // Returns the last block of the longer row.
    std::size_t extendForward(const Row& row, std::size_t to)
    {
        const std::size_t start = row.last - std::min(kRunIn, row.last - row.first);
        SpeedFollower follower(settings_, plan_);
        follower.continueFrom(estimates_[start].rpm);
        std::size_t reached = row.last;
        for (std::size_t k = start; k < to && !follower.isSearching(); ++k)
            reached = keep(follower.follow(block(k)), k, row, reached);
        return reached;
    }

    // Beyond the row the estimates of the extension replace what was found there.
    std::size_t
    keep(const SpeedEstimate& estimate, std::size_t k, const Row& row, std::size_t reached)
    {
        report();
        const bool inside = k >= row.first && k <= row.last && estimates_[k].valid;
        if (inside || !estimate.valid) return reached;
        estimates_[k] = estimate;
        return k;
    }

    void dropShortRows()
    {
        for (const Row& row : rows(0, estimates_.size())) {
            if (row.last - row.first + 1 >= static_cast<std::size_t>(kLeastRow)) continue;
            for (std::size_t k = row.first; k <= row.last; ++k) estimates_[k].valid = false;
        }
    }

    const TrackingSettings& settings_;
    TrackingPlan plan_;
    const std::function<void(double)>& progress_;
    SpeedFollower quality_;       ///< follows nothing
    std::vector<double> samples_; ///< decimated
    std::vector<double> times_;   ///< of the blocks' middles
    std::vector<SpeedEstimate> estimates_;
    std::size_t done_ = 0; ///< blocks followed, forward and backward
};

} // namespace

TrackingRun::TrackingRun(const TrackingSettings& settings, double rateHz, double startSeconds)
    : settings_((settings.validate(rateHz), settings)), plan_(planFor(settings, rateHz)),
      rateHz_(rateHz), startSeconds_(startSeconds), decimator_(plan_.decimation),
      follower_(settings, plan_)
{
}

std::vector<SpeedEstimate> TrackingRun::push(std::span<const double> samples)
{
    checkFinite(samples, startSeconds_ + static_cast<double>(taken_) / rateHz_, rateHz_);
    taken_ += samples.size();
    decimator_.push(samples, pending_);

    std::vector<SpeedEstimate> estimates;
    const auto size = static_cast<std::size_t>(plan_.blockSamples);
    const auto hop = static_cast<std::size_t>(plan_.hopSamples);
    std::size_t from = 0;
    for (; from + size <= pending_.size(); from += hop, ++blocks_) {
        SpeedEstimate estimate =
            follower_.follow(std::span<const double>(pending_).subspan(from, size));
        estimate.seconds =
            startSeconds_ + static_cast<double>(decimator_.delay()) / rateHz_ +
            (static_cast<double>(blocks_ * hop) + 0.5 * static_cast<double>(size - 1)) /
                plan_.rateHz;
        row_ = !estimate.valid                                       ? 0
               : follows(estimate, last_, longestJumpRpm(settings_)) ? row_ + 1
                                                                     : 1;
        last_ = estimate;
        estimate.valid = row_ >= kLeastRow;
        estimates.push_back(estimate);
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(from));
    return estimates;
}

TrackedSpeed trackSpeed(const TrackingSettings& settings,
                        const UniformSignal& signal,
                        const std::function<void(double)>& progress)
{
    settings.validate(signal.rateHz);
    checkFinite(signal.samples, signal.startSeconds, signal.rateHz);
    return {WholeTracking(settings, signal, progress).track()};
}

double TrackedSpeed::validShare() const
{
    if (estimates.empty()) return 0.0;
    const auto valid = std::count_if(
        estimates.begin(), estimates.end(), [](const SpeedEstimate& e) { return e.valid; });
    return static_cast<double>(valid) / static_cast<double>(estimates.size());
}

std::vector<LostStretch> TrackedSpeed::lost() const
{
    std::vector<LostStretch> stretches;
    bool before = true;
    for (const SpeedEstimate& estimate : estimates) {
        if (!estimate.valid && before) stretches.push_back({estimate.seconds, estimate.seconds});
        if (!estimate.valid) stretches.back().toSeconds = estimate.seconds;
        before = estimate.valid;
    }
    return stretches;
}

std::vector<AngleKnot> TrackedSpeed::knots(double longestGapSeconds) const
{
    std::vector<double> seconds;
    std::vector<double> rpm;
    for (const SpeedEstimate& estimate : estimates) {
        if (!estimate.valid) continue;
        seconds.push_back(estimate.seconds);
        rpm.push_back(estimate.rpm);
    }
    std::vector<AngleKnot> knots =
        SpeedProfile({.longestGapSeconds = longestGapSeconds}).feed(seconds, rpm);
    if (ShaftAngle::segmentsOf(knots).empty())
        throw HostError("The machine's speed was not found in the signal: no valid estimates "
                        "follow each other.");
    return knots;
}

} // namespace Harmotrack::Host
