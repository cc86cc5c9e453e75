/// @file
/// What an analyzer consists of once it is set up.
#ifndef HARMOTRACK_DETAIL_ANALYZER_STATE_HPP
#define HARMOTRACK_DETAIL_ANALYZER_STATE_HPP

#include <harmotrack/detail/library.hpp>
#include <harmotrack/detail/records.hpp>
#include <harmotrack/detail/rings.hpp>
#include <harmotrack/detail/setup_checks.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack {

namespace Detail {

/// An analyzer's handle for as long as it is in use.
struct AnalyzerLease {
    explicit AnalyzerLease(Mode itsMode)
        : mode(itsMode), handle(Library::instance().takeAnalyzer(itsMode))
    {
    }

    ~AnalyzerLease() { Library::instance().giveBack(handle, mode, fit); }

    AnalyzerLease(const AnalyzerLease&) = delete;
    AnalyzerLease& operator=(const AnalyzerLease&) = delete;

    const Mode mode;
    const AnalyzerHandle handle;
    bool fit = true; ///< no initiate() failed
};

/// An analyzer with all that its handle points to: made by setUp(), and never moved.
class AnalyzerState {
public:
    AnalyzerState(Mode mode, const AnalyzerSetup& setup)
        : mode_(mode), setup_(setup), c_(Library::instance().functions()), records_(setup_),
          rings_(mode, setup_, sizes_)
    {
        lease_.emplace(mode_);
        prepare();
        deriveSizes();
    }

    /// Allocates everything and starts the first run.
    void initiate()
    {
        try {
            rings_.allocate();
            makeTables();
        } catch (const std::bad_alloc&) {
            throw memoryRanOut();
        } catch (const std::length_error&) {
            throw memoryRanOut();
        }
        startRun();
    }

    /// Another run, of the same setup. Everything is initiated anew, since reset() alone leaves too
    /// much of the run before.
    ///
    /// @param streamGoesOn  the rings keep their samples; else they are empty
    void startAgain(bool streamGoesOn)
    {
        requireFit();
        lease_->fit = detach(c_, lease_->handle);
        if (!lease_->fit) throw memoryRanOut();
        if (!streamGoesOn) rings_.clear();
        prepare();
        startRun();
    }

    void feed(const AngleSamples& angle, const TimeSamples& time)
    {
        requireRunning();
        requireThat(drained_,
                    "The results of the last delivery are not all taken: call next() until it "
                    "returns nothing, then feed().");
        rings_.check(angle, time);
        rings_.write(angle, time);
        c_.updateBuffers(lease_->handle,
                         static_cast<std::int32_t>(angle.time.size()),
                         static_cast<std::int32_t>(time.signalA.size()));
        drained_ = false;
        rings_.followWalk();
    }

    std::optional<News> next()
    {
        requireRunning();
        while (!drained_) {
            CalculationResult result{};
            try {
                result = c_.calculate(lease_->handle);
            } catch (const std::bad_alloc&) {
                throw Error("Memory ran out for the harmonics of a block; the next call of next() "
                            "tries it again.");
            }
            drained_ = result.consumed != 0;
            if (result.rpmUpdated != 0) speedIsKnown_ = true;
            if (!drained_ || result.turnsUpdated != 0 || result.rpmUpdated != 0)
                return newsOf(result);
        }
        return std::nullopt;
    }

    [[nodiscard]] int angleRoom() const { return rings_.angleRoom(); }

    [[nodiscard]] const AnalyzerSetup& setup() const { return setup_; }

    [[nodiscard]] const AnalyzerSizes& sizes() const { return sizes_; }

    // ---- results ----

    std::span<const std::complex<float>> binHarmonics(int harmonic, Signal signal)
    {
        requireAsked(setup_.results.binHarmonics, "binHarmonics");
        const int which = whichOf(signal);
        const auto count = setup_.orders.harmonicOrders.size();
        require(harmonic >= 0 && static_cast<std::size_t>(harmonic) < count,
                "The harmonic",
                harmonic,
                "there are " + std::to_string(count) + ", from 0 on");
        auto& values = harmonics_[set(signal)];
        values.resize(static_cast<std::size_t>(sizes_.bins));
        for (int bin = 0; bin < sizes_.bins; ++bin)
            c_.readOrderDomainHarmonic(lease_->handle, harmonic, bin, floats(values), which);
        return values;
    }

    std::span<const float> binOrderSpectrum(int bin, Signal signal)
    {
        requireAsked(setup_.results.binOrderSpectrum, "binOrderSpectrum");
        requireHeld(signal);
        const std::span<const float> row = tableRow(OrderA + set(signal), bin, sizes_.orderLines);
        if (!setup_.analysis.twoSided) return row;
        ascending_.resize(row.size());
        std::rotate_copy(row.begin(),
                         row.begin() + static_cast<std::ptrdiff_t>(row.size() / 2),
                         row.end(),
                         ascending_.begin());
        return ascending_;
    }

    std::span<const float> binOrderTwoSided(int bin)
    {
        requireAsked(setup_.results.binOrderTwoSided, "binOrderTwoSided");
        return tableRow(OrderTwoSided, bin, sizes_.orderBlock - 1);
    }

