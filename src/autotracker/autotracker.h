#pragma once

#include "autotracker/lu_decomposition.h"
#include "autotracker/ring.h"
#include "dsp/dsp_object.h"
#include "dsp/fir/filter.h"
#include "harmotrack/harmotrack.h"

#include <Eigen/Core>

#include <cstdint>

namespace Velmora::Autotracker {

/// A candidate for the rotation frequency, and what speaks for it.
struct CandidatePoint {
    double position;   ///< rad/s
    double likelihood; ///< see Autotracker::likelihood(); not normalised
};

/// Where a search looks for candidates: low, and what follows by steps below high.
struct SearchRange {
    double low;  ///< rad/s
    double high; ///< rad/s
};

/// Rotation frequency of a machine from one vibration or sound signal, block by block.
///
/// A shaft at ω rad/s shows its orders o[1] .. o[m] as a constant and m pairs of cosine and sine,
/// the K = 2m + 1 columns of
///
///     G(ω) = | 1   cos(o[1] ω t)  ..  cos(o[m] ω t)   sin(o[1] ω t)  ..  sin(o[m] ω t) |
///
/// with a row for each of the N samples y of a block. Amplitudes and noise level are not asked for:
/// integrated out of the probability of y, they leave a Student-t shape, the power of the energy
/// that no amplitudes can explain,
///
///     L(ω) = (yᵀy - yᵀG (GᵀG)⁻¹ Gᵀy) ^ ((2m - N + 1) / 2)  /  ‖GᵀG‖        (Frobenius norm)
///
/// times, round a prediction, a Gaussian prior. The first search takes the ω of greatest L on a
/// grid over the whole range and closes in on it; each later one does so within three standard
/// deviations of the line through the two last estimates:
///
///     first     min |.........................| max          no prior on the grid
///     later              2f - g: |..+..|                     prior on the grid
///     both                        a---b-c                    prior; golden-ratio bracket
///
/// After Bretthorst, "Bayesian Spectrum Analysis and Parameter Estimation", 1988; the bracket after
/// Kiefer, 1953, with a lopsided choice of points of our own: see refine().
///
/// Files: autotracker.cpp sizes and starts (update, initiate, reset); decimator.cpp the way of the
/// samples into the ring that is searched; search.cpp a step (calculate) from block to estimate;
/// likelihood.cpp one candidate.
///
/// **Caller's order.** Setters, update(), initiate(), reset(), calculate() for every delivery. A
/// setter stores, and update() derives: nothing recomputes by itself. The setup record is the
/// host's and is read live.
///
/// **Units.** Frequencies are in rad/s inside, and in the setup's unit in the records alone; time
/// in seconds, rates in samples a second.
///
/// **Memory.** initiate() takes it, working memory of the decomposition and the projection too.
/// calculate() allocates nothing.
///
/// **Threads.** One at a time; objects are independent, but for the kernel table that the decimator
/// fills at its first sample.
class Autotracker final : public KorLib::Dsp::DspObject {
public:
    Autotracker() = default;

    void setSampleRate(double sampleRateHz, std::int32_t rateDivider);

    /// Copies the description; counts and read position of the copy are the tracker's.
    void setSignalBuffer(const SignalBuffer& signal) { signal_ = signal; }

    /// Keeps the pointer.
    void setTrackingSetup(TrackingSetup* setup) { setup_ = setup; }

    /// Derives unit, decimation, block length and hop from setup and rate and starts the frequency
    /// anew; without manualParameters it first writes four fields of the setup. Ring counters and
    /// filter state stay.
    void update() override;

    /// Sizes block, matrices and, with decimation, ring and filter; starts the frequency anew. Ring
    /// counters and the position in the filter stay.
    /// @throws std::bad_alloc
    void initiate();

    /// Starts tracking anew: frequency, and with decimation its ring, filter and phase. Time goes
    /// on from the samples already taken in.
    void reset();

    /// currentFrequency and previousFrequency at the start that the setup asks for.
    void resetFrequencyState();

    /// Samples written by the host; a negative count takes back.
    void updateNewSamples(std::int32_t count) { signal_.writeCount += count; }

    /// One step: takes the new samples in and, if a whole block waits, estimates its frequency.
    /// @return  the same record at every call, valid until the next
    /// @throws std::runtime_error  "Failed to initialize VexCalc.": the first sample is read, lost
    const TrackingResult& calculate();

