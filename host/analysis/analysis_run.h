#pragma once

#include "host/analysis/analysis_results.h"
#include "host/analysis/analysis_settings.h"
#include "host/shaft/angle_knot.h"
#include "host/shaft/pulse_detector.h"
#include "host/shaft/shaft_angle.h"
#include "host/shaft/speed_profile.h"
#include "host/shaft/tacho_settings.h"
#include "host/signals/uniform_signal.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// What a run takes: one or two channels, sampled together, and one source of the shaft's angle.
struct RunInput {
    double rateHz = 0.0;       ///< of the channels, above 0
    double startSeconds = 0.0; ///< time of their first sample
    std::size_t channels = 1;  ///< 1 or 2

    /// A tacho: its channel of the same rate and start (feedTacho), or the times of its pulses
    /// (feedPulses, feedEdges).
    std::optional<TachometerSettings> tachometer;
    /// A speed over time, measured or estimated by a tracker (feedSpeed).
    std::optional<SpeedProfileSettings> speed;
    // With neither, knots of the angle come from elsewhere (feedKnots).
};

/// What a run tells while it goes on; any of them may be empty. An exception thrown in one ends the
/// run and reaches the caller of feed...() or finish().
struct RunCallbacks {
    std::function<void(const BlockResult&)> onResult;
    std::function<void(const EqualAngleSamples&)> onAngleSignal;
    std::function<void(const TachoEvent&)> onTachoEvent;
};

/// Analyses one or two signals, sampled together, against the rotation of a shaft.
///
///     tacho -> Tachometer ---> knots -> EqualAngleAxis -> steps -.
///     speed -> SpeedProfile -^                                   v
///     signals ---------------------------------> EqualAngleResampler -> equal-angle ring -.
///     signals -----------------------------------------------------> equal-time ring -----+
///     AnalysisResults, callbacks <------------------------------------- the library <-----'
///
/// In pieces, live or from a file:
///
///     AnalysisRun run(settings);
///     run.start({.rateHz = 51200.0, .channels = 2, .tachometer = tacho}, {.onResult = show});
///     for each chunk, of any size:
///         run.feedTacho(tachoSamples);
///         run.feed(signals);
///     for (const AnalysisResults& pass : run.finish()) ...
///
/// or at once, by run(). Both rings stand on one time axis; its zero is the first sample. The
/// library is called until each delivery is used up. A block counts only if all its samples were
/// measured and its angle known throughout: bins whose blocks would reach beyond an end of the
/// recording or of a segment of known angle stay empty, and nothing is padded. What comes out does
/// not depend on how the input was split, but for the moments of the callbacks.
///
/// Signals and angle need not come in step, but samples wait for their angle no longer than
/// kLongestWaitSeconds: where a shaft stands still, they are let go. Memory does not grow with
/// time, except that of AnalysisSettings.keepAngleSignal.
///
/// One signal runs in mode 0, two run in mode 1. An object serves one thread at a time; several may
/// run in parallel.
class AnalysisRun {
public:
    /// Called now and then with the share of the run that is done, 0 to 1. An exception thrown here
    /// ends the run and reaches the caller.
    using Progress = std::function<void(double)>;

    static constexpr double kLongestWaitSeconds = 60.0;

    /// @throws HostError  the settings are out of range
    explicit AnalysisRun(AnalysisSettings settings);
    ~AnalysisRun();
    AnalysisRun(AnalysisRun&&) noexcept;
    AnalysisRun& operator=(AnalysisRun&&) noexcept;

    /// The whole of a recording.
    ///
    /// @param signals  1 or 2, with equal start, rate and length
    /// @param angle    of the shaft, on the time axis of the signals
    /// @throws HostError  no signal or more than two, a sample that is not finite, two-sided
    /// results
    ///                    of one signal, an order beyond 0.45 of the sampling rate, a recording too
    ///                    short for a block, passes apart, FFTW missing, memory exhausted
    [[nodiscard]] AnalysisResults run(std::span<const UniformSignal> signals,
                                      const ShaftAngle& angle,
                                      const Progress& progress = {}) const;

    /// The same with an angle of any number of segments, and with passes together (one element) or
    /// apart (rising, falling).
    [[nodiscard]] std::vector<AnalysisResults> runPasses(std::span<const UniformSignal> signals,
                                                         std::span<const AngleKnot> knots,
                                                         const Progress& progress = {}) const;

    /// Begins a run in pieces, and gives up one that was not finished.
    /// @throws HostError  an input that the settings don't allow, FFTW missing, memory exhausted
    void start(const RunInput& input, RunCallbacks callbacks = {});

    /// @param samples     one span a channel, of equal length
    /// @throws HostError  not started, another number of spans, a sample that is not finite (then
    ///                    nothing is taken), a speed at which an order asked for lies beyond 0.45
    ///                    of the sampling rate
    void feed(std::span<const std::span<const double>> samples);

    /// The time stamp of the sample that will be fed next: the sampling rate is checked against
    /// them, and a remark stands in the results.
    void feedStamp(double seconds);

    // The angle, by the one source that start() was told.
    void feedTacho(std::span<const double> samples);
    void feedPulses(std::span<const double> seconds); ///< flanks of one kind
    void feedEdges(std::span<const PulseEdge> edges); ///< flanks that know their kind
    void feedSpeed(std::span<const double> seconds, std::span<const double> speedRpm);
    void feedKnots(std::span<const AngleKnot> knots);

    /// Ends the run.
    /// @return  tables of the one pass, or of the rising and the falling one
    /// @throws HostError  not started, or a recording too short for a block
    [[nodiscard]] std::vector<AnalysisResults> finish();

private:
    class Stream;

    [[nodiscard]] Stream& stream();

    AnalysisSettings settings_;
    std::unique_ptr<Stream> stream_;
};

} // namespace Harmotrack::Host
