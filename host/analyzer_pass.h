#pragma once

#include "host/analysis_results.h"
#include "host/analysis_rings.h"
#include "host/analysis_settings.h"
#include "host/analyzer_lease.h"

#include <cstddef>
#include <functional>
#include <vector>

namespace Harmotrack::Host {

/// One analyzer of the library over the two rings: sets it up, lets it take what is delivered, and
/// gathers its tables over all stretches of known angle.
///
/// The library starts anew with each stretch, so that no block spans two of them, and what it found
/// in each is joined here as AnalysisSettings.averaging says.
///
/// In BlockMode::Contiguous the library's axis has a bin more at either end: its first bin reaches
/// further down than the others, and all that were asked for are to be even.
class AnalyzerPass {
public:
    using OnResult = std::function<void(const BlockResult&)>;

    /// @throws HostError  FFTW missing
    AnalyzerPass(const AnalysisSettings& settings,
                 std::size_t channels,
                 double rateHz,
                 double startSeconds,
                 Pass pass);

    [[nodiscard]] std::size_t orderBlockSamples() const;
    [[nodiscard]] std::size_t timeBlockSamples() const;

    /// Once, after the rings have their memory. @throws HostError  memory exhausted
    void initiate(const AnalysisRings& rings);

    /// A stretch begins; the rings have been restarted.
    void beginStretch(const AnalysisRings& rings);

    /// Samples have been written: takes them to the end.
    void deliver(std::size_t angleSamples, std::size_t timeSamples, const OnResult& onResult);

    /// The stretch ends: its results are joined with those before.
    void endStretch();

    [[nodiscard]] AnalysisResults results() const;

private:
    // Tables of one signal, as the library has them: all bins, all lines.
    struct Tables {
        std::vector<float> orders;
        std::vector<float> times;
        std::vector<float> overall;
        std::vector<std::complex<float>> harmonics; ///< shape (bins, harmonics)
    };

    void fillSetups();
    void checkMemory() const;
    [[nodiscard]] std::int32_t which(std::size_t signal) const;
    void readOrderRow(Tables& to, std::size_t signal, std::size_t bin) const;
    void readTimeRow(Tables& to, std::size_t signal, std::size_t bin) const;
    void announce(const CalculationResult& result, const OnResult& onResult);
    void announceRow(const OnResult& onResult);
    void join(std::size_t bin);
    [[nodiscard]] SignalResults signalResults(std::size_t signal) const;
    void addWhirl(AnalysisResults& results) const;
    [[nodiscard]] std::size_t usableOrders() const;

    AnalysisSettings settings_;
    std::size_t channels_;
    double startSeconds_;
    Pass pass_;
    AnalyzerLease lease_;

    std::size_t guardBins_; ///< at either end of the library's axis
    std::size_t bins_;      ///< of that axis
    std::size_t lines_ = 0;
    std::size_t timeLines_ = 0;

    std::vector<Tables> joined_; ///< of all stretches that have ended
    std::vector<Tables> newest_; ///< of the stretch in hand, read where needed
    std::vector<float> joinedWhirl_;
    std::vector<float> newestWhirl_;
    std::vector<float> row_;
    std::vector<int> orderBlocks_, timeBlocks_;       ///< shape (bins_), of all ended stretches
    std::vector<int> newOrderBlocks_, newTimeBlocks_; ///< of the stretch in hand
};

} // namespace Harmotrack::Host
