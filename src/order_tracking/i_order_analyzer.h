#pragma once

#include "dsp/dsp_object.h"
#include "harmotrack/harmotrack.h"
#include "order_tracking/result_storage.h"

#include <cstdint>

namespace Velmora::OrderTracking {

/// The streaming order analyzer as the boundary sees it: its operations, and the results that the
/// exported read functions copy from directly.
///
/// An object goes through four states, by convention of its caller alone: created; prepared, when
/// preinitiate() has derived the sizes; ready, when initiate() has allocated everything; running,
/// from reset() on. Out of order, calls have undefined results.
class IOrderAnalyzer : public KorLib::Dsp::DspObject {
public:
    // Setups are the host's records, read at every use.
    virtual void setBinningSetup(BinningSetup* setup) = 0;
    [[nodiscard]] virtual const BinningSetup* getBinningSetup() const = 0;
    [[nodiscard]] virtual BinningSetup* getBinningSetup() = 0;
    virtual void setOrderSetup(OrderSetup* setup) = 0;
    [[nodiscard]] virtual const OrderSetup* getOrderSetup() const = 0;
    [[nodiscard]] virtual OrderSetup* getOrderSetup() = 0;
    virtual void setAnalysisSetup(AnalysisSetup* setup) = 0;
    [[nodiscard]] virtual const AnalysisSetup* getAnalysisSetup() const = 0;
    [[nodiscard]] virtual AnalysisSetup* getAnalysisSetup() = 0;
    virtual void setParameters(AnalyzerParameters* parameters) = 0;
    [[nodiscard]] virtual const AnalyzerParameters* getParameters() const = 0;
    [[nodiscard]] virtual AnalyzerParameters* getParameters() = 0;

    // Descriptions are copied, and their counters are the analyzer's from then on.
    virtual void setResampledBuffers(const ResampledBuffers& buffers) = 0;
    [[nodiscard]] virtual const ResampledBuffers& getResampledBuffers() const = 0;
    virtual void setTimeBuffers(const TimeBuffers& buffers) = 0;
    [[nodiscard]] virtual const TimeBuffers& getTimeBuffers() const = 0;
    virtual void setResultBuffers(const ResultBuffers& buffers) = 0;
    [[nodiscard]] virtual const ResultBuffers& getResultBuffers() const = 0;

    virtual void setSampleRate(double sampleRateHz) = 0;
    [[nodiscard]] virtual const double& getSampleRate() const = 0;
    virtual void setRateDivider(std::int32_t rateDivider) = 0;
    [[nodiscard]] virtual const std::int32_t& getRateDivider() const = 0;
    virtual void setInputBufferLimit(std::int32_t limitSamples) = 0;
    [[nodiscard]] virtual const std::int32_t& getInputBufferLimit() const = 0;

    [[nodiscard]] virtual const std::int32_t& getBinCount() const = 0;
    [[nodiscard]] virtual const std::int32_t& getOrderFFTSize() const = 0;
    [[nodiscard]] virtual const std::int32_t& getOrderLines() const = 0;
    [[nodiscard]] virtual std::int32_t getTimeFFTSize() const = 0;
    [[nodiscard]] virtual double getTimeFFTResolution() const = 0;
    [[nodiscard]] virtual double getTimeFFTBlockDuration() const = 0;
    [[nodiscard]] virtual const std::int32_t& getMode() const = 0;

    /// Starts a run at the samples already processed, with cleared results.
    virtual void reset() = 0;

    /// Allocates transforms, tables and result storage, and binds the host's tables.
    /// @throws std::bad_alloc         memory ran out; the object is safe to destroy
    /// @throws std::invalid_argument  "Unsupported window type."
    virtual void initiate() = 0;

    /// Derives all sizes; does nothing while a setup is missing.
    virtual void preinitiate() = 0;

    /// Takes note of samples that the host has written into the rings; negative counts take back.
    virtual void updateBuffers(std::int32_t angleSamples, std::int32_t timeSamples) = 0;

    /// Walks the samples that may be taken, up to the first that produces a result. The record
    /// stays valid and unchanged until the next call.
    virtual const CalculationResult& calculate() = 0;

    /// The time FFT at some rate, from order setup, analysis setup and limit. `unused` is never
    /// read: the setup's own fixedTimeLines decides.
    [[nodiscard]] virtual TimeFFTSetup
    getTimeFFTSetup(std::uint8_t unused, double sampleRateHz, std::int32_t rateDivider) const = 0;

    [[nodiscard]] const ResultStorage& results() const { return results_; }

    [[nodiscard]] std::int32_t turnCount() const { return turnCount_; }

    [[nodiscard]] double lastTurnTime() const { return lastTurnTime_; }

    [[nodiscard]] float rpm() const { return rpm_; }

    [[nodiscard]] double rpmTime() const { return rpmTime_; }

protected:
    ResultStorage results_;

    std::int32_t turnCount_ = 0;
    double lastTurnTime_ = 0.0; ///< seconds

    float rpm_ = 0.0F;     ///< newest speed
    double rpmTime_ = 0.0; ///< seconds
};

} // namespace Velmora::OrderTracking
