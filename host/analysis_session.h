#pragma once

#include "host/analysis_results.h"
#include "host/analysis_settings.h"
#include "host/analyzer_lease.h"
#include "host/equal_angle_axis.h"
#include "host/equal_angle_resampler.h"
#include "host/uniform_signal.h"

#include <array>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// One pass of a recording through the library: owns the two rings and the lease of the analyzer,
/// sets it up, delivers, and reads the tables. The checks of what comes in are AnalysisRun's; the
/// arguments are kept by reference and must outlive the session.
///
/// In BlockMode::Contiguous an analyzer that saw the speed leave its axis would make up for the
/// blocks it missed, from samples that the ring no longer holds. So its axis is extended by whole
/// bins to all speeds of the run, and the tables are cut to the bins that were asked for.
class AnalysisSession {
public:
    /// @throws HostError  FFTW missing, memory exhausted, a recording shorter than a time block
    AnalysisSession(const AnalysisSettings& settings,
                    std::span<const UniformSignal> signals,
                    const EqualAngleAxis& axis,
                    const EqualAngleResampler& resampler);

    /// Delivers the whole recording; `progress` hears of the share that is done.
    void walk(const std::function<void(double)>& progress);

    [[nodiscard]] AnalysisResults results() const;

private:
    using Ring = std::vector<double>;

    struct RingSizes {
        std::size_t angle = 0;
        std::size_t time = 0;
    };

    void extendAxis();
    void fillSetups();
    void checkTimeBlock() const;
    [[nodiscard]] RingSizes ringSizes() const;
    void makeRings();
    void initiateLibrary();
    void deliver(std::size_t timeEnd, std::size_t angleEnd);
    void writeTimeSamples(std::size_t timeEnd);
    void writeAngleSamples(std::size_t angleEnd);
    void takeResults();
    [[nodiscard]] SignalResults signalResults(int which) const;
    void addWhirl(AnalysisResults& results) const;

    const AnalysisSettings& settings_;
    std::span<const UniformSignal> signals_;
    const EqualAngleAxis& axis_;
    const EqualAngleResampler& resampler_;

    AnalyzerLease lease_;
    std::size_t deliverySamples_;
    int binsBelow_ = 0; ///< bins of the extended axis below the first one asked for
    int allBins_ = 0;   ///< bins of the extended axis

    // Sample k, counted from 0, stands in slot k % size of its ring.
    std::array<Ring, 2> angleSignals_;
    Ring binSignal_;
    Ring frequency_;
    Ring angle_;
    Ring time_;
    std::array<Ring, 2> timeSignals_;
    std::size_t angleWritten_ = 0;
    std::size_t timeWritten_ = 0;

    std::vector<int> orderBlocks_; ///< shape (allBins_)
    std::vector<int> timeBlocks_;  ///< likewise
};

} // namespace Harmotrack::Host
