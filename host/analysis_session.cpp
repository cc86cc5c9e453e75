#include "host/analysis_session.h"

#include "host/host_error.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

namespace Harmotrack::Host {
namespace {

// How much of a recording is delivered at once.
constexpr double kDeliverySeconds = 0.25;

// Blocks stay within the largest power of two below 90 % of this limit: 2^22, which is above every
// block that the settings allow.
constexpr std::int32_t kInputBufferLimit = 5 << 20;

std::uint8_t flag(bool value)
{
    return value ? 1 : 0;
}

std::int32_t modeFor(std::size_t signals)
{
    return signals == 1 ? HARMOTRACK_MODE_ONE_REAL : HARMOTRACK_MODE_TWO_REAL;
}

double fastestRpm(const EqualAngleAxis& axis)
{
    return *std::max_element(axis.speedRpm.begin(), axis.speedRpm.end());
}

} // namespace

AnalysisSession::AnalysisSession(const AnalysisSettings& settings,
                                 std::span<const UniformSignal> signals,
                                 const EqualAngleAxis& axis,
                                 const EqualAngleResampler& resampler)
    : settings_(settings), signals_(signals), axis_(axis), resampler_(resampler),
      lease_(modeFor(signals.size())),
      deliverySamples_(static_cast<std::size_t>(
          std::max(std::ceil(kDeliverySeconds * signals.front().rateHz), 1.0)))
{
    extendAxis();
    fillSetups();
    const AnalyzerHandle analyzer = lease_.handle();
    AnalyzerLease::Setups& setups = lease_.setups();
    setBinningSetup(analyzer, &setups.binning);
    setOrderSetup(analyzer, &setups.orders);
    setAnalysisSetup(analyzer, &setups.analysis);
    setParameters(analyzer, &setups.parameters);
    setSampleRate(analyzer, signals.front().rateHz, 1);
    setInputBufferLimit(analyzer, kInputBufferLimit);
    preinitiate(analyzer);

    checkTimeBlock();
    makeRings();
    initiateLibrary();
    orderBlocks_.resize(static_cast<std::size_t>(allBins_));
    timeBlocks_.resize(static_cast<std::size_t>(allBins_));
}

void AnalysisSession::extendAxis()
{
    allBins_ = settings_.binCount();
    if (settings_.blockMode != BlockMode::Contiguous) return;
    const auto [low, high] = std::minmax_element(axis_.speedRpm.begin(), axis_.speedRpm.end());
    const double step = settings_.stepRpm;
    const double lastCentre = settings_.minRpm + (allBins_ - 1) * step;
    binsBelow_ = static_cast<int>(std::ceil(std::max(settings_.minRpm - *low, 0.0) / step));
    allBins_ += binsBelow_ + static_cast<int>(std::ceil(std::max(*high - lastCentre, 0.0) / step));
}

void AnalysisSession::fillSetups()
{
    AnalyzerLease::Setups& setups = lease_.setups();
    setups.harmonicOrders = settings_.harmonics;

    BinningSetup& binning = setups.binning;
    binning = {};
    const double firstCentre = settings_.minRpm - binsBelow_ * settings_.stepRpm;
    binning.direction = static_cast<std::int32_t>(settings_.direction);
    binning.minValue = static_cast<float>(firstCentre);
    binning.step = static_cast<float>(settings_.stepRpm);
    // A quarter of a step above the last centre, so that no rounding loses the last bin.
    binning.maxValue = static_cast<float>(firstCentre + (allBins_ - 1 + 0.25) * settings_.stepRpm);
    binning.hysteresisPercent = static_cast<float>(settings_.hysteresisPercent);
    binning.scale = 1.0;

    setups.orders.orderResolution = static_cast<float>(settings_.orderResolution);
    setups.orders.maxOrder = settings_.maxOrder();
    setups.orders.harmonicCount = static_cast<std::int32_t>(setups.harmonicOrders.size());
    setups.orders.harmonicOrders = setups.harmonicOrders.data();

    AnalysisSetup& analysis = setups.analysis;
    analysis = {};
    analysis.windowType = static_cast<std::int32_t>(settings_.window);
    analysis.amplitudeType = static_cast<std::int32_t>(settings_.amplitude);
    analysis.blockMode = static_cast<std::int32_t>(settings_.blockMode);
    analysis.averagingType = static_cast<std::int32_t>(settings_.averaging);
    analysis.fixedTimeLines = flag(settings_.timeLines > 0);
    analysis.timeLines = settings_.timeLines;
    analysis.phaseReference = static_cast<std::int32_t>(settings_.phaseReference);
    analysis.phaseMode = static_cast<std::int32_t>(settings_.phaseMode);
    analysis.minRpm = static_cast<float>(settings_.minRpm);
    analysis.maxRpm = static_cast<float>(settings_.maxRpm);
    analysis.weightingType = static_cast<std::int32_t>(settings_.weighting);
    analysis.removeMeanTime = flag(settings_.removeMean);
    analysis.removeMeanOrder = flag(settings_.removeMean);

    AnalyzerParameters& parameters = setups.parameters;
    parameters = {};
    parameters.binHarmonics = flag(!setups.harmonicOrders.empty());
    parameters.binOrderSpectrum = 1;
    parameters.binOrderTwoSided = flag(settings_.twoSided);
    parameters.binTimeSpectrum = 1;
    parameters.overall = 1;
}

void AnalysisSession::checkTimeBlock() const
{
    const double blockSeconds = getTimeFFTBlockDuration(lease_.handle());
    const UniformSignal& first = signals_.front();
    const double recordedSeconds = static_cast<double>(first.samples.size()) / first.rateHz;
    if (blockSeconds > recordedSeconds)
        throw HostError("The recording lasts " + numberText(recordedSeconds) +
                        " s, and a block for the frequency spectra needs " +
                        numberText(blockSeconds) +
                        " s: take a coarser order resolution or fewer frequency lines.");
}

// What must stay in the rings while samples wait. An equal-angle sample waits until half an order
// block and half a time block are newer, a delivery may come on top, and blocks reach back by up to
// a whole one.
AnalysisSession::RingSizes AnalysisSession::ringSizes() const
{
    const AnalyzerHandle analyzer = lease_.handle();
    const auto orderBlock = static_cast<std::size_t>(getOrderFFTSize(analyzer));
    const auto timeBlock = static_cast<std::size_t>(getTimeFFTSize(analyzer));
    const double rate = signals_.front().rateHz;

    const double waitingSeconds =
        (0.5 * static_cast<double>(timeBlock) + static_cast<double>(deliverySamples_)) / rate;
    // The speed of a sample is a mean over a turn; within it the shaft may run ahead a little.
    const auto waiting = static_cast<std::size_t>(
        std::ceil(1.1 * waitingSeconds * fastestRpm(axis_) / 60.0 * axis_.samplesPerRevolution));

    double slowestHalfBlock = 0.0;
    for (std::size_t k = 0; k + orderBlock / 2 < axis_.size(); ++k)
        slowestHalfBlock =
            std::max(slowestHalfBlock, axis_.seconds[k + orderBlock / 2] - axis_.seconds[k]);
    const auto lag = static_cast<std::size_t>(std::ceil(slowestHalfBlock * rate));

    const auto turn = static_cast<std::size_t>(axis_.samplesPerRevolution);
    return {2 * orderBlock + waiting + turn, 3 * timeBlock + lag + 2 * deliverySamples_};
}

void AnalysisSession::makeRings()
{
    const auto [angleSize, timeSize] = ringSizes();
    constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max() / 2;
    if (angleSize > kLargest || timeSize > kLargest)
        throw HostError("The rings would need " +
                        numberText(static_cast<double>(std::max(angleSize, timeSize))) +
                        " samples, and at most 1e9 are possible: take a coarser order resolution.");
    for (std::size_t s = 0; s < signals_.size(); ++s) {
        angleSignals_[s].resize(angleSize);
        timeSignals_[s].resize(timeSize);
    }
    for (Ring* ring : {&binSignal_, &frequency_, &angle_, &time_}) ring->resize(angleSize);

    const AnalyzerHandle analyzer = lease_.handle();
    ResampledBuffers angleRing{};
    angleRing.signalA = angleSignals_[0].data();
    angleRing.signalB = angleSignals_[1].data();
    angleRing.binSignal = binSignal_.data();
    angleRing.frequency = frequency_.data();
    angleRing.angle = angle_.data();
    angleRing.time = time_.data();
    angleRing.size = static_cast<std::int32_t>(angleSize);
    setResampledBuffers(analyzer, angleRing);

    TimeBuffers timeRing{};
    timeRing.signalA = timeSignals_[0].data();
    timeRing.signalB = timeSignals_[1].data();
    timeRing.size = static_cast<std::int32_t>(timeSize);
    setTimeBuffers(analyzer, timeRing);

    // The analyzer keeps the tables itself: a handle that is used again would go on clearing
    // memory of ours that is gone by then.
    setResultBuffers(analyzer, ResultBuffers{});
}

void AnalysisSession::initiateLibrary()
{
    std::int32_t error = 0;
    try {
        initiate(lease_.handle(), &error);
    } catch (...) {
        lease_.discard();
        throw;
    }
    if (error != 0) {
        lease_.discard();
        throw HostError("Memory ran out for " + std::to_string(allBins_) +
                        " speed bins with order blocks of " +
                        std::to_string(settings_.orderBlockSamples()) + " samples.");
    }
    reset(lease_.handle());
}

void AnalysisSession::walk(const std::function<void(double)>& progress)
{
    const UniformSignal& first = signals_.front();
    const std::size_t samples = first.samples.size();
    while (timeWritten_ < samples) {
        const std::size_t timeEnd = std::min(timeWritten_ + deliverySamples_, samples);
        const double until = first.startSeconds + static_cast<double>(timeEnd) / first.rateHz;
        const auto angleEnd = std::lower_bound(axis_.seconds.begin(), axis_.seconds.end(), until) -
                              axis_.seconds.begin();
        deliver(timeEnd, static_cast<std::size_t>(angleEnd));
        if (progress) progress(static_cast<double>(timeEnd) / static_cast<double>(samples));
    }
}

// Writes the samples up to two ends, exclusive, into the rings and lets the library take them.
void AnalysisSession::deliver(std::size_t timeEnd, std::size_t angleEnd)
{
    const std::size_t newTime = timeEnd - timeWritten_;
    const std::size_t newAngle = angleEnd - angleWritten_;
    writeTimeSamples(timeEnd);
    writeAngleSamples(angleEnd);
    updateBuffers(
        lease_.handle(), static_cast<std::int32_t>(newAngle), static_cast<std::int32_t>(newTime));
    takeResults();
}

void AnalysisSession::writeTimeSamples(std::size_t timeEnd)
{
    for (std::size_t s = 0; s < signals_.size(); ++s) {
        Ring& ring = timeSignals_[s];
        for (std::size_t k = timeWritten_; k < timeEnd; ++k)
            ring[k % ring.size()] = signals_[s].samples[k];
    }
    timeWritten_ = timeEnd;
}

void AnalysisSession::writeAngleSamples(std::size_t angleEnd)
{
    const double startSeconds = signals_.front().startSeconds;
    const std::size_t count = angleEnd - angleWritten_;
    std::array<std::span<const double>, 2> sources;
    std::array<std::vector<double>, 2> values;
    std::array<std::span<double>, 2> targets;
    for (std::size_t s = 0; s < signals_.size(); ++s) {
        values[s].resize(count);
        sources[s] = signals_[s].samples;
        targets[s] = values[s];
    }
    resampler_.resample(std::span(sources).first(signals_.size()),
                        startSeconds,
                        std::span(axis_.seconds).subspan(angleWritten_, count),
                        std::span(axis_.speedRpm).subspan(angleWritten_, count),
                        std::span(targets).first(signals_.size()));
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t k = angleWritten_ + i;
        const std::size_t slot = k % time_.size();
        for (std::size_t s = 0; s < signals_.size(); ++s) angleSignals_[s][slot] = values[s][i];
        binSignal_[slot] = axis_.speedRpm[k];
        frequency_[slot] = axis_.speedRpm[k] / 60.0;
        angle_[slot] = axis_.angleDegrees(k);
        time_[slot] = axis_.seconds[k] - startSeconds;
    }
    angleWritten_ = angleEnd;
}

