#include "order_tracking/harmonics.h"
#include "order_tracking/moduli.h"
#include "order_tracking/order_analyzer.h"
#include "order_tracking/ring.h"

#include <cmath>

namespace Velmora::OrderTracking {

/// The order spectrum by sample count: one row every orderHop samples, of the N samples before this
/// one.
void OrderAnalyzer::updateOrderRow(std::int64_t pos, std::int32_t idx)
{
    if (difference32(pos, nextHopPosition_) < orderFFTSize_) return;

    const std::int32_t start = wrap(idx - orderFFTSize_, resampled_.size);
    computeOrderSpectrum(pos - orderFFTSize_, start, analysisSetup_->removeMeanOrder != 0);

    moduli(orderSpectrumA_, results_.orderRowA.data());
    if (twoSignals()) {
        moduli(orderSpectrumB_, results_.orderRowB.data());
        if (parameters_->timeOrderTwoSided != 0)
            twoSidedModuli(orderSpectrumA_, orderSpectrumB_, results_.orderRowTwoSided.data());
    }
    results_.orderRowTime = resampled_.time[wrap(start + orderFFTSize_ / 2, resampled_.size)];

    nextHopPosition_ += orderHop_;
    result_.timeOrderSpectrum = parameters_->timeOrderSpectrum;
    result_.timeOrderTwoSided = parameters_->timeOrderTwoSided;
}

/// The order spectrum of a bin. Acts when the classification has made the bin ready.
void OrderAnalyzer::orderBinStep(std::int64_t pos, std::int32_t idx)
{
    const std::int32_t half = orderFFTSize_ / 2;
    if (pos < half) return;

    const bool removeMean = analysisSetup_->removeMeanOrder != 0;
    const auto takeBlock = [&](std::int32_t start, std::int32_t bin) {
        computeOrderSpectrum(pos - half, start, removeMean);
        storeOrderBlock(pos - half, resampled_.angle[start], bin);
    };
    const std::int32_t centred = wrap(idx - half, resampled_.size);

    if (analysisSetup_->blockMode == HARMOTRACK_BLOCK_AT_CROSSING) {
        takeBlock(centred, binning_.currentBin);
        return;
    }
    if (analysisSetup_->blockMode != HARMOTRACK_BLOCK_CONTIGUOUS) return;

    const std::int32_t elapsed = difference32(pos + 1, lastBlockPosition_);
    const bool left = binning_.previousBin != binning_.currentBin && binning_.previousBin >= 0;
    if (left && binningSetup_->blocksAcrossBins == 0) {
        // The block in progress still belongs to the bin that was left.
        lastBlockPosition_ = pos;
        takeBlock(centred, binning_.previousBin);
    } else if (elapsed >= orderFFTSize_) {
        takeBlock(wrap(idx + half - elapsed, resampled_.size), binning_.currentBin);
        lastBlockPosition_ += orderFFTSize_;
    }
}

/// One block of the equal-angle ring into the order spectra A and B, weighted, and its mean binned
/// value into blockBinValue.
///
/// @param position  running number of the block's first sample
/// @param start     its slot
void OrderAnalyzer::computeOrderSpectrum(std::int64_t position, std::int32_t start, bool removeMean)
{
    orderTransform_.transform(resampled_, start, removeMean, orderSpectrumA_, orderSpectrumB_);
    blockBinValue_ = binningSetup_->scale * orderTransform_.blockMean();

    if (analysisSetup_->weightingType != HARMOTRACK_WEIGHTING_NONE) {
        const std::int32_t middle = wrap(start + orderFFTSize_ / 2, resampled_.size);
        const double rpm = resampled_.frequency[middle] * 60.0;
        orderWeighting_.applyAtSpeed(orderSpectrumA_, rpm, analysisSetup_->twoSided != 0);
        // The second signal is weighted as one-sided whatever the flag.
        if (twoSignals()) orderWeighting_.applyAtSpeed(orderSpectrumB_, rpm, false);
    }
    startPhases(position);
}

/// The first block of a run, whoever took it, sets the phase from which fractional orders count.
void OrderAnalyzer::startPhases(std::int64_t position)
{
    for (HarmonicRecord& harmonic : harmonics_) {
        if (harmonic.startPosition != -1) continue;
        const auto value = [&](const auto& evaluator) {
            return evaluator.valueAtLine(orderSpectrumA_, harmonic.line, kEvaluatorHalfWidth).value;
        };
        harmonic.startPosition = position;
        harmonic.startPhaseA = std::atan2(value(imaginaryPart_), value(realPart_));
        // Both signals are referred to the first.
        if (twoSignals()) harmonic.startPhaseB = harmonic.startPhaseA;
    }
}

/// Files the order spectra, which computeOrderSpectrum() has just left, under their bin.
///
/// @param position    sample position from which the phase of fractional orders counts
/// @param shaftAngle  degrees, at the block's first sample
void OrderAnalyzer::storeOrderBlock(std::int64_t position, double shaftAngle, std::int32_t bin)
{
    if (bin < 0 || bin >= binCount_) return;

    result_.binOrderSpectrum = parameters_->binOrderSpectrum;
    result_.binOrderTwoSided = parameters_->binOrderTwoSided;
    result_.binHarmonics = parameters_->binHarmonics;
    result_.bin = bin;

    const auto row = static_cast<std::uint64_t>(bin);
    results_.orderA.updateRow(row, orderSpectrumA_);
    if (twoSignals()) {
        results_.orderB.updateRow(row, orderSpectrumB_);
        if (parameters_->binOrderTwoSided != 0)
            results_.orderTwoSided.updateTwoSidedRow(row, orderSpectrumA_, orderSpectrumB_);
    }
    if (parameters_->binHarmonics != 0) {
        results_.harmonicsA.updateColumn(row,
                                         extractHarmonics(position, shaftAngle, orderSpectrumA_));
        if (twoSignals())
            results_.harmonicsB.updateColumn(
                row, extractHarmonics(position, shaftAngle, orderSpectrumB_));
    }
}

} // namespace Velmora::OrderTracking
