#pragma once

#include "host/analysis/analysis_results.h"
#include "host/analysis/analysis_settings.h"

#include <harmotrack/harmotrack.hpp>

#include <complex>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// One analyzer of the library over one movement of the speed: sets it up, takes its results to the
/// end after each delivery, and gathers its tables over all stretches of known angle.
///
/// The analyzer starts anew with each stretch, so that no block spans two of them, and what it
/// found in each is joined here as AnalysisSettings.averaging says.
///
/// In BlockMode::Contiguous the library's axis has a bin more at either end: its first bin reaches
/// further down than the others, and all that were asked for are to be even.
class AnalyzerPass {
public:
    using OnResult = std::function<void(const BlockResult&)>;

    /// What the analyzer's rings must have room for besides blocks.
    struct RingNeeds {
        std::size_t largestDelivery = 0; ///< samples of either kind in one deliver()
        std::size_t waitingAngle = 0;    ///< equal-angle samples that wait for equal-time ones
        std::size_t lateTime = 0;        ///< equal-time samples ahead of their equal-angle ones
    };

    /// @throws HostError  FFTW missing
    AnalyzerPass(const AnalysisSettings& settings, std::size_t channels, double rateHz, Pass pass);

    [[nodiscard]] std::size_t orderBlockSamples() const;
    [[nodiscard]] std::size_t timeBlockSamples() const;

    /// Takes the memory of rings and tables; once.
    /// @throws HostError  memory exhausted, or rings longer than the library can count
    void initiate(const RingNeeds& needs);

    /// A stretch begins, and with it the time of the samples.
    /// @param startSeconds  of the first equal-time sample to come, on the run's axis
    /// @throws HostError    memory exhausted
    void beginStretch(double startSeconds);

    /// Takes samples to the end.
    /// @param angle  equal-angle samples; their time counts from the start of the stretch
    void deliver(const AngleSamples& angle, const TimeSamples& time, const OnResult& onResult);

    /// The stretch ends: its results are joined with those before.
    void endStretch();

    [[nodiscard]] AnalysisResults results() const;

private:
    // Tables of one signal over all stretches that have ended: all bins of the library, all lines.
    struct Tables {
        std::vector<float> orders;
        std::vector<float> times;
        std::vector<float> overall;
        std::vector<std::vector<std::complex<float>>> harmonics; ///< shape (harmonics, bins)
    };

    // How many blocks fell into each bin.
    struct BlockCounts {
        std::vector<int> order;
        std::vector<int> time;
    };

    [[nodiscard]] AnalyzerSetup setupFor(double rateHz) const;
    void announce(const News& news, const OnResult& onResult);
    void announceRow(const OnResult& onResult);
    [[nodiscard]] std::span<const float> usableWhirl(std::span<const float> row) const;
    void joinOrders(std::size_t signal);
    void joinTimes(std::size_t signal);
    void joinWhirl();
    [[nodiscard]] SignalResults signalResults(std::size_t signal) const;
    void addWhirl(AnalysisResults& results) const;
    [[nodiscard]] std::size_t usableOrders() const;

    AnalysisSettings settings_;
    std::size_t channels_;
    Pass pass_;
    std::size_t guardBins_; ///< at either end of the library's axis
    std::size_t bins_;      ///< of that axis
    AnyAnalyzer analyzer_;
    AnalyzerSetup setup_;
    AnalyzerSizes sizes_;
    std::size_t lines_;
    std::size_t timeLines_;

    bool begun_ = false; ///< a stretch has begun since initiate()
    double stretchSeconds_ = 0.0;
    std::vector<Tables> joined_; ///< shape (channels)
    std::vector<float> joinedWhirl_;
    BlockCounts joinedBlocks_;
    BlockCounts newBlocks_;                           ///< of the stretch in hand
    std::vector<std::complex<float>> blockHarmonics_; ///< of the block that is announced
};

} // namespace Harmotrack::Host
