#include "dsp/to_integer.h"
#include "order_tracking/order_analyzer.h"
#include "order_tracking/ring.h"

#include <algorithm>
#include <cmath>

namespace Velmora::OrderTracking {

/// The frequency spectrum of a bin. Acts when the classification has made the bin ready. The two
/// rings meet in time alone: the current equal-angle sample's time stamp finds the block in the
/// equal-time ring.
void OrderAnalyzer::timeBinStep(std::int32_t idx)
{
    const double time = resampled_.time[idx];
    const double duration = timeFFT_.blockDuration;

    if (analysisSetup_->blockMode == HARMOTRACK_BLOCK_AT_CROSSING) {
        takeTimeBlock(time - duration * 0.5, binning_.currentBin);
        return;
    }
    if (analysisSetup_->blockMode != HARMOTRACK_BLOCK_CONTIGUOUS) return;

    const bool left = binning_.previousBin != binning_.currentBin && binning_.previousBin >= 0;
    if (left && binningSetup_->blocksAcrossBins == 0) {
        takeTimeBlock(time - duration * 0.5, binning_.previousBin);
        timeBlockStart_ = time;
    } else if (time - timeBlockStart_ >= duration) {
        takeTimeBlock(timeBlockStart_ + duration * 0.5, binning_.currentBin);
        timeBlockStart_ += duration;
    }
}

/// Takes the block that begins at `start` seconds for a bin, unless the ring has lost its
/// beginning.
void OrderAnalyzer::takeTimeBlock(double start, std::int32_t bin)
{
    const std::int32_t index = timeToIndex(start, rate());
    if (index < 0) return;
    computeTimeSpectrum(index);
    storeTimeBlock(bin);
}

/// Slot of the equal-time ring at `time` seconds; -1 when that sample is older than the ring's
/// content. A time beyond the newest sample is not recognised: the walk holds such samples back.
std::int32_t OrderAnalyzer::timeToIndex(double time, double rateHz) const
{
    const double earliest =
        std::max(0.0, static_cast<double>(timeRing_.written - timeRing_.size) / rateHz);
    if (earliest > time) return -1;
    const std::int64_t sample = KorLib::Dsp::toInt64(std::round(time * rateHz));
    return wrap(timeRing_.writeIndex - difference32(timeRing_.written, sample), timeRing_.size);
}

/// One block of the equal-time ring, from slot `index` on, into the time spectra A and B, weighted.
void OrderAnalyzer::computeTimeSpectrum(std::int32_t index)
{
    const bool removeMean = analysisSetup_->removeMeanTime != 0;
    timeTransform_.transform(timeRing_, index, removeMean, timeSpectrumA_, timeSpectrumB_);
    if (analysisSetup_->weightingType != HARMOTRACK_WEIGHTING_NONE) {
        timeWeighting_.apply(timeSpectrumA_);
        timeWeighting_.apply(timeSpectrumB_);
    }
}

/// Files the time spectra under their bin.
void OrderAnalyzer::storeTimeBlock(std::int32_t bin)
{
    if (bin < 0 || bin >= binCount_) return;

    result_.binTimeSpectrum = parameters_->binTimeSpectrum;
    result_.binTimeTwoSided = parameters_->binTimeTwoSided;
    result_.overall = parameters_->overall;
    result_.bin = bin;

    const auto row = static_cast<std::uint64_t>(bin);
    results_.timeA.updateRow(row, timeSpectrumA_);
    if (twoSignals()) {
        results_.timeB.updateRow(row, timeSpectrumB_);
        if (parameters_->binTimeTwoSided != 0)
            results_.timeTwoSided.updateTwoSidedRow(row, timeSpectrumA_, timeSpectrumB_);
    }
    if (parameters_->overall != 0) updateOverall(bin);
}

} // namespace Velmora::OrderTracking