void AnalysisSession::takeResults()
{
    CalculationResult result{};
    do {
        result = calculate(lease_.handle());
        if (result.bin < 0) continue;
        const auto bin = static_cast<std::size_t>(result.bin);
        if (result.binOrderSpectrum != 0) ++orderBlocks_[bin];
        if (result.binTimeSpectrum != 0) ++timeBlocks_[bin];
    } while (result.consumed == 0);
}

AnalysisResults AnalysisSession::results() const
{
    const int bins = settings_.binCount();
    AnalysisResults results;
    for (int b = 0; b < bins; ++b) {
        const std::int32_t inAll = binsBelow_ + b;
        const auto bin = static_cast<std::size_t>(inAll);
        results.binRpm.push_back(settings_.minRpm + b * settings_.stepRpm);
        results.orderBlocks.push_back(orderBlocks_[bin]);
        results.timeBlocks.push_back(timeBlocks_[bin]);
    }
    if (signals_.size() == 1) {
        results.signals.push_back(signalResults(0));
    } else {
        results.signals.push_back(signalResults(1));
        results.signals.push_back(signalResults(2));
    }
    const SignalResults& first = results.signals.front();
    for (std::size_t k = 0; k < first.orderMap.columns; ++k)
        results.orders.push_back(static_cast<double>(k) * settings_.orderResolution);
    const double resolution = getTimeFFTResolution(lease_.handle());
    for (std::size_t k = 0; k < first.frequencyMap.columns; ++k)
        results.frequencies.push_back(static_cast<double>(k) * resolution);
    if (settings_.twoSided) addWhirl(results);

    const auto turn = static_cast<std::size_t>(axis_.samplesPerRevolution);
    for (std::size_t k = 0; k < axis_.size(); k += turn) {
        results.seconds.push_back(axis_.seconds[k]);
        results.speedRpm.push_back(axis_.speedRpm[k]);
    }
    results.lowestRpm = *std::min_element(axis_.speedRpm.begin(), axis_.speedRpm.end());
    results.highestRpm = fastestRpm(axis_);
    return results;
}

