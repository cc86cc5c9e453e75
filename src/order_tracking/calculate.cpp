#include "order_tracking/order_analyzer.h"
#include "order_tracking/ring.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace Velmora::OrderTracking {
namespace {

constexpr std::size_t kResultFlags = sizeof(AnalyzerParameters);

/// Whether one of the ten result flags is set, turnsUpdated and rpmUpdated not among them. Asked at
/// every sample, so it looks at all ten bytes in two words.
bool anyResult(const CalculationResult& result)
{
    std::uint64_t first = 0;
    std::uint16_t last = 0;
    static_assert(sizeof first + sizeof last == kResultFlags);
    const auto* flags = reinterpret_cast<const unsigned char*>(&result);
    std::memcpy(&first, flags, sizeof first);
    std::memcpy(&last, flags + sizeof first, sizeof last);
    return (first | last) != 0;
}

/// Whether a result came that makes the speed of its sample worth reading. The order rows by sample
/// count and the delta spectrum do not.
bool speedBelongsTo(const CalculationResult& result)
{
    return (result.binHarmonics | result.binOrderSpectrum | result.binOrderTwoSided |
            result.binTimeSpectrum | result.binTimeTwoSided | result.deltaHarmonics |
            result.overall) != 0;
}

} // namespace

const CalculationResult& OrderAnalyzer::calculate()
{
    result_ = noResult();
    result_.consumed = 1;

    const std::int32_t pending = difference32(resampled_.written, resampled_.processed);
    const std::int32_t idx = wrap(resampled_.writeIndex - pending, resampled_.size);

    // A block is centred on the sample that triggers it: half a block of newer ones must be there.
    const std::int32_t available = std::max(pending - orderFFTSize_ / 2, 0);
    const std::int32_t count = wantsTimePath() ? samplesWithinTimeBlocks(idx, pending) : pending;
    const std::int32_t todo = std::min(count, available);

    if (todo == 0)
        watchForStop();
    else
        walk(idx, todo);
    return result_;
}

/// Samples before the first whose time stamp has less than half a time block of newer samples in
/// the time ring.
std::int32_t OrderAnalyzer::samplesWithinTimeBlocks(std::int32_t idx, std::int32_t pending) const
{
    const double limit =
        static_cast<double>(timeRing_.written) / rate() - timeFFT_.blockDuration * 0.5;
    for (std::int32_t count = 0; count < pending; ++count) {
        if (resampled_.time[idx] > limit) return count;
        idx = wrap(idx + 1, resampled_.size);
    }
    return pending;
}

auto OrderAnalyzer::wantedSteps() const -> WantedSteps
{
    const AnalyzerParameters& p = *parameters_;
    const AnalysisSetup& setup = *analysisSetup_;
    return {.orderRow = (p.timeOrderSpectrum | p.timeOrderTwoSided) != 0,
            .orderBin = (p.binOrderSpectrum | p.binHarmonics) != 0,
            .timeBin = wantsTimePath(),
            .delta = (p.deltaHarmonics | p.deltaOrderSpectrum) != 0 &&
                     (setup.deltaOnBinChange | setup.deltaOnTime) != 0};
}

/// Takes up to `todo` samples from slot `idx` on and stops after the first that produced a result.
void OrderAnalyzer::walk(std::int32_t idx, std::int32_t todo)
{
    const WantedSteps wanted = wantedSteps();
    stopReported_ = false;
    std::int32_t done = 0;
    while (done < todo) {
        takeSpeed(idx);
        if (holdOff_ != 0)
            --holdOff_;
        else
            takeSample(resampled_.processed + done, idx, wanted);
        idx = wrap(idx + 1, resampled_.size);
        ++done;

        if (anyResult(result_)) {
            if (speedBelongsTo(result_)) result_.rpmUpdated = 1;
            dirty_ = true;
            result_.consumed = 0;
            break;
        }
    }
    resampled_.processed += done;
}

inline void OrderAnalyzer::takeSpeed(std::int32_t idx)
{
    rpm_ = static_cast<float>(resampled_.frequency[idx] * 60.0);
    currentRpm_ = static_cast<double>(rpm_);
    rpmTime_ = resampled_.time[idx];
}

inline void OrderAnalyzer::takeSample(std::int64_t pos, std::int32_t idx, WantedSteps wanted)
{
    const double value = resampled_.binSignal[idx] * binningSetup_->scale;
    binning_.classifyBin(value, binCount_, *binningSetup_, analysisSetup_->blockMode);
    countTurn(idx);

    if (wanted.orderRow) updateOrderRow(pos, idx);
    if (wanted.orderBin && binning_.binReady) orderBinStep(pos, idx);
    if (wanted.timeBin && binning_.binReady) timeBinStep(idx);
    if (wanted.delta) deltaStep(pos, idx);
}

/// A turn ends where the angle falls from the upper half circle.
inline void OrderAnalyzer::countTurn(std::int32_t idx)
{
    const double angle = resampled_.angle[idx];
    if (0.0 > angle - lastAngle_ && lastAngle_ > 180.0) {
        ++turnCount_;
        lastTurnTime_ = resampled_.time[idx];
        result_.turnsUpdated = 1;
    }
    lastAngle_ = angle;
}

/// Looks at the two newest samples of the ring, which are still held back: when the speed has
/// fallen to zero the host hears of it at once, and the next N samples get no results.
void OrderAnalyzer::watchForStop()
{
    const std::int32_t newest = wrap(resampled_.writeIndex - 1, resampled_.size);
    const std::int32_t before = wrap(newest - 1, resampled_.size);
    if (!(resampled_.frequency[before] > 0.0 && resampled_.frequency[newest] == 0.0)) return;

    if (holdOff_ == 0) holdOff_ = orderFFTSize_;
    if (!stopReported_) {
        rpmTime_ = resampled_.time[newest];
        rpm_ = 0.0F;
        result_.rpmUpdated = 1;
        stopReported_ = true;
    }
}

} // namespace Velmora::OrderTracking
