/// @file
/// Harmotrack for C++20: analyzers and trackers that are safe to use, over the C boundary of
/// harmotrack.h. Header-only.
///
///     Harmotrack::AnalyzerSetup setup;
///     setup.sampleRate = 25600.0;
///     setup.binning = {.minValue = 600, .maxValue = 6000, .step = 50};
///     setup.orders = {.orderResolution = 0.1F, .maxOrder = 50, .harmonicOrders = {1, 2}};
///     setup.results = {.binHarmonics = true, .binOrderSpectrum = true};
///
///     Harmotrack::Analyzer<Harmotrack::Mode::OneReal> analyzer;
///     analyzer.setUp(setup);
///     for each delivery of samples:
///         analyzer.feed(angleSamples, timeSamples);
///         while (const auto news = analyzer.next())
///             if (news->binOrderSpectrum) show(analyzer.binOrderSpectrum(news->bin));
///
/// What the fields of setups and the results mean is told in harmotrack.h, under the same names.
///
/// WHAT IT ADDS
///   - Setups are structs with defaults; validate() checks them. Whatever the C boundary leaves
///     undefined is checked before it is called, and ends in an Error with one sentence: calling
///     order, ring sizes, samples that are not numbers, results that were not asked for.
///   - The rings, the tables and the records that the library keeps pointers to belong to the
///     object and live as long as it needs them.
///   - destroy() leaves working memory behind, so no handle is ever destroyed: it goes back to a
///     pool of idle handles, detached from all memory of its last user, and the next object takes
///     it from there. A process needs as many handles as work at the same time. What such a handle
///     computes is equal to the bit to what a new one computes.
///   - The library of the Fourier transforms is opened before the first analyzer is made, and the
///     kernels of decimating trackers are loaded once before any of them runs. If either is
///     missing, an Error says so.
///
/// WHERE THE LIBRARY COMES FROM. A program that links it has nothing to do. A program that can not,
/// since it has functions called create or reset of its own, defines HARMOTRACK_NO_PROTOTYPES
/// before this header and calls load() once, before anything else.
///
/// TRANSFORMS. The library does them with FFTW 3, which is under the GPL, or with one of ours that
/// stands in for it, under the MIT licence: docs/transform.md of the sources tells what either
/// means for a program. Left alone, the first analyzer takes FFTW where there is one; load() or
/// useTransform() chooses, and transformInUse() tells.
///
/// THREADS. One thread at a time per object; different objects are independent, and any thread may
/// make, set up and end them. Under each function stands the line that harmotrack.h describes.
/// Whatever throws an Error does so if the object is not set up, too.
///
/// MEMORY. setUp() allocates everything, feed() and next() nothing but what the library itself
/// does (see calculate() in harmotrack.h). If memory runs out in setUp(), restart() or reset(), an
/// Error says so, and a handle whose setting up failed is not used again. FFTW itself does not
/// report it but ends the process: what it takes for planning is therefore reserved before it is
/// called, which rules that out unless other threads take the last memory in the meantime. What it
/// takes for a transform it takes in next(), where nothing stands between: nothing at most block
/// sizes, up to 6 complex blocks at others, as those with a prime factor above 13. The own
/// transform reports it when it is planned, and takes nothing in next().
#ifndef HARMOTRACK_HARMOTRACK_HPP
#define HARMOTRACK_HARMOTRACK_HPP

#include <harmotrack/detail/analyzer_state.hpp>
#include <harmotrack/detail/library.hpp>
#include <harmotrack/detail/tracker_state.hpp>
#include <harmotrack/setups.hpp>

#include <complex>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace Harmotrack {

/// Chooses the library that does the Fourier transforms. To be called before the first analyzer is
/// made, and before anything else in the process loads FFTW: the first one that is loaded serves
/// all. If it throws, nothing is chosen. Automatic leaves the choice to the first analyzer.
///
/// @throws Error  the library is not loaded; no such transform; another one is loaded already
///
/// Threads: any. Allocates: yes. Throws: Error. Realtime: no.
inline void useTransform(Transform transform)
{
    Detail::Library::withSentence([&] { Detail::Library::instance().useTransform(transform); });
}

/// The library that does the Fourier transforms. It is loaded, if no analyzer has been made yet.
///
/// @throws Error  the library is not loaded; there is no transform
///
/// Threads: any. Allocates: yes. Throws: Error. Realtime: no.
inline TransformInUse transformInUse()
{
    return Detail::Library::withSentence(
        [] { return Detail::Library::instance().transformInUse(); });
}

