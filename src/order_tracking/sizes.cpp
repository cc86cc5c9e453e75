#include "dsp/to_integer.h"
#include "order_tracking/order_analyzer.h"
#include "order_tracking/ring.h"

#include <algorithm>
#include <cmath>

namespace Velmora::OrderTracking {

using KorLib::Dsp::toInt32;

namespace {

/// Equal-angle samples of a revolution, but not less than 8.
std::int32_t samplesPerRevolution(const OrderSetup& setup)
{
    return std::max(2 * setup.maxOrder, 8);
}

/// 2 to the power floor(log2(x)).
double powerOfTwoBelow(double x)
{
    return std::exp2(std::floor(std::log2(x)));
}

} // namespace

/// Revolutions of an order block.
template <int modeNumber>
std::int32_t OrderAnalyzer<modeNumber>::blockFactor() const
{
    const float revolutions = std::max(std::round(1.0F / orderSetup_->orderResolution), 1.0F);
    return toInt32(static_cast<double>(revolutions));
}

/// The largest power of two within 90 per cent of the input buffer limit.
template <int modeNumber>
std::int32_t OrderAnalyzer<modeNumber>::largestBlock() const
{
    return toInt32(powerOfTwoBelow(inputBufferLimit_ * 0.9));
}

template <int modeNumber>
void OrderAnalyzer<modeNumber>::update()
{
    if (binningSetup_ == nullptr || orderSetup_ == nullptr || analysisSetup_ == nullptr ||
        parameters_ == nullptr)
        return;

    const float bins =
        std::trunc((binningSetup_->maxValue - binningSetup_->minValue) / binningSetup_->step);
    binCount_ = std::max(toInt32(static_cast<double>(bins) + 1.0), 1);
    orderFFTSize_ = std::min(samplesPerRevolution(*orderSetup_) * blockFactor(), largestBlock());
    timeFFT_ = getTimeFFTSetup(analysisSetup_->fixedTimeLines, sampleRate_, rateDivider_);

    const float advance = 1.0F - analysisSetup_->overlapPercent / 100.0F;
    orderHop_ =
        toInt32(static_cast<double>(std::round(advance * static_cast<float>(orderFFTSize_))));
}

template <int modeNumber>
TimeFFTSetup OrderAnalyzer<modeNumber>::getTimeFFTSetup(std::uint8_t /*unused*/,
                                                        double sampleRateHz,
                                                        std::int32_t rateDivider) const
{
    std::int32_t size = 0;
    if (analysisSetup_->fixedTimeLines != 0) {
        size = 2 * analysisSetup_->timeLines;
    } else {
        const std::int32_t perRevolution = samplesPerRevolution(*orderSetup_);
        const std::int32_t orderBlock = perRevolution * blockFactor();
        const auto topFrequency = static_cast<double>(analysisSetup_->maxRpm / 60.0F);
        const double timeSamplesPerRevolution = sampleRateHz / rateDivider / topFrequency;
        const double ratio = std::round(timeSamplesPerRevolution / perRevolution);
        size =
            ratio < 1.0 ? orderBlock : toInt32(std::round(powerOfTwoBelow(ratio * orderBlock * 2)));
    }

    TimeFFTSetup setup{};
    setup.size = std::min(size, largestBlock());
    setup.resolution = sampleRateHz / rateDivider / setup.size;
    setup.blockDuration = 1.0 / setup.resolution;
    return setup;
}

template <int modeNumber>
void OrderAnalyzer<modeNumber>::updateBuffers(std::int32_t angleSamples, std::int32_t timeSamples)
{
    resampled_.writeIndex = wrap(resampled_.writeIndex + angleSamples, resampled_.size);
    resampled_.written += angleSamples;
    timeRing_.writeIndex = wrap(timeRing_.writeIndex + timeSamples, timeRing_.size);
    timeRing_.written += timeSamples;
}

// What other files call; the rest is instantiated with it.
#define INSTANTIATE(mode)                                                                          \
    template void OrderAnalyzer<mode>::update();                                                   \
    template TimeFFTSetup OrderAnalyzer<mode>::getTimeFFTSetup(std::uint8_t, double, std::int32_t) \
        const;                                                                                     \
    template void OrderAnalyzer<mode>::updateBuffers(std::int32_t, std::int32_t)

INSTANTIATE(0);
INSTANTIATE(1);
INSTANTIATE(2);

} // namespace Velmora::OrderTracking
