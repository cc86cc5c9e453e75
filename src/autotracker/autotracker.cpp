#include "autotracker/autotracker.h"

#include "dsp/to_integer.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace Velmora::Autotracker {

using KorLib::Dsp::toInt32;

namespace {

constexpr double kRpmPerRadianPerSecond = 9.549296585513721;
constexpr double kHertzPerRadianPerSecond = 0.15915494309189535;

constexpr double kShortestBlockSeconds = 0.1;
constexpr double kLongestBlockSeconds = 1.0;

} // namespace

void Autotracker::setSampleRate(double sampleRateHz, std::int32_t rateDivider)
{
    sampleRate_ = sampleRateHz;
    rateDivider_ = rateDivider;
}

void Autotracker::update()
{
    unitFactor_ = setup_->frequencyInRpm != 0 ? kRpmPerRadianPerSecond : kHertzPerRadianPerSecond;

    // The highest order stays below half of the Nyquist frequency that is left.
    const double ratio = effectiveRate() * 0.5 / (2 * topFrequencyHz());
    decimation_ = std::max(toInt32(std::floor(ratio)), 1);

    if (setup_->manualParameters == 0) chooseParameters();

    blockLength_ = toInt32(trackingRate() * setup_->blockDuration);
    hop_ = toInt32((1.0 - setup_->overlapPercent / 100.0) * blockLength_);
    resetFrequencyState();
}

/// Frequency of the highest order at maxFrequency.
double Autotracker::topFrequencyHz() const
{
    float topOrder = setup_->orders[0];
    for (std::int32_t j = 1; j < setup_->orderCount; ++j)
        topOrder = std::max(topOrder, setup_->orders[j]);
    const double topRotationHz =
        setup_->frequencyInRpm != 0 ? setup_->maxFrequency / 60.0 : setup_->maxFrequency;
    return static_cast<double>(topOrder) * topRotationHz;
}

/// A block is one turn at minFrequency, within limits.
void Autotracker::chooseParameters()
{
    if (setup_->minFrequency == 0.0) {
        setup_->blockDuration = kShortestBlockSeconds;
    } else {
        const double lowestHz = setup_->minFrequency / (2 * unitFactor_ * std::numbers::pi);
        setup_->blockDuration =
            std::clamp(1.0 / lowestHz, kShortestBlockSeconds, kLongestBlockSeconds);
    }
    setup_->overlapPercent = 50.0;
    setup_->predictionSigmaPercent = 1.0;
    setup_->searchStep = 0.5;
}

void Autotracker::initiate()
{
    const Eigen::Index columns = 2 * setup_->orderCount + 1;
    block_.resize(blockLength_);
    design_.resize(blockLength_, columns);
    gram_.resize(columns, columns);
    gramInverse_.resize(columns, columns);
    decomposition_.resize(columns);
    moments_.resize(columns);
    amplitudes_.resize(columns);
    modelled_.resize(blockLength_);

    if (decimation_ > 1) sizeDecimator();
    resetFrequencyState();
}

void Autotracker::sizeDecimator()
{
    const double hostSlots = signal_.capacity;
    const std::int32_t slots = toInt32(std::ceil(hostSlots / decimation_));
    decimatedSignal_.storage.resize(static_cast<std::size_t>(slots));
    decimatedSignal_.samples = decimatedSignal_.storage.data();
    decimatedSignal_.capacity = slots;

    filter_.setWindowDesign(KorLib::Dsp::Fir::FilterType::LowPass,
                            transitionPercent_ / 100.0 * effectiveRate(),
                            effectiveRate(),
                            effectiveRate() * 0.5 / decimation_,
                            0.0,
                            KorLib::Dsp::Fir::FilterWindow::Kaiser,
                            stopbandAttenuation_);
}

void Autotracker::reset()
{
    resetFrequencyState();
    if (decimation_ <= 1) {
        timeOffset_ = 0.0; // the stamps follow the host's own count
        return;
    }
    filter_.reset();
    decimationPhase_ = 0;
    filteredCount_ = 0;
    decimatedSignal_.readIndex = 0;
    decimatedSignal_.writeIndex = 0;
    decimatedSignal_.writeCount = 0;
    decimatedSignal_.readCount = 0;
    timeOffset_ = static_cast<double>(signal_.readCount) / effectiveRate();
}

void Autotracker::resetFrequencyState()
{
    double start = 0.0;
    if (setup_->useStartFrequency != 0) {
        start = setup_->startFrequency / unitFactor_;
    } else if (setup_->startFrequencySource == HARMOTRACK_START_AT_MINIMUM) {
        start = setup_->minFrequency / unitFactor_;
    } else if (setup_->startFrequencySource == HARMOTRACK_START_AT_MAXIMUM) {
        start = setup_->maxFrequency / unitFactor_;
    }
    currentFrequency_ = start;
    previousFrequency_ = start;
    firstEstimate_ = true;
}

SignalBuffer& Autotracker::activeRing()
{
    if (decimation_ < 2) return signal_;
    return decimatedSignal_;
}

} // namespace Velmora::Autotracker
