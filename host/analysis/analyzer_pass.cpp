#include "host/analysis/analyzer_pass.h"

#include "host/host_error.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <new>
#include <optional>
#include <string>

namespace Harmotrack::Host {
namespace {

Mode modeFor(std::size_t channels)
{
    return channels == 1 ? Mode::OneReal : Mode::TwoReal;
}

Signal signalNumber(std::size_t signal)
{
    return signal == 0 ? Signal::First : Signal::Second;
}

Direction directionFor(Pass pass, Direction asked)
{
    if (pass == Pass::Rising) return Direction::Rising;
    if (pass == Pass::Falling) return Direction::Falling;
    return asked;
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
                           Pass pass)
    : settings_(settings), channels_(channels), pass_(pass),
      guardBins_(settings.blockMode == BlockMode::Contiguous ? 1 : 0),
      bins_(static_cast<std::size_t>(settings.binCount()) + 2 * guardBins_),
      analyzer_(modeFor(channels)), setup_(setupFor(rateHz)), sizes_(analyzer_.sizesOf(setup_)),
      lines_(orderBlockSamples() / 2), timeLines_(timeBlockSamples() / 2)
{
}

std::size_t AnalyzerPass::orderBlockSamples() const
{
    return static_cast<std::size_t>(sizes_.orderBlock);
}

std::size_t AnalyzerPass::timeBlockSamples() const
{
    return static_cast<std::size_t>(sizes_.timeBlock);
}

AnalyzerSetup AnalyzerPass::setupFor(double rateHz) const
{
    AnalyzerSetup setup;
    setup.sampleRate = rateHz;

    const double firstCentre =
        settings_.minRpm - static_cast<double>(guardBins_) * settings_.stepRpm;
    Binning& binning = setup.binning;
    binning.direction = directionFor(pass_, settings_.direction);
    binning.minValue = static_cast<float>(firstCentre);
    binning.step = static_cast<float>(settings_.stepRpm);
    // A quarter of a step above the last centre, so that no rounding loses the last bin.
    binning.maxValue = static_cast<float>(firstCentre + (static_cast<double>(bins_ - 1) + 0.25) *
                                                            settings_.stepRpm);
    binning.hysteresisPercent = static_cast<float>(settings_.hysteresisPercent);

    setup.orders.orderResolution = static_cast<float>(settings_.orderResolution);
    setup.orders.maxOrder = settings_.maxOrder();
    setup.orders.harmonicOrders = settings_.harmonics;

    Analysis& analysis = setup.analysis;
    analysis.windowType =
        static_cast<Harmotrack::Window>(static_cast<std::int32_t>(settings_.window));
    analysis.amplitudeType = settings_.amplitude;
    analysis.blockMode = settings_.blockMode;
    analysis.averagingType = settings_.averaging;
    analysis.timeLines = settings_.timeLines;
    analysis.overlapPercent = static_cast<float>(settings_.rowOverlapPercent.value_or(0.0));
    analysis.phaseReference = settings_.phaseReference;
    analysis.phaseMode = settings_.phaseMode;
    analysis.minRpm = static_cast<float>(settings_.minRpm);
    analysis.maxRpm = static_cast<float>(settings_.maxRpm);
    analysis.weightingType = settings_.weighting;
    analysis.removeMeanTime = settings_.removeMean;
    analysis.removeMeanOrder = settings_.removeMean;

    Results& results = setup.results;
    results.binHarmonics = !settings_.harmonics.empty();
    results.binOrderSpectrum = true;
    results.binOrderTwoSided = settings_.twoSided;
    results.timeOrderSpectrum = settings_.rowOverlapPercent && pass_ != Pass::Falling;
    results.binTimeSpectrum = true;
    results.overall = true;
    return setup;
}

void AnalyzerPass::initiate(const RingNeeds& needs)
{
    // Contiguous blocks may begin up to a block late, and another one after a stop.
    const std::size_t blocks = settings_.blockMode == BlockMode::Contiguous ? 4 : 2;
    const std::size_t angle =
        blocks * orderBlockSamples() + needs.waitingAngle + needs.largestDelivery;
    const std::size_t time = 3 * timeBlockSamples() + needs.lateTime + 2 * needs.largestDelivery;
    constexpr std::size_t kMost = 1 << 30;
    if (std::max(angle, time) > kMost)
        throw HostError("The rings would need " +
                        numberText(static_cast<double>(std::max(angle, time))) +
                        " samples, and at most 1e9 are possible: take a coarser order resolution.");
    setup_.largestDelivery = static_cast<int>(needs.largestDelivery);
    setup_.angleRing = static_cast<int>(angle);
    setup_.timeRing = static_cast<int>(time);
    try {
        joined_.resize(channels_);
        for (Tables& tables : joined_) {
            tables.orders.resize(bins_ * lines_);
            tables.times.resize(bins_ * timeLines_);
            tables.overall.resize(bins_);
            tables.harmonics.assign(settings_.harmonics.size(),
                                    std::vector<std::complex<float>>(bins_));
        }
        if (settings_.twoSided) joinedWhirl_.resize(bins_ * (2 * lines_ - 1));
        for (BlockCounts* counts : {&joinedBlocks_, &newBlocks_}) {
            counts->order.resize(bins_);
            counts->time.resize(bins_);
        }
        blockHarmonics_.resize(settings_.harmonics.size());
    } catch (const std::bad_alloc&) {
        throw HostError("Memory ran out for the tables of " + std::to_string(bins_) +
                        " speed bins with order blocks of " + std::to_string(sizes_.orderBlock) +
                        " samples.");
    }
    analyzer_.setUp(setup_);
}

void AnalyzerPass::beginStretch(double startSeconds)
{
    stretchSeconds_ = startSeconds;
    if (begun_) analyzer_.restart();
    begun_ = true;
    std::fill(newBlocks_.order.begin(), newBlocks_.order.end(), 0);
    std::fill(newBlocks_.time.begin(), newBlocks_.time.end(), 0);
}

void AnalyzerPass::deliver(const AngleSamples& angle,
                           const TimeSamples& time,
                           const OnResult& onResult)
{
    analyzer_.feed(angle, time);
    while (const std::optional<News> news = analyzer_.next()) {
        if (news->bin >= 0) {
            const auto bin = static_cast<std::size_t>(news->bin);
            if (news->binOrderSpectrum) ++newBlocks_.order[bin];
            if (news->binTimeSpectrum) ++newBlocks_.time[bin];
        }
        if (onResult) announce(*news, onResult);
    }
}

std::size_t AnalyzerPass::usableOrders() const
{
    return static_cast<std::size_t>(settings_.highestOrder / settings_.orderResolution + 1e-6) + 1;
}

void AnalyzerPass::announce(const News& news, const OnResult& onResult)
{
    if (news.timeOrderSpectrum) announceRow(onResult);
    if (news.bin < static_cast<int>(guardBins_) || news.bin >= static_cast<int>(bins_ - guardBins_))
        return;
    const auto bin = static_cast<std::size_t>(news.bin);
    const Speed speed = analyzer_.speed().value_or(Speed{});
    BlockResult block;
    block.pass = pass_;
    block.seconds = stretchSeconds_ + speed.time;
    block.speedRpm = static_cast<double>(speed.rpm);
    block.bin = news.bin - static_cast<int>(guardBins_);
    for (std::size_t s = 0; s < channels_; ++s) {
        block.signal = s;
        if (news.binOrderSpectrum) {
            block.orderSpectrum =
                analyzer_.binOrderSpectrum(news.bin, signalNumber(s)).first(usableOrders());
            for (std::size_t h = 0; h < blockHarmonics_.size(); ++h)
                blockHarmonics_[h] =
                    analyzer_.binHarmonics(static_cast<int>(h), signalNumber(s))[bin];
            block.harmonics = blockHarmonics_;
            if (settings_.twoSided && s == 0)
                block.whirlSpectrum = usableWhirl(analyzer_.binOrderTwoSided(news.bin));
            else
                block.whirlSpectrum = {};
        }
        if (news.binTimeSpectrum) {
            block.frequencySpectrum = analyzer_.binTimeSpectrum(news.bin, signalNumber(s));
            block.overall = analyzer_.overall(signalNumber(s))[bin];
        }
        onResult(block);
    }
}

void AnalyzerPass::announceRow(const OnResult& onResult)
{
    BlockResult block;
    block.pass = pass_;
    block.speedRpm = static_cast<double>(analyzer_.speed().value_or(Speed{}).rpm);
    for (std::size_t s = 0; s < channels_; ++s) {
        block.signal = s;
        const Row row = analyzer_.timeOrderSpectrum(signalNumber(s));
        block.seconds = stretchSeconds_ + row.time;
        block.orderSpectrum = row.values.first(usableOrders());
        onResult(block);
    }
}

void AnalyzerPass::endStretch()
{
    for (std::size_t s = 0; s < channels_; ++s) {
        joinOrders(s);
        joinTimes(s);
    }
    if (settings_.twoSided) joinWhirl();
    for (std::size_t bin = 0; bin < bins_; ++bin) {
        joinedBlocks_.order[bin] += newBlocks_.order[bin];
        joinedBlocks_.time[bin] += newBlocks_.time[bin];
    }
}

void AnalyzerPass::joinOrders(std::size_t signal)
{
    Tables& all = joined_[signal];
    for (std::size_t bin = 0; bin < bins_; ++bin) {
        const int blocks = newBlocks_.order[bin];
        if (blocks == 0) continue;
        joinRow<float>(settings_.averaging,
                       rowOf(all.orders, lines_, bin),
                       joinedBlocks_.order[bin],
                       analyzer_.binOrderSpectrum(static_cast<int>(bin), signalNumber(signal)),
                       blocks);
    }
    for (std::size_t h = 0; h < all.harmonics.size(); ++h) {
        const auto now = analyzer_.binHarmonics(static_cast<int>(h), signalNumber(signal));
        for (std::size_t bin = 0; bin < bins_; ++bin) {
            const int blocks = newBlocks_.order[bin];
            if (blocks == 0) continue;
            std::complex<float>& value = all.harmonics[h][bin];
            value =
                joinedCell(settings_.averaging, value, joinedBlocks_.order[bin], now[bin], blocks);
        }
    }
}

// An overall level is the root of the squared lines of its bin's spectrum, but for a factor.
void AnalyzerPass::joinTimes(std::size_t signal)
{
    Tables& all = joined_[signal];
    const std::span<const float> levels = analyzer_.overall(signalNumber(signal));
    for (std::size_t bin = 0; bin < bins_; ++bin) {
        const int blocks = newBlocks_.time[bin];
        if (blocks == 0) continue;
        const std::span<const float> now =
            analyzer_.binTimeSpectrum(static_cast<int>(bin), signalNumber(signal));
        const std::span<float> joined = rowOf(all.times, timeLines_, bin);
        joinRow<float>(settings_.averaging, joined, joinedBlocks_.time[bin], now, blocks);
        const double sum = squareSum(now);
        const double factor = sum > 0.0 ? std::sqrt(squareSum(joined) / sum) : 1.0;
        all.overall[bin] = levels[bin] * static_cast<float>(factor);
    }
}

void AnalyzerPass::joinWhirl()
{
    for (std::size_t bin = 0; bin < bins_; ++bin) {
        const int blocks = newBlocks_.order[bin];
        if (blocks == 0) continue;
        joinRow<float>(settings_.averaging,
                       rowOf(joinedWhirl_, 2 * lines_ - 1, bin),
                       joinedBlocks_.order[bin],
                       analyzer_.binOrderTwoSided(static_cast<int>(bin)),
                       blocks);
    }
}

AnalysisResults AnalyzerPass::results() const
{
    AnalysisResults results;
    results.pass = pass_;
    for (std::size_t bin = guardBins_; bin < bins_ - guardBins_; ++bin) {
        results.binRpm.push_back(settings_.minRpm +
                                 static_cast<double>(bin - guardBins_) * settings_.stepRpm);
        results.orderBlocks.push_back(joinedBlocks_.order[bin]);
        results.timeBlocks.push_back(joinedBlocks_.time[bin]);
    }
    for (std::size_t s = 0; s < channels_; ++s) results.signals.push_back(signalResults(s));
    AchievedResolution& resolution = results.resolution;
    resolution.revolutions =
        static_cast<double>(orderBlockSamples()) / (2.0 * settings_.maxOrder());
    resolution.orders = 1.0 / resolution.revolutions;
    resolution.hertz = sizes_.timeResolution;
    resolution.seconds = sizes_.timeBlockDuration;
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
    SignalResults results;
    results.orderMap.columns = usableOrders();
    results.frequencyMap.columns = timeLines_;
    for (std::size_t bin = guardBins_; bin < bins_ - guardBins_; ++bin) {
        results.orderMap.append(rowOf(tables.orders, lines_, bin).first(usableOrders()));
        results.frequencyMap.append(rowOf(tables.times, timeLines_, bin));
        results.overall.push_back(tables.overall[bin]);
    }
    for (const std::vector<std::complex<float>>& values : tables.harmonics)
        results.harmonics.emplace_back(values.begin() + static_cast<std::ptrdiff_t>(guardBins_),
                                       values.end() - static_cast<std::ptrdiff_t>(guardBins_));
    return results;
}

// A two-sided row holds order k at L - 1 + k, with L lines on a side.
std::span<const float> AnalyzerPass::usableWhirl(std::span<const float> row) const
{
    return row.subspan(lines_ - usableOrders(), 2 * usableOrders() - 1);
}

void AnalyzerPass::addWhirl(AnalysisResults& results) const
{
    const std::size_t usable = usableOrders();
    results.whirlMap.columns = 2 * usable - 1;
    for (std::size_t bin = guardBins_; bin < bins_ - guardBins_; ++bin)
        results.whirlMap.append(usableWhirl(rowOf(joinedWhirl_, 2 * lines_ - 1, bin)));
    for (std::size_t k = 0; k < results.whirlMap.columns; ++k)
        results.whirlOrders.push_back((static_cast<double>(k) - static_cast<double>(usable - 1)) *
                                      settings_.orderResolution);
}

} // namespace Harmotrack::Host
