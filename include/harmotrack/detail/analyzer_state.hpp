/// @file
/// What an analyzer consists of once it is set up.
#ifndef HARMOTRACK_DETAIL_ANALYZER_STATE_HPP
#define HARMOTRACK_DETAIL_ANALYZER_STATE_HPP

#include <harmotrack/detail/library.hpp>
#include <harmotrack/detail/ring.hpp>
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
        : mode_(mode), setup_(setup), c_(Library::instance().functions())
    {
        fillRecords();
        lease_.emplace(mode_);
        prepare();
        deriveSizes();
    }

    /// Allocates everything and starts the first run.
    void initiate()
    {
        try {
            makeRings();
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
        if (!streamGoesOn) {
            for (auto& ring : angleRing_) std::fill(ring.begin(), ring.end(), 0.0);
            for (auto& ring : timeRing_) std::fill(ring.begin(), ring.end(), 0.0);
            angleWritten_ = taken_ = timeWritten_ = 0;
            newestTime_ = -std::numeric_limits<double>::infinity();
        }
        prepare();
        startRun();
    }

    void feed(const AngleSamples& angle, const TimeSamples& time)
    {
        requireRunning();
        requireThat(drained_,
                    "The results of the last delivery are not all taken: call next() until it "
                    "returns nothing, then feed().");
        checkShapes(angle, time);
        checkValues(angle, time);

        const std::array<std::span<const double>, 6> columns{angle.signalA,
                                                             angle.signalB,
                                                             angle.binSignal,
                                                             angle.frequency,
                                                             angle.angle,
                                                             angle.time};
        for (std::size_t i = 0; i < columns.size(); ++i)
            if (!angleRing_[i].empty()) writeRing(angleRing_[i], angleWritten_, columns[i]);
        writeRing(timeRing_[0], timeWritten_, time.signalA);
        if (two()) writeRing(timeRing_[1], timeWritten_, time.signalB);

        angleWritten_ += static_cast<std::int64_t>(angle.time.size());
        timeWritten_ += static_cast<std::int64_t>(time.signalA.size());
        if (!angle.time.empty()) newestTime_ = angle.time.back();
        c_.updateBuffers(lease_->handle,
                         static_cast<std::int32_t>(angle.time.size()),
                         static_cast<std::int32_t>(time.signalA.size()));
        drained_ = false;
        followWalk();
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
                return unpacked(result);
        }
        return std::nullopt;
    }

    [[nodiscard]] int angleRoom() const
    {
        if (ended_) return 0;
        const std::int64_t room = sizes_.angleRing - reach() - (angleWritten_ - taken_);
        return static_cast<int>(std::clamp<std::int64_t>(room, 0, setup_.largestDelivery));
    }

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

    enum Column : std::size_t { SignalA, SignalB, BinSignal, Frequency, Angle, Time };

    static std::size_t set(Signal signal) { return signal == Signal::First ? 0 : 1; }

    static float* floats(std::vector<std::complex<float>>& values)
    {
        return reinterpret_cast<float*>(values.data()); // two floats each, by the standard
    }

    static News unpacked(const CalculationResult& result)
    {
        News news;
        news.binHarmonics = result.binHarmonics != 0;
        news.binOrderSpectrum = result.binOrderSpectrum != 0;
        news.binOrderTwoSided = result.binOrderTwoSided != 0;
        news.timeOrderSpectrum = result.timeOrderSpectrum != 0;
        news.timeOrderTwoSided = result.timeOrderTwoSided != 0;
        news.binTimeSpectrum = result.binTimeSpectrum != 0;
        news.binTimeTwoSided = result.binTimeTwoSided != 0;
        news.deltaHarmonics = result.deltaHarmonics != 0;
        news.deltaOrderSpectrum = result.deltaOrderSpectrum != 0;
        news.overall = result.overall != 0;
        news.turnsUpdated = result.turnsUpdated != 0;
        news.rpmUpdated = result.rpmUpdated != 0;
        news.bin = result.bin;
        return news;
    }

    /// Whether there is a second column of samples.
    [[nodiscard]] bool two() const { return mode_ != Mode::OneReal; }

    [[nodiscard]] bool takesContiguousBlocks() const
    {
        return setup_.analysis.blockMode == BlockMode::Contiguous &&
               (setup_.results.binHarmonics || setup_.results.binOrderSpectrum);
    }

    /// How far blocks reach back from the sample that triggers them. Contiguous ones begin up to a
    /// block late, and another one after a stop.
    [[nodiscard]] std::int64_t reach() const
    {
        return (takesContiguousBlocks() ? 3 : 1) * std::int64_t{sizes_.orderBlock};
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
        requireThat(!ended_, "The run ended with an error: call restart() or reset().");
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

    void fillRecords()
    {
        const Binning& b = setup_.binning;
        binning_ = {static_cast<std::int32_t>(b.direction),
                    b.minValue,
                    b.maxValue,
                    b.step,
                    b.hysteresisPercent,
                    flag(b.blocksAcrossBins),
                    b.scale};
        orders_ = {setup_.orders.orderResolution,
                   setup_.orders.maxOrder,
                   static_cast<std::int32_t>(setup_.orders.harmonicOrders.size()),
                   setup_.orders.harmonicOrders.data()};
        const Results& r = setup_.results;
        parameters_ = {flag(r.binHarmonics),
                       flag(r.binOrderSpectrum),
                       flag(r.binOrderTwoSided),
                       flag(r.timeOrderSpectrum),
                       flag(r.timeOrderTwoSided),
                       flag(r.binTimeSpectrum),
                       flag(r.binTimeTwoSided),
                       flag(r.deltaHarmonics),
                       flag(r.deltaOrderSpectrum),
                       flag(r.overall)};
        fillAnalysis();
    }

    void fillAnalysis()
    {
        const Analysis& a = setup_.analysis;
        analysis_.windowType = static_cast<std::int32_t>(a.windowType);
        analysis_.windowParameter = a.windowParameter;
        analysis_.amplitudeType = static_cast<std::int32_t>(a.amplitudeType);
        analysis_.blockMode = static_cast<std::int32_t>(a.blockMode);
        analysis_.averagingType = static_cast<std::int32_t>(a.averagingType);
        // The time transform is planned even if no one wants it: then a small one.
        const bool derived = a.timeLines == 0 && setup_.wantsTimeSamples();
        analysis_.fixedTimeLines = flag(!derived);
        analysis_.timeLines = setup_.wantsTimeSamples() ? a.timeLines : 4;
        analysis_.overlapPercent = a.overlapPercent;
        analysis_.deltaOnBinChange = flag(a.deltaOnBinChange);
        analysis_.deltaOnTime = flag(a.deltaOnTime);
        analysis_.deltaSeconds = a.deltaSeconds;
        analysis_.phaseReference = static_cast<std::int32_t>(a.phaseReference);
        analysis_.phaseMode = static_cast<std::int32_t>(a.phaseMode);
        analysis_.minRpm = a.minRpm;
        analysis_.maxRpm = a.maxRpm;
        analysis_.weightingType = static_cast<std::int32_t>(a.weightingType);
        analysis_.dcLineMode = static_cast<std::int32_t>(a.dcLineMode);
        analysis_.twoSided = flag(a.twoSided);
        analysis_.removeMeanTime = flag(a.removeMeanTime);
        analysis_.removeMeanOrder = flag(a.removeMeanOrder);
    }

    void prepare()
    {
        c_.setBinningSetup(lease_->handle, &binning_);
        c_.setOrderSetup(lease_->handle, &orders_);
        c_.setAnalysisSetup(lease_->handle, &analysis_);
        c_.setParameters(lease_->handle, &parameters_);
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
        sizes_.angleRing = slots("angleRing", setup_.angleRing, leastAngleRing(), heldBack());
        sizes_.timeRing = 1;
        if (setup_.wantsTimeSamples())
            sizes_.timeRing = slots("timeRing", setup_.timeRing, leastTimeRing(), timeLag());
    }

    /// The samples of a block, those that wait for half a block, and a delivery.
    [[nodiscard]] double leastAngleRing() const
    {
        return static_cast<double>(reach()) + 0.5 * sizes_.orderBlock + setup_.largestDelivery;
    }

    [[nodiscard]] double leastTimeRing() const
    {
        return 2.0 * sizes_.timeBlock + setup_.largestDelivery;
    }

    /// Equal-angle samples that come in half a time block at maxRpm, and a tenth more.
    [[nodiscard]] double heldBack() const
    {
        const double more = 0.5 * sizes_.orderBlock + setup_.largestDelivery;
        if (!setup_.wantsTimeSamples()) return more;
        const double turnsPerSecond = static_cast<double>(setup_.analysis.maxRpm) / 60.0;
        return more + 1.1 * sizes_.timeBlockDuration * turnsPerSecond * setup_.orders.maxOrder;
    }

    /// Equal-time samples that come during an order block at minRpm, or at a tenth of maxRpm.
    [[nodiscard]] double timeLag() const
    {
        const auto low = static_cast<double>(setup_.analysis.minRpm);
        const double rpm = low > 0.0 ? low : static_cast<double>(setup_.analysis.maxRpm) / 10.0;
        const double blockTurns = 0.5 * sizes_.orderBlock / setup_.orders.maxOrder;
        const double more = setup_.largestDelivery;
        return rpm > 0.0 ? more + blockTurns / rpm * 60.0 * setup_.sampleRate : more;
    }

    static int slots(const char* name, int asked, double least, double comfort)
    {
        require(asked == 0 || asked >= least,
                name,
                asked,
                "blocks, what waits for its turn and largestDelivery need " + numberText(least));
        const double slots = asked > 0 ? asked : std::ceil(least + comfort);
        require(slots <= (1 << 30), name, slots, "at most 2^30 slots are possible");
        return static_cast<int>(slots);
    }

    void makeRings()
    {
        for (std::size_t i = 0; i < angleRing_.size(); ++i)
            if (i != SignalB || two())
                angleRing_[i].resize(static_cast<std::size_t>(sizes_.angleRing));
        for (std::size_t i = 0; i < timeRing_.size(); ++i)
            if (i != SignalB || two())
                timeRing_[i].resize(static_cast<std::size_t>(sizes_.timeRing));
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
        const auto column = [this](Column c) { return angleRing_[c].data(); };
        const auto slotOf = [](std::int64_t number, int size) {
            return static_cast<std::int32_t>(number % size);
        };
        c_.setResampledBuffers(lease_->handle,
                               {column(SignalA),
                                column(SignalB),
                                column(BinSignal),
                                column(Frequency),
                                column(Angle),
                                column(Time),
                                sizes_.angleRing,
                                slotOf(angleWritten_, sizes_.angleRing),
                                angleWritten_,
                                taken_});
        c_.setTimeBuffers(lease_->handle,
                          {timeRing_[0].data(),
                           timeRing_[1].data(),
                           sizes_.timeRing,
                           slotOf(timeWritten_, sizes_.timeRing),
                           timeWritten_});
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
        runStart_ = lastBlock_ = taken_;
        speedIsKnown_ = false;
        ended_ = false;
        drained_ = true;
    }

    // ---- deliveries ----

    void checkShapes(const AngleSamples& angle, const TimeSamples& time) const
    {
        const std::size_t count = angle.time.size();
        const std::size_t second = two() ? count : 0;
        requireThat(angle.signalA.size() == count && angle.binSignal.size() == count &&
                        angle.frequency.size() == count && angle.angle.size() == count,
                    "The columns of the equal-angle samples differ in length.");
        requireThat(angle.signalB.size() == second &&
                        time.signalB.size() == (two() ? time.signalA.size() : 0),
                    two() ? "signalB differs in length from signalA."
                          : "signalB is given, and Mode::OneReal has none.");
        requireThat(setup_.wantsTimeSamples() || time.signalA.empty(),
                    "Equal-time samples are given, and no result is asked for that needs them.");
        require(time.signalA.size() <= static_cast<std::size_t>(setup_.largestDelivery),
                "The number of equal-time samples of a delivery",
                static_cast<double>(time.signalA.size()),
                "largestDelivery allows " + std::to_string(setup_.largestDelivery));
        require(count <= static_cast<std::size_t>(angleRoom()),
                "The number of equal-angle samples of a delivery",
                static_cast<double>(count),
                "there is room for " + std::to_string(angleRoom()) + ": the ring has " +
                    std::to_string(sizes_.angleRing) + " slots, " +
                    std::to_string(angleWritten_ - taken_) +
                    " samples wait for their turn, and largestDelivery is " +
                    std::to_string(setup_.largestDelivery));
    }

    void checkValues(const AngleSamples& angle, const TimeSamples& time) const
    {
        const auto check = [](std::span<const double> values, const char* name) {
            if (!allFinite(values))
                throw Error(std::string("The samples of ") + name +
                            " hold a value that is not a finite number.");
        };
        check(angle.signalA, "the equal-angle signalA");
        check(angle.signalB, "the equal-angle signalB");
        check(angle.frequency, "frequency");
        check(angle.angle, "angle");
        check(angle.time, "time");
        check(time.signalA, "the equal-time signalA");
        check(time.signalB, "the equal-time signalB");
        const auto offCircle =
            std::find_if(angle.angle.begin(), angle.angle.end(), [](double degrees) {
                return degrees < 0.0 || degrees > 360.0;
            });
        if (offCircle != angle.angle.end())
            require(false, "A sample of angle", *offCircle, "0 to 360 degrees are allowed");
        double before = newestTime_;
        for (const double seconds : angle.time) {
            if (seconds <= before)
                require(false,
                        "A sample of time",
                        seconds,
                        "it must be above the one before, which is " + numberText(before) + " s");
            before = seconds;
        }
    }

    /// Counts the samples that the library takes from this delivery: those with half an order block
    /// of newer ones behind them and, with time results, half a time block beyond their stamp.
    void followWalk()
    {
        const std::int64_t end = angleWritten_ - sizes_.orderBlock / 2;
        const double newest = setup_.wantsTimeSamples()
                                  ? static_cast<double>(timeWritten_) / setup_.sampleRate -
                                        sizes_.timeBlockDuration * 0.5
                                  : std::numeric_limits<double>::infinity();
        const bool contiguous = takesContiguousBlocks();
        for (; taken_ < end; ++taken_) {
            const auto slot = static_cast<std::size_t>(taken_ % sizes_.angleRing);
            if (angleRing_[Time][slot] > newest) break;
            if (contiguous) followContiguousBlocks(slot);
        }
    }

    /// When the value comes back from a stretch off the axis, contiguous blocks are made up for,
    /// and the ring may have lost them. The position kept here may be off by a block or two, since
    /// flushed blocks and stops are not followed.
    void followContiguousBlocks(std::size_t slot)
    {
        const std::int64_t block = sizes_.orderBlock;
        const double value = angleRing_[BinSignal][slot] * binning_.scale;
        const auto step = static_cast<double>(binning_.step);
        const double place = (value - static_cast<double>(binning_.minValue)) / step + 0.5;
        const bool onAxis = place > -1.0 && place < sizes_.bins;
        if (!onAxis || taken_ < block / 2 || taken_ + 1 - lastBlock_ < block) return;

        const std::int64_t oldest = std::max(lastBlock_ - 3 * block / 2, runStart_);
        ended_ = oldest < angleWritten_ - sizes_.angleRing;
        if (ended_)
            throw Error("The binned value came back after " + std::to_string(taken_ - lastBlock_) +
                        " samples off the axis of the bins, and the ring of " +
                        std::to_string(sizes_.angleRing) +
                        " slots no longer holds the contiguous blocks that are to be made up for: "
                        "take an axis that covers all values, or BlockMode::AtCrossing.");
        lastBlock_ += block;
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

    // What the handle keeps pointers to.
    BinningSetup binning_{};
    OrderSetup orders_{};
    AnalysisSetup analysis_{};
    AnalyzerParameters parameters_{};
    std::array<std::vector<double>, 6> angleRing_; ///< by Column; sample k in slot k % size
    std::array<std::vector<double>, 2> timeRing_;  ///< likewise
    std::array<std::vector<float>, 6> tables_;     ///< by Table
    AnalyzerSizes sizes_;

    // Counters of the run.
    std::int64_t angleWritten_ = 0;
    std::int64_t timeWritten_ = 0;
    std::int64_t taken_ = 0;     ///< equal-angle samples that the library has taken or will take
    std::int64_t runStart_ = 0;  ///< number of the run's first equal-angle sample
    std::int64_t lastBlock_ = 0; ///< where the last contiguous block ended
    double newestTime_ = -std::numeric_limits<double>::infinity();
    std::int32_t turnsAtStart_ = 0;
    bool drained_ = true;
    bool ended_ = false;
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