    Row timeOrderSpectrum(Signal signal)
    {
        requireAsked(setup_.results.timeOrderSpectrum, "timeOrderSpectrum");
        const int which = whichOf(signal);
        auto& values = rows_[set(signal)];
        values.resize(static_cast<std::size_t>(sizes_.orderLines));
        double time = 0.0;
        c_.readOrderDomainTimeWaterfall(lease_->handle, values.data(), &time, which);
        return {values, time};
    }

    Row timeOrderTwoSided()
    {
        requireAsked(setup_.results.timeOrderTwoSided, "timeOrderTwoSided");
        auto& values = rows_[2];
        values.resize(static_cast<std::size_t>(sizes_.orderBlock) - 1);
        double time = 0.0;
        c_.readOrderDomainTimeWaterfallTwoSided(lease_->handle, values.data(), &time);
        return {values, time};
    }

    std::span<const float> binTimeSpectrum(int bin, Signal signal)
    {
        requireAsked(setup_.results.binTimeSpectrum, "binTimeSpectrum");
        requireHeld(signal);
        return tableRow(TimeA + set(signal), bin, sizes_.timeLines);
    }

    std::span<const float> binTimeTwoSided(int bin)
    {
        requireAsked(setup_.results.binTimeTwoSided, "binTimeTwoSided");
        return tableRow(TimeTwoSided, bin, sizes_.timeBlock - 1);
    }

    DeltaValues deltaHarmonics(Signal signal)
    {
        requireAsked(setup_.results.deltaHarmonics, "deltaHarmonics");
        const int which = whichOf(signal);
        auto& values = deltaHarmonics_[set(signal)];
        values.resize(setup_.orders.harmonicOrders.size());
        double time = 0.0;
        c_.readOrderDomainHarmonicsTimeDelta(lease_->handle, floats(values), &time, which);
        return {values, time};
    }

    std::span<const std::complex<float>> deltaOrderSpectrum(Signal signal)
    {
        requireAsked(setup_.results.deltaOrderSpectrum, "deltaOrderSpectrum");
        const int which = whichOf(signal);
        auto& values = deltaSpectra_[set(signal)];
        values.assign(static_cast<std::size_t>(sizes_.orderLines), {});
        c_.readOrderSpectrumTimeDelta(lease_->handle, floats(values), which);
        const std::span<const std::complex<float>> lines = values;
        if (!setup_.analysis.twoSided) return lines;
        // A half as many floats as lines arrive, which is the first half of them.
        return lines.subspan(lines.size() / 2, lines.size() / 4);
    }

    std::span<const float> overall(Signal signal)
    {
        requireAsked(setup_.results.overall, "overall");
        const int which = whichOf(signal);
        auto& levels = levels_[set(signal)];
        levels.resize(static_cast<std::size_t>(sizes_.bins));
        for (int bin = 0; bin < sizes_.bins; ++bin)
            c_.readOverall(lease_->handle, bin, levels.data(), which);
        return levels;
    }

    [[nodiscard]] Turns turns() const
    {
        std::int32_t count = 0;
        double time = 0.0;
        c_.readTurns(lease_->handle, &count, &time);
        // detach() makes results dirty, so a run begins at 0; only the difference counts anyway.
        return {count - turnsAtStart_, count == turnsAtStart_ ? 0.0 : time};
    }

    [[nodiscard]] std::optional<Speed> speed() const
    {
        if (!speedIsKnown_) return std::nullopt;
        Speed speed;
        c_.readRPM(lease_->handle, &speed.rpm, &speed.time);
        return speed;
    }

private:
    enum Table : std::size_t { OrderA, OrderB, OrderTwoSided, TimeA, TimeB, TimeTwoSided };

    static std::size_t set(Signal signal) { return signal == Signal::First ? 0 : 1; }

    static float* floats(std::vector<std::complex<float>>& values)
    {
        return reinterpret_cast<float*>(values.data()); // two floats each, by the standard
    }

    [[nodiscard]] Error memoryRanOut() const
    {
        return Error("Memory ran out for " + std::to_string(sizes_.bins) +
                     " bins with order blocks of " + std::to_string(sizes_.orderBlock) +
                     " samples.");
    }

    void requireFit() const
    {
        requireThat(lease_->fit, "Memory ran out in this analyzer before: set it up anew.");
    }

    void requireRunning() const
    {
        requireFit();
        requireThat(!rings_.ended(), "The run ended with an error: call restart() or reset().");
    }

    static void requireAsked(bool asked, const char* name)
    {
        if (!asked)
            throw Error(std::string("results.") + name +
                        " is not set in the setup, so there is no such result.");
    }

    void requireHeld(Signal signal) const
    {
        requireFit();
        requireThat(signal == Signal::First || mode_ == Mode::TwoReal,
                    "Signal::Second is asked for, and only Mode::TwoReal has two.");
    }

    /// The library's number of a signal.
    [[nodiscard]] int whichOf(Signal signal) const
    {
        requireHeld(signal);
        if (mode_ != Mode::TwoReal) return 0;
        return signal == Signal::First ? 1 : 2;
    }

