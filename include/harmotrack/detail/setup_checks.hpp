/// @file
/// The checks of the setups.
#ifndef HARMOTRACK_DETAIL_SETUP_CHECKS_HPP
#define HARMOTRACK_DETAIL_SETUP_CHECKS_HPP

#include <harmotrack/detail/require.hpp>
#include <harmotrack/setups.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace Harmotrack {

namespace Detail {

/// Samples of an order block as the library derives them, before its limit.
inline double orderBlockOf(const Orders& orders)
{
    return 2.0 * orders.maxOrder * std::round(1.0 / static_cast<double>(orders.orderResolution));
}

/// The longest block that an input buffer limit allows.
inline double longestBlock(int inputBufferLimit)
{
    return std::exp2(std::floor(std::log2(inputBufferLimit * 0.9)));
}

inline void checkBinning(const Binning& binning)
{
    requireListed(binning.direction, Direction::Automatic, "binning.direction");
    const auto low = static_cast<double>(binning.minValue);
    const auto high = static_cast<double>(binning.maxValue);
    const auto step = static_cast<double>(binning.step);
    require(std::isfinite(low), "binning.minValue", low, "it must be a finite number");
    require(std::isfinite(high) && high >= low,
            "binning.maxValue",
            high,
            "it must be finite and not below binning.minValue, which is " + numberText(low));
    require(std::isfinite(step) && step > 0.0, "binning.step", step, "it must be above 0");
    require((high - low) / step < 1e6,
            "The number of bins",
            (high - low) / step + 1.0,
            "at most a million are allowed");
    const auto hysteresis = static_cast<double>(binning.hysteresisPercent);
    require(std::isfinite(hysteresis) && hysteresis >= 0.0,
            "binning.hysteresisPercent",
            hysteresis,
            "it must be 0 or more");
    require(std::isfinite(binning.scale) && binning.scale != 0.0,
            "binning.scale",
            binning.scale,
            "it must be a finite number other than 0");
}

inline void checkHarmonics(const Orders& orders, bool twoSided)
{
    const auto resolution = static_cast<double>(orders.orderResolution);
    const double lines = orders.maxOrder / resolution;
    for (const float order : orders.harmonicOrders) {
        const double line = std::round(static_cast<double>(order) / resolution);
        require(line <= std::round(lines) - 1.0 && line >= (twoSided ? -std::round(lines) : 0.0),
                "An order of orders.harmonicOrders",
                static_cast<double>(order),
                "the lines of the spectra go from " +
                    numberText(twoSided ? -1.0 * orders.maxOrder : 0.0) + " to " +
                    numberText(orders.maxOrder - resolution));
    }
}

inline void checkOrders(const AnalyzerSetup& setup)
{
    const Orders& orders = setup.orders;
    const auto resolution = static_cast<double>(orders.orderResolution);
    const double revolutions = 1.0 / resolution;
    require(resolution > 0.0 && revolutions > 0.999 &&
                std::abs(revolutions - std::round(revolutions)) < 1e-3,
            "orders.orderResolution",
            resolution,
            "it must be 1 divided by a whole number");
    require(orders.maxOrder >= 4, "orders.maxOrder", orders.maxOrder, "it must be 4 or more");
    require(setup.inputBufferLimit >= 16,
            "inputBufferLimit",
            setup.inputBufferLimit,
            "it must be 16 or more");
    require(orderBlockOf(orders) <= longestBlock(setup.inputBufferLimit),
            "The order block of 2 * orders.maxOrder / orders.orderResolution samples",
            orderBlockOf(orders),
            "inputBufferLimit allows " + numberText(longestBlock(setup.inputBufferLimit)));
    checkHarmonics(orders, setup.analysis.twoSided);
}

inline void checkWindow(const Analysis& analysis)
{
    requireListed(analysis.windowType, Window::BlackmanHarris, "analysis.windowType");
    const auto parameter = static_cast<double>(analysis.windowParameter);
    if (analysis.windowType == Window::Exponential)
        require(parameter > 0.0 && parameter <= 1.0,
                "analysis.windowParameter",
                parameter,
                "Window::Exponential allows above 0 up to 1");
    if (analysis.windowType == Window::Transient)
        require(parameter >= 0.0 && parameter <= 1e9,
                "analysis.windowParameter",
                parameter,
                "Window::Transient takes a number of samples of 0 or more");
}

inline void checkSpeeds(const AnalyzerSetup& setup)
{
    const auto low = static_cast<double>(setup.analysis.minRpm);
    const auto high = static_cast<double>(setup.analysis.maxRpm);
    require(std::isfinite(low) && low >= 0.0, "analysis.minRpm", low, "it must be 0 or more");
    require(std::isfinite(high) && high >= 0.0, "analysis.maxRpm", high, "it must be 0 or more");
    if (setup.analysis.weightingType != Weighting::None)
        require(high > low,
                "analysis.maxRpm",
                high,
                "a weighting needs it above analysis.minRpm, which is " + numberText(low));
    if (setup.wantsTimeSamples() && setup.analysis.timeLines == 0)
        require(high > 0.0,
                "analysis.maxRpm",
                high,
                "it must be above 0 to size the time blocks, or analysis.timeLines must be given");
}

inline void checkAnalysis(const AnalyzerSetup& setup)
{
    const Analysis& analysis = setup.analysis;
    checkWindow(analysis);
    requireListed(analysis.amplitudeType, Amplitude::PeakToPeak, "analysis.amplitudeType");
    requireListed(analysis.blockMode, BlockMode::Contiguous, "analysis.blockMode");
    requireListed(analysis.averagingType, Averaging::PeakHold, "analysis.averagingType");
    requireListed(analysis.phaseReference, PhaseReference::Cosine, "analysis.phaseReference");
    requireListed(analysis.phaseMode, PhaseMode::FirstOrder, "analysis.phaseMode");
    requireListed(analysis.weightingType, Weighting::DoubleDifferentiate, "analysis.weightingType");
    requireListed(analysis.dcLineMode, DcLine::Scaled, "analysis.dcLineMode");
    const double longest = longestBlock(setup.inputBufferLimit);
    require(analysis.timeLines == 0 ||
                (analysis.timeLines >= 4 && 2.0 * analysis.timeLines <= longest),
            "analysis.timeLines",
            analysis.timeLines,
            "0 (from the speed) or 4 to " + numberText(longest / 2.0) + " are allowed");
    const auto overlap = static_cast<double>(analysis.overlapPercent);
    require(overlap >= 0.0 && overlap <= 100.0,
            "analysis.overlapPercent",
            overlap,
            "0 to 100 are allowed");
    const auto period = static_cast<double>(analysis.deltaSeconds);
    require(std::isfinite(period) && period >= 0.0,
            "analysis.deltaSeconds",
            period,
            "it must be 0 or more");
    checkSpeeds(setup);
}

inline void checkResults(const AnalyzerSetup& setup, Mode mode)
{
    const Results& results = setup.results;
    const bool order = results.binHarmonics || results.binOrderSpectrum ||
                       results.binOrderTwoSided || results.timeOrderSpectrum ||
                       results.timeOrderTwoSided;
    const bool delta = results.deltaHarmonics || results.deltaOrderSpectrum;
    requireThat(order || delta || setup.wantsTimeSamples(),
                "No result is asked for: set at least one flag of results.");
    requireThat(!delta || setup.analysis.deltaOnBinChange || setup.analysis.deltaOnTime,
                "Delta results are asked for and would never be released: set "
                "analysis.deltaOnBinChange or analysis.deltaOnTime.");
    requireThat(mode == Mode::TwoReal || !(results.binOrderTwoSided || results.timeOrderTwoSided ||
                                           results.binTimeTwoSided),
                "Two-sided results are asked for, and only Mode::TwoReal has them.");
    requireThat(!results.binOrderTwoSided || results.binOrderSpectrum || results.binHarmonics,
                "results.binOrderTwoSided is set, and it comes only together with "
                "results.binOrderSpectrum or results.binHarmonics.");
    requireThat(mode == Mode::OneComplex || !setup.analysis.twoSided,
                "analysis.twoSided is set, and only Mode::OneComplex allows it.");
}

} // namespace Detail