/// Takes the library from a file instead of from the linker. To be called once, before anything
/// else; again with the same file it does nothing. The library stays loaded.
///
/// @param pathUtf8  as the system's loader takes it, in UTF-8
/// @param transform  as useTransform() takes it
/// @throws Error  no such library, or another one is in use already; see useTransform()
///
/// Threads: any. Allocates: yes. Throws: Error. Realtime: no.
inline void load(const std::string& pathUtf8, Transform transform = Transform::Automatic)
{
    Detail::Library::instance().load(pathUtf8);
    useTransform(transform);
}

/// Analyzers of a mode. `made` and `abandoned` count those of all modes.
///
/// Threads: any. Allocates: no. Throws: no. Realtime: no.
inline PoolCounts analyzerPool(Mode mode)
{
    return Detail::Library::instance().analyzers(mode);
}

/// Trackers.
///
/// Threads: any. Allocates: no. Throws: no. Realtime: no.
inline PoolCounts trackerPool()
{
    return Detail::Library::instance().trackers();
}

/// An order analyzer whose mode is chosen at run time; see the head of this file for a session.
///
/// Results of bins may be read at any time after setUp(); they are 0 where nothing was stored yet.
/// A span shows what was there when it was asked for, or what is newer, and holds until the next
/// call of the same function, of setUp(), reset() or restart(), or until the end of the analyzer.
class AnyAnalyzer {
public:
    /// Makes no handle yet: setUp() takes one.
    ///
    /// Threads: any. Allocates: no. Throws: no. Realtime: yes.
    explicit AnyAnalyzer(Mode mode) : mode_(mode) {}

    /// What is being taken in.
    ///
    /// Threads: own. Allocates: no. Throws: no. Realtime: yes.
    [[nodiscard]] Mode mode() const { return mode_; }

    /// What follows from a setup; allocates none of it.
    ///
    /// @throws Error  see AnalyzerSetup::validate(); a ring too short; FFTW missing
    ///
    /// Threads: any. Allocates: yes. Throws: Error. Realtime: no.
    [[nodiscard]] AnalyzerSizes sizesOf(const AnalyzerSetup& setup) const
    {
        return Detail::Library::withSentence([&] {
            setup.validate(mode_);
            return Detail::AnalyzerState(mode_, setup).sizes();
        });
    }

    /// Takes a handle, sets it up and starts the first run. The analyzer may have been set up
    /// before: that is forgotten. If it throws, the analyzer is not set up, unless the setup itself
    /// was wrong: then it is as it was.
    ///
    /// @throws Error  see AnalyzerSetup::validate(); a ring too short; FFTW missing; memory
    /// exhausted
    ///
    /// Threads: own. Allocates: yes. Throws: Error. Realtime: no.
    void setUp(const AnalyzerSetup& setup)
    {
        Detail::Library::withSentence([&] {
            setup.validate(mode_);
            state_.reset(); // its handle may serve again at once
            auto state = std::make_unique<Detail::AnalyzerState>(mode_, setup);
            state->initiate();
            state_ = std::move(state);
        });
    }

    /// Whether there is a setup.
    ///
    /// Threads: own. Allocates: no. Throws: no. Realtime: yes.
    [[nodiscard]] bool isSetUp() const { return state_ != nullptr; }

    /// The setup.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] const AnalyzerSetup& setup() const { return state().setup(); }

    /// What follows from the setup.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] const AnalyzerSizes& sizes() const { return state().sizes(); }

    /// Starts another run with the same setup, on another stream of samples: nothing of the run
    /// before is left. It costs what setUp() costs without the rings and tables.
    ///
    /// @throws Error  memory exhausted; the analyzer must be set up anew then
    ///
    /// Threads: own. Allocates: yes. Throws: Error. Realtime: no.
    void restart()
    {
        Detail::Library::withSentence([this] { state().startAgain(false); });
    }

    /// Starts another run within the same stream: results are cleared and no block triggered before
    /// counts, while the samples that still wait are taken as the first of the new run. Results
    /// that next() has not given yet are lost. The cost is that of restart().
    ///
    /// @throws Error  memory exhausted; the analyzer must be set up anew then
    ///
    /// Threads: own. Allocates: yes. Throws: Error. Realtime: no.
    void reset()
    {
        Detail::Library::withSentence([this] { state().startAgain(true); });
    }

