/// A small host of the tracker for tests. It knows the library by its public header alone.
#ifndef HARMOTRACK_TESTS_BOUNDARY_TRACKER_HOST_H
#define HARMOTRACK_TESTS_BOUNDARY_TRACKER_HOST_H

#include "harmotrack/harmotrack.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Boundary {

/// Keeps a handle reachable until the process ends.
inline TrackerHandle keepReachable(TrackerHandle tracker)
{
    // Never freed, so that it is still there when leaks are looked for after the last destructor.
    static std::vector<TrackerHandle>& kept = *new std::vector<TrackerHandle>;
    kept.push_back(tracker);
    return tracker;
}

/// Orders 1, 2 and 3 of a steady shaft, and a little of something that no order explains.
inline std::vector<double> steadyMachine(std::size_t count, double rate, double hertz)
{
    std::vector<double> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        const auto k = static_cast<double>(i);
        const double angle = 6.283185307179586 * hertz * k / rate;
        samples[i] = std::cos(angle) + 0.6 * std::cos(2 * angle + 1.0) +
                     0.4 * std::cos(3 * angle + 2.0) + 0.1 * std::cos(k * k);
    }
    return samples;
}

/// One tracker with its setup and ring. The tracker stays reachable until the process ends and is
/// never destroyed; setup and ring go with the host.
///
/// Defaults: orders 1, 2 and 3 from 600 to 6000 rpm, automatic parameters. At 1000 Hz there is no
/// decimation, a block has 100 samples and the hop is 50. A ring of 3001 slots, all NaN.
class TrackerHost {
public:
    TrackerHost() : TrackerHost(keepReachable(autotrackerCreate())) {}

    explicit TrackerHost(TrackerHandle tracker) : handle_(tracker)
    {
        setup.minFrequency = 600.0;
        setup.maxFrequency = 6000.0;
        setup.frequencyInRpm = 1;
    }

    TrackerHost(const TrackerHost&) = delete;
    TrackerHost& operator=(const TrackerHost&) = delete;

    // Set these before start().
    TrackingSetup setup{};
    std::vector<float> orders{1.0F, 2.0F, 3.0F};
    double sampleRate = 1000.0;

    /// Everything up to the first sample.
    void start()
    {
        prepare();
        handOver(0);
        autotrackerInitiate(handle_);
        autotrackerReset(handle_);
    }

    void prepare()
    {
        setup.orders = orders.data();
        setup.orderCount = static_cast<int32_t>(orders.size());
        autotrackerSetTrackingSetup(handle_, &setup);
        autotrackerSetSampleRate(handle_, sampleRate, 1);
        autotrackerPreinitiate(handle_);
    }

    /// Hands a ring over whose next sample has a number and stands in slot 0.
    void handOver(int64_t nextSample)
    {
        ring_.assign(3001, std::numeric_limits<double>::quiet_NaN());
        slot_ = 0;
        autotrackerSetSignalBuffer(handle_, {ring_.data(), 3001, 0, nextSample, nextSample});
    }

    void write(std::span<const double> samples)
    {
        for (const double sample : samples) {
            ring_[slot_] = sample;
            slot_ = slot_ + 1 == ring_.size() ? 0 : slot_ + 1;
        }
    }

    void feed(std::span<const double> samples)
    {
        write(samples);
        autotrackerUpdateNewSamples(handle_, static_cast<int32_t>(samples.size()));
    }

    [[nodiscard]] TrackingResult call() const { return autotrackerCalculate(handle_); }

    [[nodiscard]] TrackerHandle handle() const { return handle_; }

private:
    TrackerHandle handle_;
    std::vector<double> ring_;
    std::size_t slot_ = 0;
};

} // namespace Boundary

#endif