    /// The ring that is searched: the host's without decimation, else the decimated one.
    [[nodiscard]] SignalBuffer& activeRing();

    /// Moves all unread samples of the host's ring through the filter and every decimation-th
    /// output into the decimated ring. Nothing without decimation.
    ///
    /// The filter's group delay is skipped, outputs 1 to delay - 1 of a run: so the first output
    /// kept is number delay + decimation - 1.
    /// @throws std::runtime_error  as calculate()
    void feedDecimator();

    /// Finds the block's frequency and moves the frequency state on; without a candidate of L above
    /// 0 the state stays.
    /// @return  rad/s; the former estimate if there is no candidate
    double searchFrequency();

    /// Copies the N samples from the ring's read position on into block; the position stays. A
    /// block longer than the ring is the host's mistake.
    void copyBlock();

    /// Whether the next search covers the whole range, without prior on its grid.
    [[nodiscard]] bool isBroad() const { return setup_->useStartFrequency == 0 && firstEstimate_; }

    /// The line through the two last estimates, one block on: 2f - g, rad/s. May be negative.
    [[nodiscard]] double predictedFrequency() const
    {
        return currentFrequency_ + currentFrequency_ - previousFrequency_;
    }

    /// The range of the next search: the whole one, or three standard deviations of the prior to
    /// either side of the prediction, as far as above 0.
    [[nodiscard]] SearchRange searchRange() const;

    /// Distance of the candidates on the grid: a number in the setup's unit that is added to rad/s
    /// as it stands. So a grid in rpm is 9.5 times as coarse, one in hertz 6.3 times as fine as a
    /// converted step would make it.
    [[nodiscard]] double gridStep() const;

    /// The best candidate of a grid; the lowest of equal ones. Position and likelihood are 0 if
    /// none scores above 0. A step of 0 or less never ends.
    [[nodiscard]] CandidatePoint searchGrid(const SearchRange& range, double step, bool usePrior);

    /// The point between two positions at goldenRatio of the way up, always with the prior.
    [[nodiscard]] CandidatePoint goldenPoint(double lower, double upper);

    /// Closes in on a maximum: the wider part of the bracket gets a new point, the better of both
    /// points becomes the middle. It ends when the bracket is narrower than searchStep (in the
    /// setup's unit) or at maxRefineDepth.
    ///
    ///     lower        middle   upper         Both parts have their new point at 0.618 of the way
    ///       |----.-------|--.-----|           from their lower end: right of the middle that is
    ///            ^          ^                 not the mirror image of a textbook golden section.
    ///
    /// @param depth  steps already taken
    /// @return       position of the last middle, rad/s
    [[nodiscard]] double
    refine(double lower, CandidatePoint middle, double upper, std::int32_t depth);

    /// L of one candidate for the current block; overwrites design, gram and gramInverse.
    ///
    /// In linear scale and not normalised, so it leaves the range of doubles for long blocks or
    /// signals far from unit residual: infinite, or 0 as if there were no value.
    ///
    /// @param candidate  rad/s
    /// @param usePrior   multiply by the prior; NaN with a predictionSigmaPercent of 0
    /// @return  0 if the model can not be evaluated: a determinant of GᵀG below 2.2e-16 in
    ///          magnitude, whatever its scale, or a residual energy that is not above 0
    [[nodiscard]] double likelihood(double candidate, bool usePrior);

    /// G(candidate) into design: row i is at i / trackingRate seconds.
    void fillDesign(double candidate);

    /// Rate of the host's ring, Hz.
    [[nodiscard]] double effectiveRate() const { return sampleRate_ / rateDivider_; }

    /// Rate of the ring that is searched, Hz.
    [[nodiscard]] double trackingRate() const { return effectiveRate() / decimation_; }

    [[nodiscard]] double transitionPercent() const { return transitionPercent_; }

    [[nodiscard]] double stopbandAttenuation() const { return stopbandAttenuation_; }

    [[nodiscard]] std::int32_t maxRefineDepth() const { return maxRefineDepth_; }

    [[nodiscard]] double goldenRatio() const { return goldenRatio_; }

    [[nodiscard]] double sampleRate() const { return sampleRate_; }