    /// Most equal-angle samples that the next feed() may bring. Less than largestDelivery if
    /// equal-angle samples wait for equal-time samples that have not come.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] int angleRoom() const { return state().angleRoom(); }

    /// Takes a delivery of samples. Call next() afterwards until it returns nothing.
    ///
    /// @param angle  new samples at equal angles; none are allowed
    /// @param time   those that came in the same time; none without results that need them
    /// @throws Error  columns of different lengths; values that are not finite, angles off the
    ///                circle, times that do not rise; more samples than there is room for; results
    ///                not taken: then nothing has happened. With BlockMode::Contiguous, a value
    ///                that comes back to the axis after more samples than the ring holds: then the
    ///                run is over
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    void feed(const AngleSamples& angle, const TimeSamples& time = {})
    {
        state().feed(angle, time);
    }

    /// Goes on to the next result, and tells which; nothing if all samples that can be taken are
    /// taken. A run ends with half a block unread, unless some more samples follow.
    ///
    /// @throws Error  not set up; memory exhausted, with harmonics
    ///
    /// Threads: own. Allocates: with harmonics. Throws: Error. Realtime: without harmonics.
    std::optional<News> next() { return state().next(); }

    // Results of bins -----------------------------------------------------------------------------

    /// A harmonic over the bins, shape (bins), in the signal's unit.
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] std::span<const std::complex<float>>
    binHarmonics(int harmonic, Signal signal = Signal::First) const
    {
        return state().binHarmonics(harmonic, signal);
    }

    /// The order spectrum of a bin, shape (orderLines): line k is order k * orderResolution. With
    /// twoSided it ascends from order -maxOrder, and order 0 is at orderBlock / 2.
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] std::span<const float> binOrderSpectrum(int bin,
                                                          Signal signal = Signal::First) const
    {
        return state().binOrderSpectrum(bin, signal);
    }

    /// The two senses of rotation at a bin, shape (orderBlock - 1): order 0 is at
    /// orderBlock / 2 - 1, what turns with the shaft after it.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] std::span<const float> binOrderTwoSided(int bin) const
    {
        return state().binOrderTwoSided(bin);
    }

    /// The frequency spectrum of a bin, shape (timeLines): line k is k * timeResolution Hz.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] std::span<const float> binTimeSpectrum(int bin,
                                                         Signal signal = Signal::First) const
    {
        return state().binTimeSpectrum(bin, signal);
    }

    /// The two-sided frequency spectrum of a bin, shape (timeBlock - 1): 0 Hz is at
    /// timeBlock / 2 - 1.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] std::span<const float> binTimeTwoSided(int bin) const
    {
        return state().binTimeTwoSided(bin);
    }

    /// Overall levels, shape (bins): RMS in the signal's unit; NaN with Window::Exponential.
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] std::span<const float> overall(Signal signal = Signal::First) const
    {
        return state().overall(signal);
    }

    // Other results -------------------------------------------------------------------------------

    /// The newest order spectrum by sample count, shape (orderLines), as binOrderSpectrum().
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] Row timeOrderSpectrum(Signal signal = Signal::First) const
    {
        return state().timeOrderSpectrum(signal);
    }

    /// The same of the two senses of rotation, shape (orderBlock - 1), as binOrderTwoSided().
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] Row timeOrderTwoSided() const { return state().timeOrderTwoSided(); }

    /// Harmonics of the delta period that ended last, or of the one that runs, shape (harmonics).
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] DeltaValues deltaHarmonics(Signal signal = Signal::First) const
    {
        return state().deltaHarmonics(signal);
    }

    /// The order spectrum of that period, shape (orderBlock / 2): line k is order
    /// k * orderResolution. With twoSided the library hands out the first half of these lines
    /// alone.
    ///
    /// Threads: own. Allocates: at the first call. Throws: Error. Realtime: after the first call.
    [[nodiscard]] std::span<const std::complex<float>>
    deltaOrderSpectrum(Signal signal = Signal::First) const
    {
        return state().deltaOrderSpectrum(signal);
    }

    /// Turns since the start of the run.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] Turns turns() const { return state().turns(); }

    /// The newest speed; nothing before the run's first News::rpmUpdated.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] std::optional<Speed> speed() const { return state().speed(); }

private:
    [[nodiscard]] Detail::AnalyzerState& state() const
    {
        Detail::requireThat(state_ != nullptr, "The analyzer is not set up: call setUp() first.");
        return *state_;
    }

    Mode mode_;
    std::unique_ptr<Detail::AnalyzerState> state_;
};

