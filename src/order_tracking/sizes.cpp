#include "dsp/to_integer.h"
#include "order_tracking/order_analyzer.h"
#include "order_tracking/ring.h"

#include <algorithm>
#include <cmath>

namespace Velmora::OrderTracking {

using KorLib::Dsp::toInt32;

namespace {

/// 2 to the power floor(log2(x)).
double powerOfTwoBelow(double x)
{
    return std::exp2(std::floor(std::log2(x)));
}

/// Equal-angle samples of a revolution, but not less than 8.
double samplesPerRevolution(const OrderSetup& setup)
{
    return std::max(2.0 * setup.maxOrder, 8.0);
}

/// Samples of an order block before its limit: whole revolutions, at least one. Like all sizes
/// before their limit a double, since no 32 bits hold what a fine resolution may ask for.
double orderBlock(const OrderSetup& setup)
{
    const float revolutions = std::max(1.0F, std::round(1.0F / setup.orderResolution));
    return samplesPerRevolution(setup) * static_cast<double>(revolutions);
}

/// Samples of a time block before its limit, when the speed ceiling decides.
double timeBlock(const OrderSetup& order, double topFrequencyHz, double rateHz)
{
    const double ratio = std::round(rateHz / topFrequencyHz / samplesPerRevolution(order));
    if (ratio < 1.0) return orderBlock(order);
    return std::round(powerOfTwoBelow(ratio * orderBlock(order) * 2));
}

} // namespace

/// Keeps a block to the largest power of two within 90 per cent of the input buffer limit.
std::int32_t OrderAnalyzer::limited(double blockSamples) const
{
    const double largest = std::trunc(powerOfTwoBelow(inputBufferLimit_ * 0.9));
    return toInt32(std::min(largest, blockSamples));
}

void OrderAnalyzer::update()
{
    if (binningSetup_ == nullptr || orderSetup_ == nullptr || analysisSetup_ == nullptr ||
        parameters_ == nullptr)
        return;

    const float bins =
        std::trunc((binningSetup_->maxValue - binningSetup_->minValue) / binningSetup_->step);
    binCount_ = std::max(toInt32(static_cast<double>(bins) + 1.0), 1);
    orderFFTSize_ = limited(orderBlock(*orderSetup_));
    timeFFT_ = getTimeFFTSetup(analysisSetup_->fixedTimeLines, sampleRate_, rateDivider_);

    const float advance = 1.0F - analysisSetup_->overlapPercent / 100.0F;
    orderHop_ =
        toInt32(static_cast<double>(std::round(advance * static_cast<float>(orderFFTSize_))));
}

TimeFFTSetup OrderAnalyzer::getTimeFFTSetup(std::uint8_t /*unused*/,
                                            double sampleRateHz,
                                            std::int32_t rateDivider) const
{
    const AnalysisSetup& analysis = *analysisSetup_;
    const double rateHz = sampleRateHz / rateDivider;
    const auto topFrequencyHz = static_cast<double>(analysis.maxRpm / 60.0F);

    TimeFFTSetup setup{};
    setup.size =
        limited(analysis.fixedTimeLines != 0 ? 2.0 * analysis.timeLines
                                             : timeBlock(*orderSetup_, topFrequencyHz, rateHz));
    setup.resolution = rateHz / setup.size;
    setup.blockDuration = 1.0 / setup.resolution;
    return setup;
}

void OrderAnalyzer::updateBuffers(std::int32_t angleSamples, std::int32_t timeSamples)
{
    resampled_.writeIndex = wrap(resampled_.writeIndex + angleSamples, resampled_.size);
    resampled_.written += angleSamples;
    timeRing_.writeIndex = wrap(timeRing_.writeIndex + timeSamples, timeRing_.size);
    timeRing_.written += timeSamples;
}

} // namespace Velmora::OrderTracking