    [[nodiscard]] std::int32_t rateDivider() const { return rateDivider_; }

    [[nodiscard]] const SignalBuffer& signal() const { return signal_; }

    [[nodiscard]] const DecimatedRing& decimatedSignal() const { return decimatedSignal_; }

    [[nodiscard]] const TrackingSetup* setup() const { return setup_; }

    [[nodiscard]] const TrackingResult& result() const { return result_; }

    [[nodiscard]] std::int32_t blockLength() const { return blockLength_; }

    [[nodiscard]] std::int32_t hop() const { return hop_; }

    [[nodiscard]] std::int32_t decimation() const { return decimation_; }

    [[nodiscard]] std::int32_t decimationPhase() const { return decimationPhase_; }

    [[nodiscard]] std::int64_t filteredCount() const { return filteredCount_; }

    [[nodiscard]] const KorLib::Dsp::Fir::Filter& filter() const { return filter_; }

    [[nodiscard]] double timeOffset() const { return timeOffset_; }

    [[nodiscard]] double currentFrequency() const { return currentFrequency_; }

    [[nodiscard]] double previousFrequency() const { return previousFrequency_; }

    [[nodiscard]] double unitFactor() const { return unitFactor_; }

    [[nodiscard]] bool firstEstimate() const { return firstEstimate_; }

    [[nodiscard]] const Eigen::VectorXd& block() const { return block_; }

    [[nodiscard]] const Eigen::MatrixXd& design() const { return design_; }

    [[nodiscard]] const Eigen::MatrixXd& gram() const { return gram_; }

    [[nodiscard]] const Eigen::MatrixXd& gramInverse() const { return gramInverse_; }

private:
    // autotracker.cpp
    [[nodiscard]] double topFrequencyHz() const;
    void chooseParameters();
    void sizeDecimator();

    // decimator.cpp
    void keepFiltered(double sample);

    // likelihood.cpp
    [[nodiscard]] double prior(double candidate) const;
    void fillGram();
    [[nodiscard]] bool invertGram();
    [[nodiscard]] double projectedEnergy();

    // Constants of the method.
    double transitionPercent_ = 10.0;   ///< of the filter, in per cent of effectiveRate
    double stopbandAttenuation_ = 60.0; ///< of the filter, dB
    std::int32_t maxRefineDepth_ = 200;
    double goldenRatio_ = 0.61803398874989;

    double sampleRate_ = 20000.0; ///< Hz
    std::int32_t rateDivider_ = 1;
    SignalBuffer signal_ = emptyRing();
    DecimatedRing decimatedSignal_{emptyRing(), 0, {}};
    TrackingSetup* setup_ = nullptr;
    TrackingResult result_{.frequency = 0.0, .time = 0.0, .valid = 0, .needsMoreSamples = 1};

    // Sizes, in samples of the ring that is searched.
    std::int32_t blockLength_ = 0;
    std::int32_t hop_ = 0;

    // Decimator.
    std::int32_t decimation_ = 1;
    std::int32_t decimationPhase_ = 0; ///< outputs since the last one kept, behind the delay
    std::int64_t filteredCount_ = 0;   ///< samples filtered since the last reset
    KorLib::Dsp::Fir::Filter filter_;
    double timeOffset_ = 0.0; ///< time of the decimated ring's sample 0, seconds

    // Frequency.
    double currentFrequency_ = 0.0;  ///< last estimate, rad/s
    double previousFrequency_ = 0.0; ///< the one before, rad/s
    double unitFactor_ = 1.0;        ///< rad/s into the setup's unit
    bool firstEstimate_ = true;

    // The model of one candidate.
    Eigen::VectorXd block_;       ///< y, shape (N)
    Eigen::MatrixXd design_;      ///< G, shape (N, K)
    Eigen::MatrixXd gram_;        ///< GᵀG, shape (K, K)
    Eigen::MatrixXd gramInverse_; ///< shape (K, K)

    // Working memory of likelihood().
    LuDecomposition decomposition_; ///< of gram
    Eigen::VectorXd moments_;       ///< Gᵀy, shape (K)
    Eigen::VectorXd amplitudes_;    ///< (GᵀG)⁻¹Gᵀy, shape (K)
    Eigen::VectorXd modelled_;      ///< G times amplitudes, shape (N)
};

} // namespace Velmora::Autotracker