/// An order analyzer of a mode: AnyAnalyzer tells what it does.
template <Mode itsMode>
class Analyzer : public AnyAnalyzer {
public:
    /// Makes no handle yet.
    ///
    /// Threads: any. Allocates: no. Throws: no. Realtime: yes.
    Analyzer() : AnyAnalyzer(itsMode) {}

    /// Takes a handle and sets it up.
    ///
    /// @throws Error  as setUp()
    ///
    /// Threads: any. Allocates: yes. Throws: Error. Realtime: no.
    explicit Analyzer(const AnalyzerSetup& setup) : AnyAnalyzer(itsMode) { setUp(setup); }
};

/// Estimates the rotation frequency from one signal alone; harmotrack.h says how to set it up so
/// that it finds the machine.
///
///     Harmotrack::TrackerSetup setup;
///     setup.sampleRate = 25600.0;
///     setup.orders = {1, 2, 3};
///     setup.minFrequency = 600.0;
///     setup.maxFrequency = 6000.0;
///     Harmotrack::Autotracker tracker(setup);
///     for each delivery of samples:
///         tracker.feed(samples);
///         while (const auto estimate = tracker.next()) show(estimate->time, estimate->frequency);
///
/// A tracker that decimates loses the 160 bytes of its filter's coefficients at each setUp().
class Autotracker {
public:
    /// Makes no handle yet.
    ///
    /// Threads: any. Allocates: no. Throws: no. Realtime: yes.
    Autotracker() = default;

    /// Takes a handle and sets it up.
    ///
    /// @throws Error  as setUp()
    ///
    /// Threads: any. Allocates: yes. Throws: Error. Realtime: no.
    explicit Autotracker(const TrackerSetup& setup) { setUp(setup); }

    /// Takes a handle, sets it up and starts the first run. The tracker may have been set up
    /// before: that is forgotten. If it throws, the tracker is not set up, unless the setup itself
    /// was wrong: then it is as it was.
    ///
    /// @throws Error  see TrackerSetup::validate(); the ring too short; no kernel library, if the
    ///                signal is to be decimated; memory exhausted
    ///
    /// Threads: own. Allocates: yes. Throws: Error. Realtime: no.
    void setUp(const TrackerSetup& setup)
    {
        Detail::Library::withSentence([&] {
            setup.validate();
            state_.reset(); // its handle may serve again at once
            auto state = std::make_unique<Detail::TrackerState>(setup);
            state->initiate();
            state_ = std::move(state);
        });
    }

    /// Whether there is a setup.
    ///
    /// Threads: own. Allocates: no. Throws: no. Realtime: yes.
    [[nodiscard]] bool isSetUp() const { return state_ != nullptr; }

    /// The setup, with the numbers that the library has chosen if not manualParameters.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] const TrackerSetup& setup() const { return state().setup(); }

    /// Samples of the signal for one that the tracker works on.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] int decimation() const { return state().decimation(); }

    /// Samples of a block, after decimation.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    [[nodiscard]] int blockSamples() const { return state().blockSamples(); }

    /// Starts another run with the same setup, on another stream of samples.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    void restart() { state().restart(); }

    /// Starts tracking anew within the same stream; time goes on.
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    void reset() { state().reset(); }

    /// Starts tracking anew within the same stream, round a frequency, until the next reset() or
    /// restart().
    ///
    /// @throws Error  not set up; a frequency below 0 or not finite
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    void startAt(double frequency) { state().startAt(frequency); }

    /// Takes a delivery of samples. Call next() afterwards until it returns nothing.
    ///
    /// @throws Error  more than largestDelivery; values that are not finite; estimates not taken:
    ///                then nothing has happened
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    void feed(std::span<const double> samples) { state().feed(samples); }

    /// The next estimate; nothing if no further whole block is waiting. A block in which no
    /// frequency stands out repeats the estimate before it.
    ///
    /// @throws Error  not set up
    ///
    /// Threads: own. Allocates: no. Throws: Error. Realtime: yes.
    std::optional<Estimate> next() { return state().next(); }

private:
    [[nodiscard]] Detail::TrackerState& state() const
    {
        Detail::requireThat(state_ != nullptr, "The tracker is not set up: call setUp() first.");
        return *state_;
    }

    std::unique_ptr<Detail::TrackerState> state_;
};

} // namespace Harmotrack

#endif
