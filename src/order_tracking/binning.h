#pragma once

#include "harmotrack/harmotrack.h"

#include <cstdint>

namespace Velmora::OrderTracking {

/// Decides for every sample which bin of the value axis counts, whether the bin has just changed,
/// and whether a block may be stored for it.
///
/// It is no plain rounding: a value must leave a band round the centre of the current bin before
/// the bin can change, and may have to move in one direction.
///
///     HARMOTRACK_BLOCK_AT_CROSSING   a bin is entered when the value passes its centre
///                                    ----+----+----+----      + centres; one entry each, the band
///                                       (+)                   round the last one keeps it single
///     HARMOTRACK_BLOCK_CONTIGUOUS    a bin is a range round its centre, and the band widens it
///                                    ----|----|----|----      | edges, half-way between centres
///
/// One per analyzer; no memory, one thread.
struct BinningState {
    /// Direction in effect, fixed by the first value after a reset; -1 before the first ever.
    std::int32_t direction = -1;
    std::int32_t rawBin = -1;      ///< bin of the newest value; -1 when it is off the axis
    std::int32_t currentBin = -1;  ///< bin that counts
    std::int32_t previousBin = -1; ///< currentBin before the newest classification
    double lastValue = 0.0;        ///< value of the previous classification
    bool unlocked = true;          ///< the value has left the band round currentBin
    bool binReady = false;         ///< a block may be stored for the bin of this classification

    /// Takes the next value into account.
    ///
    /// @param value      binned value, scaled, in the unit of the axis; a value off the axis (a NaN
    ///                   or a quotient beyond 32 bits too) resets the state
    /// @param binCount   bins of the axis
    /// @param setup      the axis; direction, minValue, step and hysteresisPercent are read
    /// @param blockMode  HARMOTRACK_BLOCK_...; with any other value only rawBin is renewed
    void classifyBin(double value,
                     std::int32_t binCount,
                     const BinningSetup& setup,
                     std::int32_t blockMode);

    /// Forgets bins and value. `direction` stays until the next value on the axis renews it.
    void resetBinning();

private:
    void fixDirection(std::int32_t bin, std::int32_t binCount, const BinningSetup& setup);
    void enterAtCrossing(double value, std::int32_t bin, const BinningSetup& setup);
    void followRange(double value, std::int32_t bin, const BinningSetup& setup);
    void unlockBeyond(float band, double value, const BinningSetup& setup);
    void enter(std::int32_t bin);
};

} // namespace Velmora::OrderTracking