// The library writes row `bin` of a table of all bins; the rows asked for are cut out of it, and of
// their columns those up to the usable order.
SignalResults AnalysisSession::signalResults(int which) const
{
    const AnalyzerHandle analyzer = lease_.handle();
    const auto lines = static_cast<std::size_t>(getOrderFFTSize(analyzer)) / 2;
    const auto timeLines = static_cast<std::size_t>(getTimeFFTSize(analyzer)) / 2;
    const auto bins = static_cast<std::size_t>(allBins_);
    const auto usable =
        static_cast<std::size_t>(settings_.highestOrder / settings_.orderResolution + 1e-6) + 1;

    SignalResults results;
    results.orderMap.columns = usable;
    results.frequencyMap.columns = timeLines;
    results.harmonics.resize(settings_.harmonics.size());
    std::vector<float> orderTable(bins * lines);
    std::vector<float> timeTable(bins * timeLines);
    std::vector<float> levels(bins);
    for (int b = 0; b < settings_.binCount(); ++b) {
        const std::int32_t bin = binsBelow_ + b;
        const auto at = static_cast<std::size_t>(bin);
        readOrderDomainBinWaterfall(analyzer, bin, orderTable.data(), which);
        readTimeDomainBinWaterfall(analyzer, bin, timeTable.data(), which);
        readOverall(analyzer, bin, levels.data(), which);
        results.orderMap.append(std::span(orderTable).subspan(at * lines, usable));
        results.frequencyMap.append(std::span(timeTable).subspan(at * timeLines, timeLines));
        results.overall.push_back(levels[at]);
        for (std::size_t h = 0; h < results.harmonics.size(); ++h) {
            std::array<float, 2> value{};
            readOrderDomainHarmonicBin(
                analyzer, static_cast<std::int32_t>(h), bin, which, value.data());
            results.harmonics[h].emplace_back(value[0], value[1]);
        }
    }
    return results;
}

// A two-sided row holds order k at L - 1 + k, with L lines on a side.
void AnalysisSession::addWhirl(AnalysisResults& results) const
{
    const AnalyzerHandle analyzer = lease_.handle();
    const auto columns = static_cast<std::size_t>(getOrderFFTSize(analyzer)) - 1;
    const std::size_t centre = (columns + 1) / 2 - 1;
    const std::size_t usable = results.orders.size();
    std::vector<float> table(static_cast<std::size_t>(allBins_) * columns);
    results.whirlMap.columns = 2 * usable - 1;
    for (int b = 0; b < settings_.binCount(); ++b) {
        const std::int32_t bin = binsBelow_ + b;
        readOrderDomainBinWaterfallTwoSided(analyzer, bin, table.data());
        results.whirlMap.append(std::span(table).subspan(
            static_cast<std::size_t>(bin) * columns + centre + 1 - usable, 2 * usable - 1));
    }
    for (std::size_t k = 0; k < results.whirlMap.columns; ++k)
        results.whirlOrders.push_back((static_cast<double>(k) - static_cast<double>(usable - 1)) *
                                      settings_.orderResolution);
}

} // namespace Harmotrack::Host
