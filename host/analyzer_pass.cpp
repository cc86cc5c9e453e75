#include "host/analyzer_pass.h"

#include "host/host_error.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <new>
#include <string>

namespace Harmotrack::Host {
namespace {

// Blocks stay within the largest power of two below 90 % of this limit: 2^22, which is above every
// block that the settings allow.
constexpr std::int32_t kInputBufferLimit = 5 << 20;

std::uint8_t flag(bool value)
{
    return value ? 1 : 0;
}

std::int32_t modeFor(std::size_t channels)
{
    return channels == 1 ? HARMOTRACK_MODE_ONE_REAL : HARMOTRACK_MODE_TWO_REAL;
}

std::int32_t directionFor(Pass pass, Direction asked)
{
    if (pass == Pass::Rising) return HARMOTRACK_DIRECTION_RISING;
    if (pass == Pass::Falling) return HARMOTRACK_DIRECTION_FALLING;
    return static_cast<std::int32_t>(asked);
}

// The new value of a cell that was filled n times before, and m times since.
float joinedCell(Averaging averaging, float before, int n, float now, int m)
{
    if (n == 0) return now;
    switch (averaging) {
    case Averaging::KeepFirst:
        return before;
    case Averaging::PeakHold:
        return std::max(before, now);
    case Averaging::Mean:
        return (before * static_cast<float>(n) + now * static_cast<float>(m)) /
               static_cast<float>(n + m);
    case Averaging::Overwrite:
        break;
    }
    return now;
}

std::complex<float>
joinedCell(Averaging averaging, std::complex<float> before, int n, std::complex<float> now, int m)
{
    if (averaging == Averaging::PeakHold && n > 0)
        return std::abs(now) > std::abs(before) ? now : before;
    return {joinedCell(averaging, before.real(), n, now.real(), m),
            joinedCell(averaging, before.imag(), n, now.imag(), m)};
}

template <typename Cell>
void joinRow(Averaging averaging, std::span<Cell> before, int n, std::span<const Cell> now, int m)
{
    for (std::size_t k = 0; k < before.size(); ++k)
        before[k] = joinedCell(averaging, before[k], n, now[k], m);
}

double squareSum(std::span<const float> row)
{
    double sum = 0.0;
    for (const float value : row) sum += static_cast<double>(value) * static_cast<double>(value);
    return sum;
}

template <typename Cell>
std::span<Cell> rowOf(std::vector<Cell>& table, std::size_t columns, std::size_t row)
{
    return std::span(table).subspan(row * columns, columns);
}

template <typename Cell>
std::span<const Cell> rowOf(const std::vector<Cell>& table, std::size_t columns, std::size_t row)
{
    return std::span(table).subspan(row * columns, columns);
}

} // namespace

AnalyzerPass::AnalyzerPass(const AnalysisSettings& settings,
                           std::size_t channels,
                           double rateHz,
                           double startSeconds,
                           Pass pass)
    : settings_(settings), channels_(channels), startSeconds_(startSeconds), pass_(pass),
      lease_(modeFor(channels)), guardBins_(settings.blockMode == BlockMode::Contiguous ? 1 : 0),
      bins_(static_cast<std::size_t>(settings.binCount()) + 2 * guardBins_)
{
    fillSetups();
    const AnalyzerHandle analyzer = lease_.handle();
    AnalyzerLease::Setups& setups = lease_.setups();
    setBinningSetup(analyzer, &setups.binning);
    setOrderSetup(analyzer, &setups.orders);
    setAnalysisSetup(analyzer, &setups.analysis);
    setParameters(analyzer, &setups.parameters);
    setSampleRate(analyzer, rateHz, 1);
    setInputBufferLimit(analyzer, kInputBufferLimit);
    preinitiate(analyzer);
    lines_ = orderBlockSamples() / 2;
    timeLines_ = timeBlockSamples() / 2;
}

std::size_t AnalyzerPass::orderBlockSamples() const
{
    return static_cast<std::size_t>(getOrderFFTSize(lease_.handle()));
}

std::size_t AnalyzerPass::timeBlockSamples() const
{
    return static_cast<std::size_t>(getTimeFFTSize(lease_.handle()));
}

void AnalyzerPass::fillSetups()
{
    AnalyzerLease::Setups& setups = lease_.setups();
    setups.harmonicOrders = settings_.harmonics;

    BinningSetup& binning = setups.binning;
    binning = {};
    const double firstCentre =
        settings_.minRpm - static_cast<double>(guardBins_) * settings_.stepRpm;
    binning.direction = directionFor(pass_, settings_.direction);
    binning.minValue = static_cast<float>(firstCentre);
    binning.step = static_cast<float>(settings_.stepRpm);
    // A quarter of a step above the last centre, so that no rounding loses the last bin.
    binning.maxValue = static_cast<float>(firstCentre + (static_cast<double>(bins_ - 1) + 0.25) *
                                                            settings_.stepRpm);
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
    analysis.overlapPercent = static_cast<float>(settings_.rowOverlapPercent.value_or(0.0));
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
    parameters.timeOrderSpectrum = flag(settings_.rowOverlapPercent && pass_ != Pass::Falling);
    parameters.binTimeSpectrum = 1;
    parameters.overall = 1;
}

// FFTW ends the process when memory runs out while it plans. So what planning and the run take is
// asked for at once before, where a refusal is an exception.
void AnalyzerPass::checkMemory() const
{
    constexpr std::size_t kComplexRows = 12; // work of a transform and its plan, in blocks
    const std::size_t blocks = orderBlockSamples() + timeBlockSamples();
    const std::size_t cells = bins_ * (4 * lines_ + timeLines_) * channels_;
    const std::size_t bytes = kComplexRows * blocks * 2 * sizeof(double) + cells * sizeof(float);
    ::operator delete(::operator new(bytes));
}

void AnalyzerPass::initiate(const AnalysisRings& rings)
{
    const AnalyzerHandle analyzer = lease_.handle();
    std::int32_t error = 0;
    try {
        checkMemory();
        setResampledBuffers(analyzer, rings.angleRing());
        setTimeBuffers(analyzer, rings.timeRing());
        // The analyzer keeps the tables itself: a handle that is used again would go on clearing
        // memory of ours that is gone by then.
        setResultBuffers(analyzer, ResultBuffers{});
        ::initiate(analyzer, &error);
        joined_.resize(channels_);
        newest_.resize(channels_);
        for (std::vector<Tables>* side : {&joined_, &newest_}) {
            for (Tables& tables : *side) {
                tables.orders.resize(bins_ * lines_);
                tables.times.resize(bins_ * timeLines_);
                tables.overall.resize(bins_);
                tables.harmonics.resize(bins_ * settings_.harmonics.size());
            }
        }
        if (settings_.twoSided) {
            joinedWhirl_.resize(bins_ * (2 * lines_ - 1));
            newestWhirl_.resize(bins_ * (2 * lines_ - 1));
        }
        row_.resize(lines_);
        for (std::vector<int>* blocks :
             {&orderBlocks_, &timeBlocks_, &newOrderBlocks_, &newTimeBlocks_})
            blocks->resize(bins_);
    } catch (const std::bad_alloc&) {
        error = 1;
    } catch (...) {
        lease_.discard();
        throw;
    }
    if (error == 0) return;
    lease_.discard();
    throw HostError("Memory ran out for " + std::to_string(bins_) +
                    " speed bins with order blocks of " +
                    std::to_string(settings_.orderBlockSamples()) + " samples.");
}

void AnalyzerPass::beginStretch(const AnalysisRings& rings)
{
    setResampledBuffers(lease_.handle(), rings.angleRing());
    setTimeBuffers(lease_.handle(), rings.timeRing());
    reset(lease_.handle());
    std::fill(newOrderBlocks_.begin(), newOrderBlocks_.end(), 0);
    std::fill(newTimeBlocks_.begin(), newTimeBlocks_.end(), 0);
}

void AnalyzerPass::deliver(std::size_t angleSamples,
                           std::size_t timeSamples,
                           const OnResult& onResult)
{
    updateBuffers(lease_.handle(),
                  static_cast<std::int32_t>(angleSamples),
                  static_cast<std::int32_t>(timeSamples));
    CalculationResult result{};
    do {
        result = calculate(lease_.handle());
        if (result.bin >= 0) {
            const auto bin = static_cast<std::size_t>(result.bin);
            if (result.binOrderSpectrum != 0) ++newOrderBlocks_[bin];
            if (result.binTimeSpectrum != 0) ++newTimeBlocks_[bin];
        }
        if (onResult) announce(result, onResult);
    } while (result.consumed == 0);
}

std::int32_t AnalyzerPass::which(std::size_t signal) const
{
    return channels_ == 1 ? 0 : static_cast<std::int32_t>(signal) + 1;
}

void AnalyzerPass::readOrderRow(Tables& to, std::size_t signal, std::size_t bin) const
{
    const AnalyzerHandle analyzer = lease_.handle();
    const auto at = static_cast<std::int32_t>(bin);
    readOrderDomainBinWaterfall(analyzer, at, to.orders.data(), which(signal));
    const std::size_t harmonics = settings_.harmonics.size();
    for (std::size_t h = 0; h < harmonics; ++h) {
        std::array<float, 2> value{};
        readOrderDomainHarmonicBin(
            analyzer, static_cast<std::int32_t>(h), at, which(signal), value.data());
        to.harmonics[bin * harmonics + h] = {value[0], value[1]};
    }
}

void AnalyzerPass::readTimeRow(Tables& to, std::size_t signal, std::size_t bin) const
{
    const AnalyzerHandle analyzer = lease_.handle();
    const auto at = static_cast<std::int32_t>(bin);
    readTimeDomainBinWaterfall(analyzer, at, to.times.data(), which(signal));
    readOverall(analyzer, at, to.overall.data(), which(signal));
}

std::size_t AnalyzerPass::usableOrders() const
{
    return static_cast<std::size_t>(settings_.highestOrder / settings_.orderResolution + 1e-6) + 1;
}

void AnalyzerPass::announce(const CalculationResult& result, const OnResult& onResult)
{
    if (result.timeOrderSpectrum != 0) announceRow(onResult);
    if (result.bin < static_cast<std::int32_t>(guardBins_) ||
        result.bin >= static_cast<std::int32_t>(bins_ - guardBins_))
        return;
    const auto bin = static_cast<std::size_t>(result.bin);
    float rpm = 0.0F;
    double seconds = 0.0;
    readRPM(lease_.handle(), &rpm, &seconds);
    BlockResult block;
    block.pass = pass_;
    block.seconds = startSeconds_ + seconds;
    block.speedRpm = static_cast<double>(rpm);
    block.bin = result.bin - static_cast<std::int32_t>(guardBins_);
    for (std::size_t s = 0; s < channels_; ++s) {
        block.signal = s;
        Tables& tables = newest_[s];
        if (result.binOrderSpectrum != 0) {
            readOrderRow(tables, s, bin);
            block.orderSpectrum = rowOf(tables.orders, lines_, bin).first(usableOrders());
            block.harmonics = rowOf(tables.harmonics, settings_.harmonics.size(), bin);
        }
        if (result.binTimeSpectrum != 0) {
            readTimeRow(tables, s, bin);
            block.frequencySpectrum = rowOf(tables.times, timeLines_, bin);
            block.overall = tables.overall[bin];
        }
        onResult(block);
    }
}

void AnalyzerPass::announceRow(const OnResult& onResult)
{
    BlockResult block;
    block.pass = pass_;
    float rpm = 0.0F;
    double seconds = 0.0;
    readRPM(lease_.handle(), &rpm, &seconds);
    block.speedRpm = static_cast<double>(rpm);
    for (std::size_t s = 0; s < channels_; ++s) {
        block.signal = s;
        readOrderDomainTimeWaterfall(lease_.handle(), row_.data(), &seconds, which(s));
        block.seconds = startSeconds_ + seconds;
        block.orderSpectrum = std::span<const float>(row_).first(usableOrders());
        onResult(block);
    }
}

void AnalyzerPass::endStretch()
{
    for (std::size_t bin = 0; bin < bins_; ++bin) join(bin);
}

// An overall level is the root of the squared lines of its bin's spectrum, but for a factor.
void AnalyzerPass::join(std::size_t bin)
{
    const Averaging averaging = settings_.averaging;
    const int orders = newOrderBlocks_[bin];
    const int times = newTimeBlocks_[bin];
    for (std::size_t s = 0; s < channels_; ++s) {
        Tables& now = newest_[s];
        Tables& all = joined_[s];
        if (orders > 0) {
            const int before = orderBlocks_[bin];
            const std::size_t harmonics = settings_.harmonics.size();
            readOrderRow(now, s, bin);
            joinRow<float>(averaging,
                           rowOf(all.orders, lines_, bin),
                           before,
                           rowOf(now.orders, lines_, bin),
                           orders);
            joinRow<std::complex<float>>(averaging,
                                         rowOf(all.harmonics, harmonics, bin),
                                         before,
                                         rowOf(now.harmonics, harmonics, bin),
                                         orders);
        }
        if (times > 0) {
            readTimeRow(now, s, bin);
            joinRow<float>(averaging,
                           rowOf(all.times, timeLines_, bin),
                           timeBlocks_[bin],
                           rowOf(now.times, timeLines_, bin),
                           times);
            const double sum = squareSum(rowOf(now.times, timeLines_, bin));
            const double factor =
                sum > 0.0 ? std::sqrt(squareSum(rowOf(all.times, timeLines_, bin)) / sum) : 1.0;
            all.overall[bin] = now.overall[bin] * static_cast<float>(factor);
        }
    }
    if (settings_.twoSided && orders > 0) {
        const std::size_t columns = 2 * lines_ - 1;
        readOrderDomainBinWaterfallTwoSided(
            lease_.handle(), static_cast<std::int32_t>(bin), newestWhirl_.data());
        joinRow<float>(averaging,
                       rowOf(joinedWhirl_, columns, bin),
                       orderBlocks_[bin],
                       rowOf(newestWhirl_, columns, bin),
                       orders);
    }
    orderBlocks_[bin] += orders;
    timeBlocks_[bin] += times;
}

AnalysisResults AnalyzerPass::results() const
{
    AnalysisResults results;
    results.pass = pass_;
    for (std::size_t bin = guardBins_; bin < bins_ - guardBins_; ++bin) {
        results.binRpm.push_back(settings_.minRpm +
                                 static_cast<double>(bin - guardBins_) * settings_.stepRpm);
        results.orderBlocks.push_back(orderBlocks_[bin]);
        results.timeBlocks.push_back(timeBlocks_[bin]);
    }
    for (std::size_t s = 0; s < channels_; ++s) results.signals.push_back(signalResults(s));
    AchievedResolution& resolution = results.resolution;
    resolution.revolutions =
        static_cast<double>(orderBlockSamples()) / (2.0 * settings_.maxOrder());
    resolution.orders = 1.0 / resolution.revolutions;
    resolution.hertz = getTimeFFTResolution(lease_.handle());
    resolution.seconds = getTimeFFTBlockDuration(lease_.handle());
    for (std::size_t k = 0; k < usableOrders(); ++k)
        results.orders.push_back(static_cast<double>(k) * settings_.orderResolution);
    for (std::size_t k = 0; k < timeLines_; ++k)
        results.frequencies.push_back(static_cast<double>(k) * resolution.hertz);
    if (settings_.twoSided) addWhirl(results);
    return results;
}

// Of all bins and lines those that were asked for.
SignalResults AnalyzerPass::signalResults(std::size_t signal) const
{
    const Tables& tables = joined_[signal];
    const std::size_t harmonics = settings_.harmonics.size();
    SignalResults results;
    results.orderMap.columns = usableOrders();
    results.frequencyMap.columns = timeLines_;
    results.harmonics.resize(harmonics);
    for (std::size_t bin = guardBins_; bin < bins_ - guardBins_; ++bin) {
        results.orderMap.append(rowOf(tables.orders, lines_, bin).first(usableOrders()));
        results.frequencyMap.append(rowOf(tables.times, timeLines_, bin));
        results.overall.push_back(tables.overall[bin]);
        for (std::size_t h = 0; h < harmonics; ++h)
            results.harmonics[h].push_back(tables.harmonics[bin * harmonics + h]);
    }
    return results;
}

// A two-sided row holds order k at L - 1 + k, with L lines on a side.
void AnalyzerPass::addWhirl(AnalysisResults& results) const
{
    const std::size_t usable = usableOrders();
    results.whirlMap.columns = 2 * usable - 1;
    for (std::size_t bin = guardBins_; bin < bins_ - guardBins_; ++bin)
        results.whirlMap.append(
            rowOf(joinedWhirl_, 2 * lines_ - 1, bin).subspan(lines_ - usable, 2 * usable - 1));
    for (std::size_t k = 0; k < results.whirlMap.columns; ++k)
        results.whirlOrders.push_back((static_cast<double>(k) - static_cast<double>(usable - 1)) *
                                      settings_.orderResolution);
}

} // namespace Harmotrack::Host
