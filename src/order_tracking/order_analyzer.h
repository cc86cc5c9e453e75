#pragma once

#include "dsp/fft/fft_spectum_calculation.h"
#include "order_tracking/binning.h"
#include "order_tracking/block_transform.h"
#include "order_tracking/i_order_analyzer.h"
#include "order_tracking/weighting_table.h"

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::OrderTracking {

/// A result that announces nothing.
[[nodiscard]] inline CalculationResult noResult()
{
    CalculationResult result{};
    result.bin = -1;
    return result;
}

/// One order to be extracted, and where its phase started in this run.
struct HarmonicRecord {
    float order = 0.0F;
    std::int32_t line = 0;           ///< line of the order spectrum
    bool fractional = false;         ///< the order has a fractional part
    std::int64_t startPosition = -1; ///< first sample of the run's first block, -1 before it
    double startPhaseA = 0.0;        ///< radians, in that block
    double startPhaseB = 0.0;        ///< radians, in that block; mode 1
};

/// Streaming analysis of one signal or signal pair against one rotation.
///
///     mode 0   signalA, through a real transform
///     mode 1   signalA and signalB, through one complex transform that is split into two spectra;
///              every result twice, and the two-sided results, which exist here only
///     mode 2   signalA + j signalB, through a complex transform
///
/// A sample on its way to a result, file by file:
///
///     calculate.cpp       the walk: speed, bin (binning.h), turns, then each block step in turn
///     order_path.cpp      updateOrderRow, orderBinStep: is a block due, and for whom?
///     time_path.cpp       timeBinStep: the same for frequency spectra
///     delta_path.cpp      deltaStep: the same for means over a period
///     block_transform.h   ring, window, FFT, one or two spectra
///     harmonics.cpp       complex harmonics and the overall level
///     waterfall.h, harmonic_table.h
///
/// sizes.cpp and initiate.cpp set it up. Memory is taken in initiate(); a run allocates the value
/// arrays of extractHarmonics() and nothing else. One thread at a time; objects are independent.
class OrderAnalyzer final : public IOrderAnalyzer {
public:
    /// Without setups, rings and sizes.
    /// @param mode  HARMOTRACK_MODE_...; any other number is taken for HARMOTRACK_MODE_ONE_COMPLEX
    /// @throws KorLib::Dsp::Fft::FFTWLibError  FFTW is missing or incomplete
    explicit OrderAnalyzer(std::int32_t mode);

    void update() override;

    void setBinningSetup(BinningSetup* setup) override { binningSetup_ = setup; }

    [[nodiscard]] const BinningSetup* getBinningSetup() const override { return binningSetup_; }

    [[nodiscard]] BinningSetup* getBinningSetup() override { return binningSetup_; }

    void setOrderSetup(OrderSetup* setup) override { orderSetup_ = setup; }

    [[nodiscard]] const OrderSetup* getOrderSetup() const override { return orderSetup_; }

    [[nodiscard]] OrderSetup* getOrderSetup() override { return orderSetup_; }

    void setAnalysisSetup(AnalysisSetup* setup) override { analysisSetup_ = setup; }

    [[nodiscard]] const AnalysisSetup* getAnalysisSetup() const override { return analysisSetup_; }

    [[nodiscard]] AnalysisSetup* getAnalysisSetup() override { return analysisSetup_; }

    void setParameters(AnalyzerParameters* parameters) override { parameters_ = parameters; }

    [[nodiscard]] const AnalyzerParameters* getParameters() const override { return parameters_; }

    [[nodiscard]] AnalyzerParameters* getParameters() override { return parameters_; }

    void setResampledBuffers(const ResampledBuffers& buffers) override { resampled_ = buffers; }

    [[nodiscard]] const ResampledBuffers& getResampledBuffers() const override
    {
        return resampled_;
    }

    void setTimeBuffers(const TimeBuffers& buffers) override { timeRing_ = buffers; }

    [[nodiscard]] const TimeBuffers& getTimeBuffers() const override { return timeRing_; }

    void setResultBuffers(const ResultBuffers& buffers) override { resultBuffers_ = buffers; }

    [[nodiscard]] const ResultBuffers& getResultBuffers() const override { return resultBuffers_; }

    void setSampleRate(double sampleRateHz) override { sampleRate_ = sampleRateHz; }

    [[nodiscard]] const double& getSampleRate() const override { return sampleRate_; }

    void setRateDivider(std::int32_t rateDivider) override { rateDivider_ = rateDivider; }

    [[nodiscard]] const std::int32_t& getRateDivider() const override { return rateDivider_; }

    void setInputBufferLimit(std::int32_t limitSamples) override
    {
        inputBufferLimit_ = limitSamples;
    }

    [[nodiscard]] const std::int32_t& getInputBufferLimit() const override
    {
        return inputBufferLimit_;
    }

    [[nodiscard]] const std::int32_t& getBinCount() const override { return binCount_; }

    [[nodiscard]] const std::int32_t& getOrderFFTSize() const override { return orderFFTSize_; }

    [[nodiscard]] const std::int32_t& getOrderLines() const override { return orderLines_; }

    [[nodiscard]] std::int32_t getTimeFFTSize() const override { return timeFFT_.size; }

    [[nodiscard]] double getTimeFFTResolution() const override { return timeFFT_.resolution; }

    [[nodiscard]] double getTimeFFTBlockDuration() const override { return timeFFT_.blockDuration; }

    [[nodiscard]] const std::int32_t& getMode() const override { return mode_; }

    void reset() override;
    void initiate() override;

    void preinitiate() override { update(); }

    void updateBuffers(std::int32_t angleSamples, std::int32_t timeSamples) override;
    const CalculationResult& calculate() override;
    [[nodiscard]] TimeFFTSetup getTimeFFTSetup(std::uint8_t unused,
                                               double sampleRateHz,
                                               std::int32_t rateDivider) const override;

    /// Bins and their hysteresis, for a look from outside.
    [[nodiscard]] const BinningState& binning() const { return binning_; }

    /// Mean of binSignal over the newest order block, times scale.
    [[nodiscard]] double blockBinValue() const { return blockBinValue_; }

    [[nodiscard]] std::span<const HarmonicRecord> harmonics() const { return harmonics_; }

private:
    using Spectrum = std::vector<std::complex<double>>;
    using SpectrumView = std::span<const std::complex<double>>;
    using HarmonicValues = std::vector<std::complex<float>>;

    /// Block steps that the flags ask for; fixed during a walk, since no setup may change in one.
    struct WantedSteps {
        bool orderRow;
        bool orderBin;
        bool timeBin;
        bool delta;
    };

    /// Whether there are results B and the two-sided ones.
    [[nodiscard]] bool twoSignals() const { return mode_ == HARMOTRACK_MODE_TWO_REAL; }

    // sizes.cpp
    [[nodiscard]] std::int32_t limited(double blockSamples) const;

    [[nodiscard]] double rate() const { return sampleRate_ / rateDivider_; }

    // initiate.cpp
    [[nodiscard]] bool wantsOrderPath() const;
    [[nodiscard]] bool wantsTimePath() const;
    void buildWeightingTables();
    void fillHarmonicRecords();
    void setUpEvaluators();
    void allocateOrderResults();
    void allocateTimeResults();
    void allocateDeltaResults();
    void clearResults();

    // calculate.cpp
    [[nodiscard]] std::int32_t samplesWithinTimeBlocks(std::int32_t idx,
                                                       std::int32_t pending) const;
    [[nodiscard]] WantedSteps wantedSteps() const;
    void walk(std::int32_t idx, std::int32_t todo);
    void takeSpeed(std::int32_t idx);
    void takeSample(std::int64_t pos, std::int32_t idx, WantedSteps wanted);
    void countTurn(std::int32_t idx);
    void watchForStop();

    // order_path.cpp. `pos` is the running number of the current sample, `idx` its slot.
    void updateOrderRow(std::int64_t pos, std::int32_t idx);
    void orderBinStep(std::int64_t pos, std::int32_t idx);
    void computeOrderSpectrum(std::int64_t position, std::int32_t start, bool removeMean);
    void startPhases(std::int64_t position);
    void storeOrderBlock(std::int64_t position, double shaftAngle, std::int32_t bin);

    // delta_path.cpp
    void deltaStep(std::int64_t pos, std::int32_t idx);
    void addDeltaBlock(std::int64_t pos, std::int32_t idx);
    void addDeltaSpectrum(double shaftAngle, SpectrumView spectrum, HarmonicValues& mean) const;
    void addDeltaHarmonics(std::int64_t pos,
                           double shaftAngle,
                           SpectrumView spectrum,
                           HarmonicValues& mean) const;
    void releaseDelta(double time);

    // time_path.cpp
    void timeBinStep(std::int32_t idx);
    void takeTimeBlock(double time, std::int32_t bin);
    [[nodiscard]] std::int32_t timeToIndex(double time, double rateHz) const;
    void computeTimeSpectrum(std::int32_t index);
    void storeTimeBlock(std::int32_t bin);

    // harmonics.cpp
    [[nodiscard]] double quarterTurn() const;
    [[nodiscard]] double phaseOffset(double shaftAngle, SpectrumView spectrum) const;
    [[nodiscard]] HarmonicValues
    extractHarmonics(std::int64_t position, double shaftAngle, SpectrumView spectrum) const;
    [[nodiscard]] std::complex<float>
    integerHarmonic(const HarmonicRecord& harmonic, double reference, SpectrumView spectrum) const;
    [[nodiscard]] std::complex<float> fractionalHarmonic(const HarmonicRecord& harmonic,
                                                         std::int64_t position,
                                                         SpectrumView spectrum) const;
    void updateOverall(std::int32_t bin);

    std::int32_t mode_;

    // Setups, the host's records.
    BinningSetup* binningSetup_ = nullptr;
    OrderSetup* orderSetup_ = nullptr;
    AnalysisSetup* analysisSetup_ = nullptr;
    AnalyzerParameters* parameters_ = nullptr;

    // Rings and tables.
    ResampledBuffers resampled_{};
    TimeBuffers timeRing_{};
    ResultBuffers resultBuffers_{};

    // Rate of the time ring.
    double sampleRate_ = 20000.0; ///< Hz
    std::int32_t rateDivider_ = 1;
    std::int32_t inputBufferLimit_ = 20000;

    CalculationResult result_ = noResult();

    // Sizes.
    std::int32_t binCount_ = 0;
    std::int32_t orderFFTSize_ = 0;
    std::int32_t orderLines_ = 0;
    std::int32_t orderHop_ = 0;

    // Block positions, running numbers of samples of the equal-angle ring.
    std::int64_t nextHopPosition_ = 0;
    std::int64_t lastBlockPosition_ = 0;

    // Spectra of the newest order block.
    Spectrum orderSpectrumA_;
    Spectrum orderSpectrumB_;
    double blockBinValue_ = 0.0;

    // Delta state.
    double lastDeltaTime_ = 0.0;
    double lastDeltaBinValue_ = 0.0;
    std::int64_t deltaPosition_ = 0;
    std::int32_t deltaCount_ = 0;

    TimeFFTSetup timeFFT_{};

    double lastAngle_ = 0.0;      ///< degrees
    double timeBlockStart_ = 0.0; ///< seconds

    // Spectra of the newest time block.
    Spectrum timeSpectrumA_;
    Spectrum timeSpectrumB_;

    // Stop state.
    double currentRpm_ = 0.0;
    std::int32_t holdOff_ = 0; ///< samples still to be passed over
    bool stopReported_ = false;

    BinningState binning_;

    BlockTransform orderTransform_;
    WeightingTable orderWeighting_;
    BlockTransform timeTransform_;
    WeightingTable timeWeighting_;
    std::vector<HarmonicRecord> harmonics_;
    KorLib::Dsp::Fft::FFTSpectumCalculation<double> realPart_;
    KorLib::Dsp::Fft::FFTSpectumCalculation<double> imaginaryPart_;
    bool dirty_ = true; ///< a result has been produced since the last clearing
};

} // namespace Velmora::OrderTracking