    // ---- setting up ----

    void prepare()
    {
        c_.setBinningSetup(lease_->handle, &records_.binning);
        c_.setOrderSetup(lease_->handle, &records_.orders);
        c_.setAnalysisSetup(lease_->handle, &records_.analysis);
        c_.setParameters(lease_->handle, &records_.parameters);
        c_.setSampleRate(lease_->handle, setup_.sampleRate, 1);
        c_.setInputBufferLimit(lease_->handle, setup_.inputBufferLimit);
        c_.preinitiate(lease_->handle);
    }

    void deriveSizes()
    {
        sizes_.bins = c_.getBinCount(lease_->handle);
        sizes_.orderBlock = c_.getOrderFFTSize(lease_->handle);
        sizes_.orderLines = setup_.analysis.twoSided ? sizes_.orderBlock : sizes_.orderBlock / 2;
        sizes_.timeBlock = c_.getTimeFFTSize(lease_->handle);
        sizes_.timeLines = sizes_.timeBlock / 2;
        sizes_.timeResolution = c_.getTimeFFTResolution(lease_->handle);
        sizes_.timeBlockDuration = c_.getTimeFFTBlockDuration(lease_->handle);
        const RingLengths lengths(setup_, sizes_);
        sizes_.angleRing = lengths.angle();
        sizes_.timeRing = lengths.time();
    }

    void makeTables()
    {
        const Results& r = setup_.results;
        const bool second = mode_ == Mode::TwoReal;
        const auto make = [this](Table table, bool wanted, int columns) {
            if (wanted)
                tables_[table].resize(static_cast<std::size_t>(sizes_.bins) *
                                      static_cast<std::size_t>(columns));
        };
        make(OrderA, r.binOrderSpectrum, sizes_.orderLines);
        make(OrderB, r.binOrderSpectrum && second, sizes_.orderLines);
        make(OrderTwoSided, r.binOrderTwoSided, sizes_.orderBlock - 1);
        make(TimeA, r.binTimeSpectrum, sizes_.timeLines);
        make(TimeB, r.binTimeSpectrum && second, sizes_.timeLines);
        make(TimeTwoSided, r.binTimeTwoSided, sizes_.timeBlock - 1);
    }

    /// A table that no one asked for stays null: the library then keeps its own.
    float* cells(Table table) { return tables_[table].empty() ? nullptr : tables_[table].data(); }

    void handOver()
    {
        c_.setResampledBuffers(lease_->handle, rings_.angleRecord());
        c_.setTimeBuffers(lease_->handle, rings_.timeRecord());
        c_.setResultBuffers(lease_->handle,
                            {cells(OrderA),
                             cells(OrderB),
                             cells(OrderTwoSided),
                             cells(TimeA),
                             cells(TimeB),
                             cells(TimeTwoSided)});
    }

    void startRun()
    {
        handOver();
        std::int32_t error = 0;
        try {
            reserveForPlanning(static_cast<std::size_t>(sizes_.orderBlock) +
                               static_cast<std::size_t>(sizes_.timeBlock));
            c_.initiate(lease_->handle, &error);
        } catch (const std::bad_alloc&) {
            error = 1;
        } catch (const std::exception& failure) {
            lease_->fit = false;
            throw Error(std::string("The analyzer could not be set up: ") + failure.what());
        }
        if (error != 0) {
            lease_->fit = false;
            throw memoryRanOut();
        }
        c_.reset(lease_->handle);
        double time = 0.0;
        c_.readTurns(lease_->handle, &turnsAtStart_, &time);
        rings_.beginRun();
        speedIsKnown_ = false;
        drained_ = true;
    }

    [[nodiscard]] std::span<const float> tableRow(std::size_t table, int bin, int columns) const
    {
        requireFit();
        require(bin >= 0 && bin < sizes_.bins,
                "The bin",
                bin,
                "there are " + std::to_string(sizes_.bins) + ", from 0 on");
        const auto width = static_cast<std::size_t>(columns);
        return std::span(tables_[table]).subspan(static_cast<std::size_t>(bin) * width, width);
    }

    Mode mode_;
    AnalyzerSetup setup_;
    const Functions& c_;
    AnalyzerSizes sizes_;

    // What the handle keeps pointers to.
    AnalyzerRecords records_;
    AnalyzerRings rings_;
    std::array<std::vector<float>, 6> tables_; ///< by Table

    std::int32_t turnsAtStart_ = 0;
    bool drained_ = true;
    bool speedIsKnown_ = false;

    // What the spans of results show.
    std::vector<float> ascending_;
    std::array<std::vector<float>, 3> rows_;
    std::array<std::vector<float>, 2> levels_;
    std::array<std::vector<std::complex<float>>, 2> harmonics_;
    std::array<std::vector<std::complex<float>>, 2> deltaHarmonics_;
    std::array<std::vector<std::complex<float>>, 2> deltaSpectra_;

    std::optional<AnalyzerLease> lease_; ///< the last member, so that it ends first
};

} // namespace Detail

} // namespace Harmotrack

#endif
