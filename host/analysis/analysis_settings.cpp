#include "host/analysis/analysis_settings.h"

#include "host/host_error.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace Harmotrack::Host {
namespace {

constexpr int kMostBins = 100000;
constexpr double kHighestOrder = 3000.0;
constexpr double kMostCells = 1e9;

// The share of maxOrder that the resampling leaves untouched.
constexpr double kPassedShare = 0.8;

// Whether a number has no prime factor above 7.
bool isSmooth(int number)
{
    for (const int factor : {2, 3, 5, 7}) {
        while (number % factor == 0) number /= factor;
    }
    return number == 1;
}

void check(bool good, const std::string& name, double value, const std::string& allowed)
{
    if (!good) throw HostError("The " + name + " is " + numberText(value) + ", and " + allowed);
}

} // namespace

int AnalysisSettings::binCount() const
{
    // A thousandth of a step makes up for the rounding of the quotient.
    return static_cast<int>(std::floor((maxRpm - minRpm) / stepRpm + 1e-3)) + 1;
}

int AnalysisSettings::maxOrder() const
{
    int order = std::max(static_cast<int>(std::ceil(highestOrder / kPassedShare - 1e-9)), 4);
    while (!isSmooth(order)) ++order;
    return order;
}

int AnalysisSettings::orderBlockSamples() const
{
    return 2 * maxOrder() * static_cast<int>(std::lround(1.0 / orderResolution));
}

void AnalysisSettings::validate() const
{
    check(stepRpm > 0.0 && std::isfinite(stepRpm),
          "step of the speed axis",
          stepRpm,
          "it must be above 0 rpm.");
    check(minRpm >= 0.0 && std::isfinite(minRpm),
          "start of the speed axis",
          minRpm,
          "it must be 0 rpm or more.");
    check(maxRpm > 0.0 && maxRpm >= minRpm && std::isfinite(maxRpm),
          "end of the speed axis",
          maxRpm,
          "it must be above 0 and not below its start of " + numberText(minRpm) + " rpm.");
    check((maxRpm - minRpm) / stepRpm < kMostBins,
          "number of speed bins",
          (maxRpm - minRpm) / stepRpm + 1.0,
          "at most " + std::to_string(kMostBins) + " are allowed.");
    check(hysteresisPercent >= 0.0 && hysteresisPercent <= 100.0,
          "hysteresis of the speed bins",
          hysteresisPercent,
          "0 to 100 % of the step are allowed.");
    check(highestOrder >= 1.0 && highestOrder <= kHighestOrder,
          "highest order",
          highestOrder,
          "1 to " + numberText(kHighestOrder) + " are allowed.");
    const double revolutions = 1.0 / orderResolution;
    check(orderResolution > 0.0 && revolutions > 0.999 && revolutions < 1000.001 &&
              std::abs(revolutions - std::round(revolutions)) < 1e-3,
          "order resolution",
          orderResolution,
          "it must be 1 divided by a whole number of 1 to 1000.");
    check(timeLines == 0 || (timeLines >= 4 && timeLines <= (1 << 20)),
          "number of frequency lines",
          timeLines,
          "0 (automatic) or 4 to 1048576 are allowed.");
    for (const float order : harmonics)
        check(order >= 0.0F && static_cast<double>(order) <= highestOrder,
              "order to be extracted",
              static_cast<double>(order),
              "0 to " + numberText(highestOrder) + " are allowed.");
    if (rowOverlapPercent)
        check(*rowOverlapPercent >= 0.0 && *rowOverlapPercent <= 99.9,
              "overlap of the order spectra",
              *rowOverlapPercent,
              "0 to 99.9 % are allowed.");
    if (passes == Passes::Apart &&
        (direction != Direction::Both || blockMode != BlockMode::AtCrossing))
        throw HostError("Passes apart need blocks at crossings and both directions: in contiguous "
                        "blocks the library does not tell the direction.");
    const double cells = static_cast<double>(binCount()) * orderBlockSamples();
    check(cells <= kMostCells,
          "number of cells of the order map",
          cells,
          "at most 1e9 are allowed: take a larger speed step or a coarser order resolution.");
}

} // namespace Harmotrack::Host
