#include "order_tracking/binning.h"

#include <cmath>

namespace Velmora::OrderTracking {
namespace {

float centreOf(std::int32_t bin, const BinningSetup& setup)
{
    return static_cast<float>(bin) * setup.step + setup.minValue;
}

} // namespace

void BinningState::classifyBin(double value,
                               std::int32_t binCount,
                               const BinningSetup& setup,
                               std::int32_t blockMode)
{
    const float halfStep = setup.step * 0.5F;
    const double quotient =
        (value - static_cast<double>(setup.minValue) + static_cast<double>(halfStep)) /
        static_cast<double>(setup.step);

    // Truncation goes toward 0, so bin 0 reaches one step further down than the others. A NaN fails
    // both comparisons.
    if (!(quotient > -1.0 && quotient < static_cast<double>(binCount))) {
        resetBinning();
        lastValue = value;
        return;
    }
    const auto bin = static_cast<std::int32_t>(quotient);

    if (rawBin == -1) fixDirection(bin, binCount, setup);
    rawBin = bin;
    binReady = false;

    if (blockMode == HARMOTRACK_BLOCK_AT_CROSSING) enterAtCrossing(value, bin, setup);
    if (blockMode == HARMOTRACK_BLOCK_CONTIGUOUS) followRange(value, bin, setup);
    lastValue = value;
}

void BinningState::resetBinning()
{
    rawBin = -1;
    currentBin = -1;
    previousBin = -1;
    lastValue = 0.0;
    unlocked = true;
    binReady = false;
}

void BinningState::fixDirection(std::int32_t bin, std::int32_t binCount, const BinningSetup& setup)
{
    direction = setup.direction;
    if (direction == HARMOTRACK_DIRECTION_AUTOMATIC)
        direction = bin < binCount / 2 ? HARMOTRACK_DIRECTION_RISING : HARMOTRACK_DIRECTION_FALLING;
}

void BinningState::enterAtCrossing(double value, std::int32_t bin, const BinningSetup& setup)
{
    previousBin = currentBin;
    unlockBeyond(setup.step * setup.hysteresisPercent / 100.0F, value, setup);
    if (!unlocked) return;

    const double centre = static_cast<double>(centreOf(bin, setup));
    const bool rising =
        value > centre && centre >= lastValue && direction != HARMOTRACK_DIRECTION_FALLING;
    const bool falling =
        centre >= value && lastValue > centre && direction != HARMOTRACK_DIRECTION_RISING;
    if (rising || falling) {
        enter(bin);
        binReady = true;
    }
}

void BinningState::followRange(double value, std::int32_t bin, const BinningSetup& setup)
{
    previousBin = currentBin;
    binReady = true;
    unlockBeyond((setup.hysteresisPercent / 100.0F + 0.5F) * setup.step, value, setup);
    if (!unlocked) return;

    const bool up = bin > currentBin && direction != HARMOTRACK_DIRECTION_FALLING;
    const bool down = bin < currentBin && direction != HARMOTRACK_DIRECTION_RISING;
    // The first value enters its bin whatever the direction.
    if (up || down || currentBin == -1) enter(bin);
}

void BinningState::unlockBeyond(float band, double value, const BinningSetup& setup)
{
    if (unlocked) return;
    const double centre = static_cast<double>(centreOf(currentBin, setup));
    unlocked = std::abs(centre - value) > static_cast<double>(band);
}

void BinningState::enter(std::int32_t bin)
{
    currentBin = bin;
    unlocked = false;
}

} // namespace Velmora::OrderTracking
