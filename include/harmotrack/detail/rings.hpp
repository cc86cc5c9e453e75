/// @file
/// Rings through which samples reach the library: how long they are, and what they hold.
#ifndef HARMOTRACK_DETAIL_RINGS_HPP
#define HARMOTRACK_DETAIL_RINGS_HPP

#include <harmotrack/detail/records.hpp>
#include <harmotrack/detail/require.hpp>
#include <harmotrack/setups.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string>
#include <vector>

namespace Harmotrack {

namespace Detail {

/// Copies samples into a ring, the first of them with a running number.
inline void
writeRing(std::vector<double>& ring, std::int64_t number, std::span<const double> samples)
{
    if (samples.empty()) return;
    const std::size_t slot = static_cast<std::size_t>(number) % ring.size();
    const std::size_t upToEnd = std::min(samples.size(), ring.size() - slot);
    std::copy_n(samples.begin(), upToEnd, ring.begin() + static_cast<std::ptrdiff_t>(slot));
    std::copy(samples.begin() + static_cast<std::ptrdiff_t>(upToEnd), samples.end(), ring.begin());
}

/// How long the rings of an analyzer are: as its setup says, or else so long that deliveries rarely
/// have to wait for room.
class RingLengths {
public:
    /// @param sizes  its blocks count
    RingLengths(const AnalyzerSetup& setup, const AnalyzerSizes& sizes)
        : setup_(setup), sizes_(sizes)
    {
    }

    /// How far blocks reach back from the sample that triggers them. Contiguous ones begin up to a
    /// block late, and another one after a stop.
    [[nodiscard]] std::int64_t reach() const
    {
        return (takesContiguousBlocks(setup_) ? 3 : 1) * std::int64_t{sizes_.orderBlock};
    }

    /// @throws Error  the setup's own length is too short, or the length is out of range
    [[nodiscard]] int angle() const
    {
        return slots("angleRing", setup_.angleRing, leastAngle(), heldBack());
    }

    /// 1 if no result asks for equal-time samples.
    /// @throws Error  as angle()
    [[nodiscard]] int time() const
    {
        if (!setup_.wantsTimeSamples()) return 1;
        return slots("timeRing", setup_.timeRing, leastTime(), timeLag());
    }

private:
    /// The samples of a block, those that wait for half a block, and a delivery.
    [[nodiscard]] double leastAngle() const
    {
        return static_cast<double>(reach()) + 0.5 * sizes_.orderBlock + setup_.largestDelivery;
    }

    [[nodiscard]] double leastTime() const
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

    const AnalyzerSetup& setup_;
    const AnalyzerSizes& sizes_;
};

/// Both rings of an analyzer, of samples at equal angles and at equal times, and how far they were
/// written and read. Sample k of a column stands in slot k % length.
///
/// Refers to the setup and the sizes, which must outlive it.
class AnalyzerRings {
public:
    AnalyzerRings(Mode mode, const AnalyzerSetup& setup, const AnalyzerSizes& sizes)
        : two_(hasSecondColumn(mode)), contiguous_(takesContiguousBlocks(setup)), setup_(setup),
          sizes_(sizes)
    {
    }

    /// Takes the memory. @throws std::bad_alloc, std::length_error
    void allocate()
    {
        for (std::size_t i = 0; i < angle_.size(); ++i)
            if (i != SignalB || two_) angle_[i].resize(static_cast<std::size_t>(sizes_.angleRing));
        for (std::size_t i = 0; i < time_.size(); ++i)
            if (i != SignalB || two_) time_[i].resize(static_cast<std::size_t>(sizes_.timeRing));
    }

    /// Forgets all samples.
    void clear()
    {
        for (auto& ring : angle_) std::fill(ring.begin(), ring.end(), 0.0);
        for (auto& ring : time_) std::fill(ring.begin(), ring.end(), 0.0);
        angleWritten_ = taken_ = timeWritten_ = 0;
        newestTime_ = -std::numeric_limits<double>::infinity();
    }

    /// A run begins with the next sample that the library takes.
    void beginRun()
    {
        runStart_ = lastBlock_ = taken_;
        ended_ = false;
    }

    /// @throws Error  columns differ in length, there is no room for them, or a value is none that
    ///                its column may hold
    void check(const AngleSamples& angle, const TimeSamples& time) const
    {
        checkShapes(angle, time);
        checkRoom(angle.time.size(), time.signalA.size());
        checkValues(angle, time);
    }

    void write(const AngleSamples& angle, const TimeSamples& time)
    {
        const std::array<std::span<const double>, 6> columns{angle.signalA,
                                                             angle.signalB,
                                                             angle.binSignal,
                                                             angle.frequency,
                                                             angle.angle,
                                                             angle.time};
        for (std::size_t i = 0; i < columns.size(); ++i)
            if (!angle_[i].empty()) writeRing(angle_[i], angleWritten_, columns[i]);
        writeRing(time_[0], timeWritten_, time.signalA);
        if (two_) writeRing(time_[1], timeWritten_, time.signalB);

        angleWritten_ += static_cast<std::int64_t>(angle.time.size());
        timeWritten_ += static_cast<std::int64_t>(time.signalA.size());
        if (!angle.time.empty()) newestTime_ = angle.time.back();
    }

