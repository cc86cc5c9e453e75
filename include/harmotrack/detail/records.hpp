/// @file
/// Setups and results as the boundary packs them.
#ifndef HARMOTRACK_DETAIL_RECORDS_HPP
#define HARMOTRACK_DETAIL_RECORDS_HPP

#include <harmotrack/setups.hpp>

#include <cstdint>

namespace Harmotrack {

namespace Detail {

inline std::uint8_t flag(bool value)
{
    return value ? 1 : 0;
}

/// The samples of a second signal or of an imaginary part come in a column of their own.
inline bool hasSecondColumn(Mode mode)
{
    return mode != Mode::OneReal;
}

/// Whether blocks follow each other without a gap, instead of standing where bins are crossed.
inline bool takesContiguousBlocks(const AnalyzerSetup& setup)
{
    return setup.analysis.blockMode == BlockMode::Contiguous &&
           (setup.results.binHarmonics || setup.results.binOrderSpectrum);
}

inline BinningSetup recordOf(const Binning& binning)
{
    return {static_cast<std::int32_t>(binning.direction),
            binning.minValue,
            binning.maxValue,
            binning.step,
            binning.hysteresisPercent,
            flag(binning.blocksAcrossBins),
            binning.scale};
}

/// Points into the orders given.
inline OrderSetup recordOf(const Orders& orders)
{
    return {orders.orderResolution,
            orders.maxOrder,
            static_cast<std::int32_t>(orders.harmonicOrders.size()),
            orders.harmonicOrders.data()};
}

inline AnalyzerParameters recordOf(const Results& results)
{
    return {flag(results.binHarmonics),
            flag(results.binOrderSpectrum),
            flag(results.binOrderTwoSided),
            flag(results.timeOrderSpectrum),
            flag(results.timeOrderTwoSided),
            flag(results.binTimeSpectrum),
            flag(results.binTimeTwoSided),
            flag(results.deltaHarmonics),
            flag(results.deltaOrderSpectrum),
            flag(results.overall)};
}

inline AnalysisSetup recordOf(const Analysis& analysis, bool wantsTimeSamples)
{
    AnalysisSetup record{};
    record.windowType = static_cast<std::int32_t>(analysis.windowType);
    record.windowParameter = analysis.windowParameter;
    record.amplitudeType = static_cast<std::int32_t>(analysis.amplitudeType);
    record.blockMode = static_cast<std::int32_t>(analysis.blockMode);
    record.averagingType = static_cast<std::int32_t>(analysis.averagingType);
    // The time transform is planned even if no one wants it: then a small one.
    const bool derived = analysis.timeLines == 0 && wantsTimeSamples;
    record.fixedTimeLines = flag(!derived);
    record.timeLines = wantsTimeSamples ? analysis.timeLines : 4;
    record.overlapPercent = analysis.overlapPercent;
    record.deltaOnBinChange = flag(analysis.deltaOnBinChange);
    record.deltaOnTime = flag(analysis.deltaOnTime);
    record.deltaSeconds = analysis.deltaSeconds;
    record.phaseReference = static_cast<std::int32_t>(analysis.phaseReference);
    record.phaseMode = static_cast<std::int32_t>(analysis.phaseMode);
    record.minRpm = analysis.minRpm;
    record.maxRpm = analysis.maxRpm;
    record.weightingType = static_cast<std::int32_t>(analysis.weightingType);
    record.dcLineMode = static_cast<std::int32_t>(analysis.dcLineMode);
    record.twoSided = flag(analysis.twoSided);
    record.removeMeanTime = flag(analysis.removeMeanTime);
    record.removeMeanOrder = flag(analysis.removeMeanOrder);
    return record;
}

/// What an analyzer's handle points to of its setup. Refers to the setup, which must outlive it.
struct AnalyzerRecords {
    explicit AnalyzerRecords(const AnalyzerSetup& setup)
        : binning(recordOf(setup.binning)), orders(recordOf(setup.orders)),
          analysis(recordOf(setup.analysis, setup.wantsTimeSamples())),
          parameters(recordOf(setup.results))
    {
    }

    BinningSetup binning;
    OrderSetup orders;
    AnalysisSetup analysis;
    AnalyzerParameters parameters;
};

inline News newsOf(const CalculationResult& result)
{
    News news;
    news.binHarmonics = result.binHarmonics != 0;
    news.binOrderSpectrum = result.binOrderSpectrum != 0;
    news.binOrderTwoSided = result.binOrderTwoSided != 0;
    news.timeOrderSpectrum = result.timeOrderSpectrum != 0;
    news.timeOrderTwoSided = result.timeOrderTwoSided != 0;
    news.binTimeSpectrum = result.binTimeSpectrum != 0;
    news.binTimeTwoSided = result.binTimeTwoSided != 0;
    news.deltaHarmonics = result.deltaHarmonics != 0;
    news.deltaOrderSpectrum = result.deltaOrderSpectrum != 0;
    news.overall = result.overall != 0;
    news.turnsUpdated = result.turnsUpdated != 0;
    news.rpmUpdated = result.rpmUpdated != 0;
    news.bin = result.bin;
    return news;
}

/// Points into the orders of the setup.
inline TrackingSetup recordOf(const TrackerSetup& setup)
{
    TrackingSetup record{};
    record.startFrequencySource = static_cast<std::int32_t>(setup.startFrequencySource);
    record.manualParameters = flag(setup.manualParameters);
    record.minFrequency = setup.minFrequency;
    record.maxFrequency = setup.maxFrequency;
    record.startFrequency = setup.startFrequency;
    record.orderCount = static_cast<std::int32_t>(setup.orders.size());
    record.orders = setup.orders.data();
    record.frequencyInRpm = flag(setup.frequencyInRpm);
    record.blockDuration = setup.blockDuration;
    record.overlapPercent = setup.overlapPercent;
    record.searchStep = setup.searchStep;
    record.predictionSigmaPercent = setup.predictionSigmaPercent;
    record.useStartFrequency = flag(setup.useStartFrequency);
    return record;
}

} // namespace Detail

} // namespace Harmotrack

#endif
