#pragma once

#include "autotracker/autotracker.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <numbers>
#include <span>
#include <vector>

namespace Velmora::Autotracker {

// Fields of packed records stand at odd addresses, and GoogleTest binds references to what it
// compares: tests give it the value, +record.field.

inline constexpr double kTwoPi = 2 * std::numbers::pi;

/// Numbers in -0.5 .. 0.5, the same in every run: the upper half of a linear congruential generator
/// after Knuth, "The Art of Computer Programming", volume 2, 3.3.4.
class Noise {
public:
    double operator()()
    {
        state_ = state_ * 6364136223846793005U + 1442695040888963407U;
        return static_cast<double>(state_ >> 32U) / 4294967296.0 - 0.5;
    }

private:
    std::uint64_t state_ = 1;
};

/// Samples of a machine that shows orders 1, 2 and 3 of amplitude 1, 0.6 and 0.4, with noise of
/// standard deviation 0.1 (from -0.5 .. 0.5 times 0.346).
/// @param hertz  its rotation frequency at a time in seconds
inline std::vector<double>
machine(std::size_t count, double rate, const std::function<double(double)>& hertz)
{
    std::vector<double> samples(count);
    Noise noise;
    double turns = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double angle = kTwoPi * turns;
        samples[i] = std::cos(angle) + 0.6 * std::cos(2 * angle + 1.0) +
                     0.4 * std::cos(3 * angle + 2.0) + 0.346 * noise();
        turns += hertz((static_cast<double>(i) + 0.5) / rate) / rate;
    }
    return samples;
}

inline std::vector<double> steadyMachine(std::size_t count, double rate, double hertz)
{
    return machine(count, rate, [hertz](double /*seconds*/) { return hertz; });
}

/// A tracker with its setup, orders and ring.
///
/// Defaults: orders 1, 2 and 3 from 10 to 100 Hz, automatic parameters, start at the minimum; at
/// 1000 Hz, so no decimation, blocks of 100 samples and a hop of 50. A ring of 3000 slots, all NaN,
/// so that a sample which was never delivered shows.
class TestTracker {
public:
    TestTracker()
    {
        setup.maxFrequency = 100.0;
        setup.minFrequency = 10.0;
    }

    // The tracker has pointers into this object.
    TestTracker(const TestTracker&) = delete;
    TestTracker& operator=(const TestTracker&) = delete;

    // Change these before start().
    TrackingSetup setup{};
    std::vector<float> orders{1.0F, 2.0F, 3.0F};
    double sampleRate = 1000.0;
    std::int32_t rateDivider = 1;
    std::int32_t slots = 3000;
    std::int64_t samplesBefore = 0; ///< written and read before the tracker came
    std::int32_t firstSlot = 0;     ///< of the first sample

    Autotracker tracker;

    /// Blocks of `samples` without overlap at `sampleRate`, by manual parameters.
    void useBlocksOf(std::int32_t samples)
    {
        setup.manualParameters = 1;
        setup.blockDuration = samples / sampleRate;
        setup.overlapPercent = 0.0;
        setup.searchStep = 0.5;
        setup.predictionSigmaPercent = 1.0;
    }

    /// Everything up to the first sample.
    void start()
    {
        prepare();
        handOver();
        tracker.initiate();
        tracker.reset();
    }

    /// Setup and rate, and what derives from them.
    void prepare()
    {
        setup.orders = orders.data();
        setup.orderCount = static_cast<std::int32_t>(orders.size());
        tracker.setTrackingSetup(&setup);
        tracker.setSampleRate(sampleRate, rateDivider);
        tracker.update();
    }

    void handOver()
    {
        ring_.assign(static_cast<std::size_t>(slots), std::numeric_limits<double>::quiet_NaN());
        writeSlot_ = firstSlot;
        tracker.setSignalBuffer({.samples = ring_.data(),
                                 .capacity = slots,
                                 .readIndex = firstSlot,
                                 .writeCount = samplesBefore,
                                 .readCount = samplesBefore});
    }

    /// Delivers samples without a step.
    void feed(std::span<const double> samples)
    {
        for (const double sample : samples) {
            ring_[static_cast<std::size_t>(writeSlot_)] = sample;
            writeSlot_ = writeSlot_ + 1 == slots ? 0 : writeSlot_ + 1;
        }
        tracker.updateNewSamples(static_cast<std::int32_t>(samples.size()));
    }

    /// Delivers samples in pieces of `piece` and takes every estimate.
    std::vector<TrackingResult> run(std::span<const double> samples, std::size_t piece)
    {
        std::vector<TrackingResult> estimates;
        while (!samples.empty()) {
            const std::size_t count = std::min(piece, samples.size());
            feed(samples.first(count));
            samples = samples.subspan(count);
            do {
                const TrackingResult result = tracker.calculate();
                if (result.valid != 0) estimates.push_back(result);
            } while (tracker.result().needsMoreSamples == 0);
        }
        return estimates;
    }

private:
    std::vector<double> ring_;
    std::int32_t writeSlot_ = 0;
};

} // namespace Velmora::Autotracker