    /// Counts the samples that the library takes from this delivery: those with half an order block
    /// of newer ones behind them and, with time results, half a time block beyond their stamp.
    /// @throws Error  contiguous blocks are to be made up for that the ring has lost
    void followWalk()
    {
        const std::int64_t end = angleWritten_ - sizes_.orderBlock / 2;
        const double newest = setup_.wantsTimeSamples()
                                  ? static_cast<double>(timeWritten_) / setup_.sampleRate -
                                        sizes_.timeBlockDuration * 0.5
                                  : std::numeric_limits<double>::infinity();
        for (; taken_ < end; ++taken_) {
            const auto slot = static_cast<std::size_t>(taken_ % sizes_.angleRing);
            if (angle_[Time][slot] > newest) break;
            if (contiguous_) followContiguousBlocks(slot);
        }
    }

    /// How many equal-angle samples may be written now.
    [[nodiscard]] int angleRoom() const
    {
        if (ended_) return 0;
        const std::int64_t reach = RingLengths(setup_, sizes_).reach();
        const std::int64_t room = sizes_.angleRing - reach - (angleWritten_ - taken_);
        return static_cast<int>(std::clamp<std::int64_t>(room, 0, setup_.largestDelivery));
    }

    /// Whether followWalk() has thrown in this run.
    [[nodiscard]] bool ended() const { return ended_; }

    [[nodiscard]] ResampledBuffers angleRecord()
    {
        return {angle_[SignalA].data(),
                angle_[SignalB].data(),
                angle_[BinSignal].data(),
                angle_[Frequency].data(),
                angle_[Angle].data(),
                angle_[Time].data(),
                sizes_.angleRing,
                slotOf(angleWritten_, sizes_.angleRing),
                angleWritten_,
                taken_};
    }

    [[nodiscard]] TimeBuffers timeRecord()
    {
        return {time_[0].data(),
                time_[1].data(),
                sizes_.timeRing,
                slotOf(timeWritten_, sizes_.timeRing),
                timeWritten_};
    }

private:
    enum Column : std::size_t { SignalA, SignalB, BinSignal, Frequency, Angle, Time };

    static std::int32_t slotOf(std::int64_t number, int size)
    {
        return static_cast<std::int32_t>(number % size);
    }

    void checkShapes(const AngleSamples& angle, const TimeSamples& time) const
    {
        const std::size_t count = angle.time.size();
        const std::size_t second = two_ ? count : 0;
        requireThat(angle.signalA.size() == count && angle.binSignal.size() == count &&
                        angle.frequency.size() == count && angle.angle.size() == count,
                    "The columns of the equal-angle samples differ in length.");
        requireThat(angle.signalB.size() == second &&
                        time.signalB.size() == (two_ ? time.signalA.size() : 0),
                    two_ ? "signalB differs in length from signalA."
                         : "signalB is given, and Mode::OneReal has none.");
        requireThat(setup_.wantsTimeSamples() || time.signalA.empty(),
                    "Equal-time samples are given, and no result is asked for that needs them.");
    }

    void checkRoom(std::size_t angleCount, std::size_t timeCount) const
    {
        require(timeCount <= static_cast<std::size_t>(setup_.largestDelivery),
                "The number of equal-time samples of a delivery",
                static_cast<double>(timeCount),
                "largestDelivery allows " + std::to_string(setup_.largestDelivery));
        require(angleCount <= static_cast<std::size_t>(angleRoom()),
                "The number of equal-angle samples of a delivery",
                static_cast<double>(angleCount),
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

    /// When the value comes back from a stretch off the axis, contiguous blocks are made up for,
    /// and the ring may have lost them. The position kept here may be off by a block or two, since
    /// flushed blocks and stops are not followed.
    void followContiguousBlocks(std::size_t slot)
    {
        const std::int64_t block = sizes_.orderBlock;
        const Binning& binning = setup_.binning;
        const double value = angle_[BinSignal][slot] * binning.scale;
        const auto step = static_cast<double>(binning.step);
        const double place = (value - static_cast<double>(binning.minValue)) / step + 0.5;
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

    const bool two_;
    const bool contiguous_;
    const AnalyzerSetup& setup_;
    const AnalyzerSizes& sizes_;

    std::array<std::vector<double>, 6> angle_; ///< by Column
    std::array<std::vector<double>, 2> time_;  ///< by signal

    std::int64_t angleWritten_ = 0;
    std::int64_t timeWritten_ = 0;
    std::int64_t taken_ = 0;     ///< equal-angle samples that the library has taken or will take
    std::int64_t runStart_ = 0;  ///< number of the run's first equal-angle sample
    std::int64_t lastBlock_ = 0; ///< where the last contiguous block ended
    double newestTime_ = -std::numeric_limits<double>::infinity();
    bool ended_ = false;
};

} // namespace Detail

} // namespace Harmotrack

#endif
