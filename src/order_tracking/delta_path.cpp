#include "order_tracking/harmonics.h"
#include "order_tracking/order_analyzer.h"
#include "order_tracking/ring.h"

#include <cmath>
#include <cstddef>

namespace Velmora::OrderTracking {
namespace {

/// Next value of a running mean over n values so far: (old (n + 0i) + value) / (n + 1).
std::complex<float> runningMean(std::complex<float> old, float n, std::complex<float> value)
{
    const float sumRe = old.real() * n - old.imag() * 0.0F + value.real();
    const float sumIm = old.real() * 0.0F + old.imag() * n + value.imag();
    return {sumRe / (n + 1.0F), sumIm / (n + 1.0F)};
}

} // namespace

/// Means of complex order spectra over a period that ends when the binned value has moved or the
/// time is up. Every block is turned to the shaft first, so that what is synchronous with the
/// rotation adds up and all else falls away: averaging in the order domain.
void OrderAnalyzer::deltaStep(std::int64_t pos, std::int32_t idx)
{
    const AnalysisSetup& setup = *analysisSetup_;
    const double time = resampled_.time[idx];
    const std::int32_t half = orderFFTSize_ / 2;
    const auto period = static_cast<double>(setup.deltaMinutes * 60.0F + setup.deltaSeconds);
    const bool timeUp = setup.deltaOnTime != 0 && time - lastDeltaTime_ > period;

    if (difference32(pos, deltaPosition_) > half || (pos > half && timeUp)) addDeltaBlock(pos, idx);

    const bool moved =
        setup.deltaOnBinChange != 0 &&
        std::abs(blockBinValue_ - lastDeltaBinValue_) > static_cast<double>(binningSetup_->step);
    if (moved || timeUp) releaseDelta(time);
}

/// Takes the block round this sample into the means.
void OrderAnalyzer::addDeltaBlock(std::int64_t pos, std::int32_t idx)
{
    const std::int32_t half = orderFFTSize_ / 2;
    const std::int32_t start = wrap(idx - half, resampled_.size);
    const double shaftAngle = resampled_.angle[start];
    computeOrderSpectrum(pos - half, start, false);
    deltaPosition_ += orderFFTSize_;

    if (parameters_->deltaOrderSpectrum != 0) {
        addDeltaSpectrum(shaftAngle, orderSpectrumA_, results_.deltaSpectrumA);
        if (twoSignals()) addDeltaSpectrum(shaftAngle, orderSpectrumB_, results_.deltaSpectrumB);
    }
    if (parameters_->deltaHarmonics != 0) {
        addDeltaHarmonics(pos, shaftAngle, orderSpectrumA_, results_.deltaHarmonicsA);
        if (twoSignals())
            addDeltaHarmonics(pos, shaftAngle, orderSpectrumB_, results_.deltaHarmonicsB);
    }
    ++deltaCount_;
}

void OrderAnalyzer::addDeltaSpectrum(double shaftAngle,
                                     SpectrumView spectrum,
                                     HarmonicValues& mean) const
{
    const auto n = static_cast<float>(deltaCount_);
    const auto resolution = static_cast<double>(orderSetup_->orderResolution);
    const double reference = phaseOffset(shaftAngle, spectrum);
    const auto lines = static_cast<std::size_t>(orderFFTSize_ / 2);
    for (std::size_t k = 0; k < lines; ++k) {
        const double x = reference * static_cast<double>(k) * resolution + quarterTurn();
        mean[k] = runningMean(mean[k], n, turned(spectrum[k], x));
    }
}

/// The position handed on is that of the block's middle, so fractional orders run half a block
/// ahead of those of the bins.
void OrderAnalyzer::addDeltaHarmonics(std::int64_t pos,
                                      double shaftAngle,
                                      SpectrumView spectrum,
                                      HarmonicValues& mean) const
{
    const auto n = static_cast<float>(deltaCount_);
    const HarmonicValues values = extractHarmonics(pos, shaftAngle, spectrum);
    for (std::size_t i = 0; i < values.size(); ++i) mean[i] = runningMean(mean[i], n, values[i]);
}

/// Ends the period: the means stay to be read, and the next block overwrites them.
void OrderAnalyzer::releaseDelta(double time)
{
    results_.deltaTime = time;
    lastDeltaTime_ = time;
    lastDeltaBinValue_ = blockBinValue_;
    deltaCount_ = 0;
    result_.deltaHarmonics = parameters_->deltaHarmonics;
    result_.deltaOrderSpectrum = parameters_->deltaOrderSpectrum;
}

} // namespace Velmora::OrderTracking
