#include "autotracker/autotracker.h"

#include <algorithm>

namespace Velmora::Autotracker {

const TrackingResult& Autotracker::calculate()
{
    feedDecimator();
    SignalBuffer& ring = activeRing();
    if (unreadSamples(ring) < blockLength_) {
        result_.valid = 0;
        result_.needsMoreSamples = 1;
        return result_;
    }

    result_.frequency = searchFrequency() * unitFactor_;
    const std::int64_t centre = blockLength_ / 2 + ring.readCount;
    result_.time = static_cast<double>(centre) / trackingRate() + timeOffset_;
    result_.valid = 1;

    ring.readIndex = movedIndex(ring.readIndex, hop_, ring.capacity);
    ring.readCount += hop_;
    result_.needsMoreSamples = unreadSamples(ring) < blockLength_ ? 1 : 0;
    return result_;
}

double Autotracker::searchFrequency()
{
    copyBlock();
    const bool broad = isBroad();
    const double step = gridStep();
    const CandidatePoint best = searchGrid(searchRange(), step, !broad);
    if (best.likelihood == 0.0) return currentFrequency_;

    // The ends may lie outside the range, and even below 0. What they score plays no part.
    const double lower = best.position - step;
    const double upper = best.position + step;
    const double estimate = refine(lower, goldenPoint(lower, upper), upper, 0);

    // After the first estimate there is no trend yet.
    previousFrequency_ = broad ? estimate : currentFrequency_;
    currentFrequency_ = estimate;
    if (broad) firstEstimate_ = false;
    return estimate;
}

void Autotracker::copyBlock()
{
    const SignalBuffer& ring = activeRing();
    for (std::int32_t i = 0; i < blockLength_; ++i)
        block_[i] = ring.samples[movedIndex(ring.readIndex, i, ring.capacity)];
}

SearchRange Autotracker::searchRange() const
{
    if (isBroad()) return {setup_->minFrequency / unitFactor_, setup_->maxFrequency / unitFactor_};
    const double predicted = predictedFrequency();
    const double span =
        setup_->predictionSigmaPercent / 100.0 * setup_->maxFrequency * 3.0 / unitFactor_;
    return {std::max(predicted - span, 0.0), std::max(predicted + span, 0.0)};
}

double Autotracker::gridStep() const
{
    const double scale = setup_->minFrequency > 0.0 ? setup_->minFrequency : setup_->maxFrequency;
    return setup_->searchStep / 100.0 * scale * 5.0;
}

CandidatePoint Autotracker::searchGrid(const SearchRange& range, double step, bool usePrior)
{
    CandidatePoint best{.position = 0.0, .likelihood = 0.0};
    double x = range.low;
    while (range.high > x) {
        const double score = likelihood(x, usePrior);
        if (score > best.likelihood) best = {.position = x, .likelihood = score};
        x += step;
    }
    return best;
}

CandidatePoint Autotracker::goldenPoint(double lower, double upper)
{
    const double position = (upper - lower) * goldenRatio_ + lower;
    return {.position = position, .likelihood = likelihood(position, true)};
}

double Autotracker::refine(double lower, CandidatePoint middle, double upper, std::int32_t depth)
{
    for (std::int32_t next = depth + 1; next < maxRefineDepth_; ++next) {
        const double tolerance = setup_->searchStep / unitFactor_;
        if (tolerance > upper - lower) break;

        const bool leftIsWider = middle.position - lower > upper - middle.position;
        const CandidatePoint tried =
            leftIsWider ? goldenPoint(lower, middle.position) : goldenPoint(middle.position, upper);
        const bool better = tried.likelihood > middle.likelihood;
        double& endOfWiderPart = leftIsWider ? lower : upper;
        double& endOfOtherPart = leftIsWider ? upper : lower;
        if (better) {
            endOfOtherPart = middle.position;
            middle = tried;
        } else {
            endOfWiderPart = tried.position;
        }
    }
    return middle.position;
}

} // namespace Velmora::Autotracker
