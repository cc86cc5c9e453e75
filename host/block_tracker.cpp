#include "host/block_tracker.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <random>

namespace Harmotrack::Host {
namespace {

constexpr double kLowestRpm = 600.0;
constexpr double kNoiseShare = 1e-4;
constexpr double kBeside = 1e-4;
constexpr double kSmallestDecades = 280.0; // of a likelihood; norm and prior take up to 20 more
constexpr double kStepPerSearchStep = kLowestRpm / 20.0; // rad/s

// The same in every run.
std::vector<double> noiseOf(std::size_t samples)
{
    std::minstd_rand generator;
    std::vector<double> noise(samples);
    double energy = 0.0;
    for (double& value : noise) {
        value = static_cast<double>(generator()) / static_cast<double>(generator.max()) - 0.5;
        energy += value * value;
    }
    for (double& value : noise) value *= std::sqrt(kNoiseShare / energy);
    return noise;
}

void fill(TrackingSetup& setup,
          const TrackingSettings& settings,
          const TrackingPlan& plan,
          double timeScale)
{
    setup = {};
    setup.manualParameters = 1;
    setup.frequencyInRpm = 1;
    setup.minFrequency = settings.minRpm * timeScale;
    setup.maxFrequency = settings.maxRpm * timeScale;
    // Half a sample more, so that the whole part is the count.
    setup.blockDuration = (plan.blockSamples + 0.5) / (plan.rateHz * timeScale);
    setup.overlapPercent = 100.0 * (1.0 - (plan.hopSamples + 0.5) / plan.blockSamples);
    setup.searchStep = 2.0 * 3.141592653589793 * plan.stepHz * timeScale / kStepPerSearchStep;
    setup.predictionSigmaPercent = 1.0;
}

} // namespace

BlockTracker::BlockTracker(const TrackingSettings& settings, const TrackingPlan& plan)
    : timeScale_(kLowestRpm / settings.minRpm), hop_(plan.hopSamples),
      noise_(noiseOf(static_cast<std::size_t>(plan.blockSamples)))
{
    const double exponent =
        0.5 * (plan.blockSamples - 1) - static_cast<double>(settings.orders.size());
    targetEnergy_ = std::pow(10.0, kSmallestDecades / exponent);

    TrackerLease::Memory& memory = lease_.memory();
    memory.orders = settings.orders;
    memory.ring.assign(noise_.size(), 0.0);
    fill(memory.setup, settings, plan, timeScale_);
    memory.setup.orders = memory.orders.data();
    memory.setup.orderCount = static_cast<std::int32_t>(memory.orders.size());

    const TrackerHandle tracker = lease_.handle();
    autotrackerSetTrackingSetup(tracker, &memory.setup);
    autotrackerSetSampleRate(tracker, plan.rateHz * timeScale_, 1);
    autotrackerSetSignalBuffer(tracker, {memory.ring.data(), plan.blockSamples, 0, 0, 0});
    autotrackerPreinitiate(tracker);
    autotrackerInitiate(tracker);
    searchAll();
}

void BlockTracker::searchAll()
{
    lease_.memory().setup.useStartFrequency = 0;
    autotrackerReset(lease_.handle());
    last_ = 0.0;
}

void BlockTracker::continueFrom(double rpm)
{
    TrackingSetup& setup = lease_.memory().setup;
    setup.useStartFrequency = 1;
    setup.startFrequency = rpm * timeScale_;
    autotrackerReset(lease_.handle());
    last_ = setup.startFrequency;
}

std::optional<double> BlockTracker::track(std::span<const double> block)
{
    const std::optional<double> rpm = search(block);
    if (rpm || !(last_ > 0.0)) return rpm;
    // The search has failed, or a steady speed came out to the last bit: from a start beside it a
    // search that succeeds ends elsewhere than at the start.
    continueFrom(last_ / timeScale_ * (1.0 + kBeside));
    return search(block);
}

std::optional<double> BlockTracker::search(std::span<const double> block)
{
    deliver(block);
    const TrackingResult result = autotrackerCalculate(lease_.handle());
    readIndex_ = (readIndex_ + static_cast<std::size_t>(hop_)) % noise_.size();
    // What a failed search returns; before the first success that is the start of the range.
    const double former = last_ > 0.0 ? last_ : lease_.memory().setup.minFrequency;
    if (std::abs(result.frequency - former) <= 1e-12 * former) return std::nullopt;
    last_ = result.frequency;
    return result.frequency / timeScale_;
}

// The ring has just the slots of a block, which is written anew from the tracker's read position.
void BlockTracker::deliver(std::span<const double> block)
{
    const double mean =
        std::accumulate(block.begin(), block.end(), 0.0) / static_cast<double>(block.size());
    double energy = 0.0;
    for (const double value : block) energy += (value - mean) * (value - mean);
    const double gain = std::sqrt(targetEnergy_ / energy);
    const double noiseGain = std::sqrt(targetEnergy_);
    std::vector<double>& ring = lease_.memory().ring;
    for (std::size_t i = 0; i < block.size(); ++i)
        ring[(readIndex_ + i) % ring.size()] = gain * (block[i] - mean) + noiseGain * noise_[i];
    autotrackerUpdateNewSamples(lease_.handle(),
                                started_ ? hop_ : static_cast<std::int32_t>(block.size()));
    started_ = true;
}

} // namespace Harmotrack::Host
