#include "dsp/to_integer.h"
#include "order_tracking/order_analyzer.h"

#include <algorithm>
#include <cmath>

namespace Velmora::OrderTracking {

namespace Fft = KorLib::Dsp::Fft;
using KorLib::Dsp::asSize;

OrderAnalyzer::OrderAnalyzer(std::int32_t mode)
    : mode_(mode == HARMOTRACK_MODE_ONE_REAL || mode == HARMOTRACK_MODE_TWO_REAL
                ? mode
                : HARMOTRACK_MODE_ONE_COMPLEX),
      orderTransform_(mode_), timeTransform_(mode_)
{
}

bool OrderAnalyzer::wantsOrderPath() const
{
    const AnalyzerParameters& p = *parameters_;
    return (p.binHarmonics | p.binOrderSpectrum | p.binOrderTwoSided | p.timeOrderSpectrum |
            p.timeOrderTwoSided) != 0;
}

bool OrderAnalyzer::wantsTimePath() const
{
    const AnalyzerParameters& p = *parameters_;
    return (p.binTimeSpectrum | p.binTimeTwoSided | p.overall) != 0;
}

/// Each step only resizes what is there, so an object may be initiated again with another setup.
void OrderAnalyzer::initiate()
{
    orderTransform_.setup(orderFFTSize_, *analysisSetup_);
    timeTransform_.setup(timeFFT_.size, *analysisSetup_);
    buildWeightingTables();
    fillHarmonicRecords();
    orderLines_ = analysisSetup_->twoSided != 0 ? orderFFTSize_ : orderFFTSize_ / 2;
    setUpEvaluators();

    if (wantsOrderPath()) allocateOrderResults();
    if (wantsTimePath()) allocateTimeResults();
    allocateDeltaResults();
}

void OrderAnalyzer::buildWeightingTables()
{
    constexpr std::int32_t kLeastSpeeds = 100;
    const AnalysisSetup& setup = *analysisSetup_;
    const auto weighting = static_cast<std::uint32_t>(setup.weightingType);
    orderWeighting_.buildOrders(orderFFTSize_ / 2,
                                std::max(binCount_, kLeastSpeeds),
                                weighting,
                                static_cast<double>(orderSetup_->orderResolution),
                                static_cast<double>(setup.minRpm),
                                static_cast<double>(setup.maxRpm));
    timeWeighting_.buildFrequencies(timeFFT_.size / 2, weighting, timeFFT_.resolution);
}

void OrderAnalyzer::fillHarmonicRecords()
{
    harmonics_.resize(asSize(orderSetup_->harmonicCount));
    const float* order = orderSetup_->harmonicOrders;
    for (HarmonicRecord& harmonic : harmonics_) {
        harmonic = HarmonicRecord{};
        harmonic.order = *order++;
        const float line = std::round(harmonic.order / orderSetup_->orderResolution);
        harmonic.line = KorLib::Dsp::toInt32(static_cast<double>(line));
        if (harmonic.line < 0) harmonic.line += orderFFTSize_;
        harmonic.fractional = std::trunc(harmonic.order) != harmonic.order;
    }
}

void OrderAnalyzer::setUpEvaluators()
{
    const auto setUp = [this](auto& evaluator, Fft::SpectrumComponent component) {
        const AnalysisSetup& setup = *analysisSetup_;
        evaluator.beginUpdate();
        evaluator.setAmplitudeKind(static_cast<Fft::AmplitudeKind>(setup.amplitudeType));
        evaluator.setForm(Fft::SpectrumForm::Amplitude);
        evaluator.setComponent(component);
        evaluator.setLines(asSize(orderLines_));
        evaluator.setSampleRate(2.0 * orderSetup_->maxOrder);
        evaluator.setWindowType(static_cast<KorLib::Dsp::Window::WindowType>(setup.windowType));
        evaluator.endUpdate();
    };
    setUp(realPart_, Fft::SpectrumComponent::Real);
    setUp(imaginaryPart_, Fft::SpectrumComponent::Imaginary);
}

void OrderAnalyzer::allocateOrderResults()
{
    const std::uint64_t bins = asSize(binCount_);
    const std::uint64_t lines = asSize(orderLines_);
    const auto averaging = static_cast<std::uint32_t>(analysisSetup_->averagingType);
    const auto allocate =
        [&](auto& row, HarmonicTable& harmonics, auto& waterfall, float* cells, auto& spectrum) {
            row.resize(lines);
            harmonics.resize(asSize(orderSetup_->harmonicCount), bins);
            harmonics.setAveragingType(averaging);
            waterfall.resize(bins, lines, cells);
            waterfall.setAveragingType(averaging);
            spectrum.resize(lines);
        };
    ResultStorage& r = results_;
    allocate(r.orderRowA, r.harmonicsA, r.orderA, resultBuffers_.binOrderA, orderSpectrumA_);
    if (twoSignals()) {
        allocate(r.orderRowB, r.harmonicsB, r.orderB, resultBuffers_.binOrderB, orderSpectrumB_);
        const std::uint64_t twoSidedLines = asSize(orderFFTSize_ - 1);
        if (parameters_->binOrderTwoSided != 0) {
            r.orderTwoSided.resize(bins, twoSidedLines, resultBuffers_.binOrderTwoSided);
            r.orderTwoSided.setAveragingType(averaging);
        }
        if (parameters_->timeOrderTwoSided != 0) r.orderRowTwoSided.resize(twoSidedLines);
    }
}

void OrderAnalyzer::allocateTimeResults()
{
    const std::uint64_t bins = asSize(binCount_);
    const std::uint64_t lines = asSize(timeFFT_.size / 2);
    const auto averaging = static_cast<std::uint32_t>(analysisSetup_->averagingType);
    const auto allocate = [&](auto& waterfall, float* cells, auto& spectrum, auto& overall) {
        waterfall.resize(bins, lines, cells);
        waterfall.setAveragingType(averaging);
        spectrum.resize(lines);
        overall.resize(bins);
    };
    ResultStorage& r = results_;
    allocate(r.timeA, resultBuffers_.binTimeA, timeSpectrumA_, r.overallA);
    if (twoSignals()) {
        allocate(r.timeB, resultBuffers_.binTimeB, timeSpectrumB_, r.overallB);
        if (parameters_->binTimeTwoSided != 0) {
            r.timeTwoSided.resize(bins, asSize(timeFFT_.size - 1), resultBuffers_.binTimeTwoSided);
            r.timeTwoSided.setAveragingType(averaging);
        }
    }
}

void OrderAnalyzer::allocateDeltaResults()
{
    const auto allocate = [this](auto& mean, std::uint64_t size, auto& spectrum) {
        mean.resize(size);
        spectrum.resize(asSize(orderLines_));
    };
    ResultStorage& r = results_;
    if (parameters_->deltaHarmonics != 0) {
        const std::uint64_t harmonics = asSize(orderSetup_->harmonicCount);
        allocate(r.deltaHarmonicsA, harmonics, orderSpectrumA_);
        if (twoSignals()) allocate(r.deltaHarmonicsB, harmonics, orderSpectrumB_);
    }
    if (parameters_->deltaOrderSpectrum != 0) {
        const std::uint64_t lines = asSize(orderLines_);
        allocate(r.deltaSpectrumA, lines, orderSpectrumA_);
        if (twoSignals()) allocate(r.deltaSpectrumB, lines, orderSpectrumB_);
    }
}

/// stopReported_, rpm_ and rpmTime_ survive; so does blockBinValue_.
void OrderAnalyzer::reset()
{
    lastAngle_ = 0.0;
    nextHopPosition_ = resampled_.processed;
    lastBlockPosition_ = resampled_.processed;
    deltaPosition_ = resampled_.processed;
    lastDeltaTime_ = 0.0;
    lastDeltaBinValue_ = 0.0;
    currentRpm_ = 0.0;
    holdOff_ = 0;
    // Two divisions, not one by the rate: with a divider other than 1 this is another time.
    timeBlockStart_ = static_cast<double>(timeRing_.written) / sampleRate_ / rateDivider_;
    binning_.resetBinning();

    for (HarmonicRecord& harmonic : harmonics_) harmonic.startPosition = -1;
    if (dirty_) {
        clearResults();
        dirty_ = false;
    }
}

/// Everything but the order rows by sample count of the second signal and of both: those are
/// rewritten whole before they are announced.
void OrderAnalyzer::clearResults()
{
    const auto zero = [](auto& values) {
        std::fill(
            values.begin(), values.end(), typename std::decay_t<decltype(values)>::value_type{});
    };
    ResultStorage& r = results_;
    r.harmonicsA.clear();
    r.harmonicsB.clear();
    zero(r.orderRowA);
    r.orderRowTime = 0.0;
    for (auto* waterfall :
         {&r.orderA, &r.orderB, &r.orderTwoSided, &r.timeA, &r.timeB, &r.timeTwoSided})
        waterfall->clear();
    for (auto* spectrum : {&orderSpectrumA_, &orderSpectrumB_, &timeSpectrumA_, &timeSpectrumB_})
        zero(*spectrum);
    zero(r.overallA);
    zero(r.overallB);
    for (auto* mean :
         {&r.deltaHarmonicsA, &r.deltaHarmonicsB, &r.deltaSpectrumA, &r.deltaSpectrumB})
        zero(*mean);
    r.deltaTime = 0.0;
    deltaCount_ = 0;
    turnCount_ = 0;
    lastTurnTime_ = 0.0;
}

} // namespace Velmora::OrderTracking
