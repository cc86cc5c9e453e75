/// @file
/// What a tracker consists of once it is set up.
#ifndef HARMOTRACK_DETAIL_TRACKER_STATE_HPP
#define HARMOTRACK_DETAIL_TRACKER_STATE_HPP

#include <harmotrack/detail/library.hpp>
#include <harmotrack/detail/records.hpp>
#include <harmotrack/detail/rings.hpp>
#include <harmotrack/detail/setup_checks.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack {

namespace Detail {

/// A tracker's handle for as long as it is in use.
struct TrackerLease {
    TrackerLease() : handle(Library::instance().takeTracker()) {}

    ~TrackerLease() { Library::instance().giveBack(handle, fit); }

    TrackerLease(const TrackerLease&) = delete;
    TrackerLease& operator=(const TrackerLease&) = delete;

    const TrackerHandle handle;
    bool fit = true; ///< no autotrackerInitiate() failed
};

/// A tracker with all that its handle points to: made by setUp(), and never moved.
class TrackerState {
public:
    explicit TrackerState(const TrackerSetup& setup)
        : setup_(setup), derived_(setup), c_(Library::instance().functions())
    {
        // A hair below 2 counts as 2, whatever the library makes of the same quotient.
        if (setup_.sampleRate * 0.25 / derived_.topHz > 2.0 * (1.0 - 1e-9))
            Library::instance().loadKernels();
        const double samples = derived_.block * derived_.decimation;
        const double least = 2.0 * samples + setup_.largestDelivery;
        require(setup_.ring == 0 || setup_.ring >= least,
                "ring",
                setup_.ring,
                "two blocks before decimation and largestDelivery need " + numberText(least));
        capacity_ = setup_.ring > 0 ? setup_.ring : static_cast<int>(least);
        record_ = recordOf(setup_);
    }

    void initiate()
    {
        lease_.emplace();
        try {
            ring_.resize(static_cast<std::size_t>(capacity_));
            c_.autotrackerSetSampleRate(lease_->handle, setup_.sampleRate, 1);
            c_.autotrackerSetTrackingSetup(lease_->handle, &record_);
            handOver();
            c_.autotrackerPreinitiate(lease_->handle);
            Library::instance().initiateTracker(lease_->handle);
        } catch (const std::bad_alloc&) {
            lease_->fit = false;
            throw Error("Memory ran out for a tracker of blocks of " + numberText(derived_.block) +
                        " samples.");
        }
        setup_.blockDuration = record_.blockDuration;
        setup_.overlapPercent = record_.overlapPercent;
        setup_.searchStep = record_.searchStep;
        setup_.predictionSigmaPercent = record_.predictionSigmaPercent;
        c_.autotrackerReset(lease_->handle);
    }

    void restart()
    {
        written_ = 0;
        handOver();
        drained_ = true;
        reset();
    }

    void reset()
    {
        record_.useStartFrequency = flag(setup_.useStartFrequency);
        record_.startFrequency = setup_.startFrequency;
        c_.autotrackerReset(lease_->handle);
    }

    void startAt(double frequency)
    {
        require(std::isfinite(frequency) && frequency >= 0.0,
                "The frequency to start at",
                frequency,
                "it must be 0 or more");
        record_.useStartFrequency = 1;
        record_.startFrequency = frequency;
        c_.autotrackerReset(lease_->handle);
    }

    void feed(std::span<const double> samples)
    {
        requireThat(drained_,
                    "The estimates of the last delivery are not all taken: call next() until it "
                    "returns nothing, then feed().");
        require(samples.size() <= static_cast<std::size_t>(setup_.largestDelivery),
                "The number of samples of a delivery",
                static_cast<double>(samples.size()),
                "largestDelivery allows " + std::to_string(setup_.largestDelivery));
        requireThat(allFinite(samples), "The samples hold a value that is not a finite number.");
        writeRing(ring_, written_, samples);
        written_ += static_cast<std::int64_t>(samples.size());
        c_.autotrackerUpdateNewSamples(lease_->handle, static_cast<std::int32_t>(samples.size()));
        drained_ = false;
    }

    std::optional<Estimate> next()
    {
        if (drained_) return std::nullopt;
        TrackingResult result{};
        try {
            result = c_.autotrackerCalculate(lease_->handle);
        } catch (const std::runtime_error& failure) {
            throw Error(std::string("The tracker failed: ") + failure.what());
        }
        drained_ = result.valid == 0 || result.needsMoreSamples != 0;
        if (result.valid == 0) return std::nullopt;
        return Estimate{result.frequency, result.time};
    }

    [[nodiscard]] const TrackerSetup& setup() const { return setup_; }

    [[nodiscard]] int decimation() const { return derived_.decimation; }

    [[nodiscard]] int blockSamples() const { return static_cast<int>(derived_.block); }

private:
    void handOver()
    {
        c_.autotrackerSetSignalBuffer(lease_->handle, {ring_.data(), capacity_, 0, 0, 0});
    }

    TrackerSetup setup_;
    TrackerSizes derived_;
    const Functions& c_;
    int capacity_ = 0;
    TrackingSetup record_{};
    std::vector<double> ring_; ///< sample k in slot k % size
    std::int64_t written_ = 0;
    bool drained_ = true;

    std::optional<TrackerLease> lease_; ///< the last member, so that it ends first
};

} // namespace Detail

} // namespace Harmotrack

#endif