inline void AnalyzerSetup::validate(Mode mode) const
{
    using Detail::require;
    Detail::requireListed(mode, Mode::OneComplex, "The mode");
    require(std::isfinite(sampleRate) && sampleRate > 0.0,
            "sampleRate",
            sampleRate,
            "it must be above 0 Hz");
    Detail::checkBinning(binning);
    Detail::checkOrders(*this);
    Detail::checkAnalysis(*this);
    Detail::checkResults(*this, mode);
    require(largestDelivery > 0 && largestDelivery <= (1 << 28),
            "largestDelivery",
            largestDelivery,
            "1 to 2^28 are allowed");
    require(
        angleRing >= 0, "angleRing", angleRing, "0 (automatic) or a number of slots is allowed");
    require(timeRing >= 0, "timeRing", timeRing, "0 (automatic) or a number of slots is allowed");
}

namespace Detail {

/// What a tracker derives from its setup, by the library's rules.
struct TrackerSizes {
    double topHz = 0.0;         ///< frequency of the highest order at maxFrequency
    int decimation = 1;         ///< of the signal
    double blockDuration = 0.0; ///< seconds
    double block = 0.0;         ///< samples after decimation
    double hop = 0.0;           ///< likewise

    explicit TrackerSizes(const TrackerSetup& setup)
    {
        const float topOrder = *std::max_element(setup.orders.begin(), setup.orders.end());
        const double perHertz = setup.frequencyInRpm ? 60.0 : 1.0;
        topHz = static_cast<double>(topOrder) * (setup.maxFrequency / perHertz);
        decimation =
            std::max(static_cast<int>(std::min(setup.sampleRate * 0.5 / (2 * topHz), 1e9)), 1);
        blockDuration = setup.blockDuration;
        if (!setup.manualParameters) {
            const double turn = setup.minFrequency > 0.0 ? perHertz / setup.minFrequency : 0.0;
            blockDuration = std::clamp(turn, 0.1, 1.0);
        }
        const double overlap = setup.manualParameters ? setup.overlapPercent : 50.0;
        block = std::trunc(setup.sampleRate / decimation * blockDuration);
        hop = std::trunc((1.0 - overlap / 100.0) * block);
    }
};

inline void checkTrackedOrders(const std::vector<float>& orders)
{
    requireThat(!orders.empty(), "orders is empty, and a tracker needs at least one order.");
    for (auto order = orders.begin(); order != orders.end(); ++order) {
        const auto value = static_cast<double>(*order);
        require(std::isfinite(value) && value > 0.0,
                "An order of orders",
                value,
                "orders must be above 0");
        require(std::find(orders.begin(), order, *order) == order,
                "An order of orders",
                value,
                "it is there twice");
    }
}

inline void checkTrackedFrequencies(const TrackerSetup& setup)
{
    const double low = setup.minFrequency;
    const double high = setup.maxFrequency;
    require(std::isfinite(low) && low >= 0.0, "minFrequency", low, "it must be 0 or more");
    require(std::isfinite(high) && high > low,
            "maxFrequency",
            high,
            "it must be above minFrequency, which is " + numberText(low));
    require(!setup.useStartFrequency ||
                (std::isfinite(setup.startFrequency) && setup.startFrequency >= 0.0),
            "startFrequency",
            setup.startFrequency,
            "it must be 0 or more");
    requireListed(setup.startFrequencySource, StartFrequency::Zero, "startFrequencySource");
    const TrackerSizes sizes(setup);
    require(sizes.topHz <= 0.5 * setup.sampleRate,
            "The frequency of the highest order at maxFrequency",
            sizes.topHz,
            "sampleRate allows " + numberText(0.5 * setup.sampleRate) + " Hz");
}

inline void checkManualParameters(const TrackerSetup& setup)
{
    const auto positive = [](double value) { return std::isfinite(value) && value > 0.0; };
    require(positive(setup.blockDuration),
            "blockDuration",
            setup.blockDuration,
            "it must be above 0 seconds");
    require(setup.overlapPercent >= 0.0 && setup.overlapPercent < 100.0,
            "overlapPercent",
            setup.overlapPercent,
            "0 to below 100 are allowed, or the blocks stand still");
    require(positive(setup.searchStep),
            "searchStep",
            setup.searchStep,
            "it must be above 0, or the search never ends");
    require(positive(setup.predictionSigmaPercent),
            "predictionSigmaPercent",
            setup.predictionSigmaPercent,
            "it must be above 0, or no later search finds anything");
}

/// The library's searches step through frequencies, in rad/s, until they have passed the upper end.
inline void checkSearch(const TrackerSetup& setup)
{
    if (setup.manualParameters) checkManualParameters(setup);
    const double searchStep = setup.manualParameters ? setup.searchStep : 0.5;
    const double sigma = setup.manualParameters ? setup.predictionSigmaPercent : 1.0;
    const double perRadian = setup.frequencyInRpm ? 9.549296585513721 : 0.15915494309189535;
    const double scale = setup.minFrequency > 0.0 ? setup.minFrequency : setup.maxFrequency;
    const double step = searchStep / 100.0 * scale * 5.0 * perRadian;
    const double range =
        std::max(setup.maxFrequency - setup.minFrequency, 0.06 * sigma * setup.maxFrequency);
    require(range / step <= 1e6 && step > 1e-12 * setup.maxFrequency,
            "The number of steps of a search, by minFrequency * searchStep,",
            range / step,
            "at most a million are allowed, or the search never ends");
}

inline void checkTrackerBlock(const TrackerSetup& setup)
{
    const TrackerSizes sizes(setup);
    const auto unknowns = static_cast<double>(2 * setup.orders.size() + 1);
    require(sizes.block > unknowns && sizes.block * sizes.decimation < (1 << 28),
            "The length of a block, sampleRate * blockDuration after decimation,",
            sizes.block,
            "it must be above 2 * orders + 1, which is " + numberText(unknowns) +
                ", and below 2^28 before decimation");
    require(sizes.hop >= 1.0,
            "The samples from one block to the next",
            sizes.hop,
            "overlapPercent must leave 1 or more");
}

} // namespace Detail

inline void TrackerSetup::validate() const
{
    using Detail::require;
    require(std::isfinite(sampleRate) && sampleRate > 0.0,
            "sampleRate",
            sampleRate,
            "it must be above 0 Hz");
    Detail::checkTrackedOrders(orders);
    Detail::checkTrackedFrequencies(*this);
    Detail::checkSearch(*this);
    Detail::checkTrackerBlock(*this);
    require(largestDelivery > 0 && largestDelivery <= (1 << 28),
            "largestDelivery",
            largestDelivery,
            "1 to 2^28 are allowed");
    require(ring >= 0, "ring", ring, "0 (automatic) or a number of slots is allowed");
}

} // namespace Harmotrack

#endif
