#include "host/tracking/block_tracker.h"

#include <cmath>
#include <cstddef>
#include <numbers>
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

TrackerSetup setupFor(const TrackingSettings& settings, const TrackingPlan& plan, double timeScale)
{
    TrackerSetup setup;
    setup.sampleRate = plan.rateHz * timeScale;
    setup.orders = settings.orders;
    setup.minFrequency = settings.minRpm * timeScale;
    setup.maxFrequency = settings.maxRpm * timeScale;
    setup.manualParameters = true;
    // Half a sample more, so that the whole part is the count.
    setup.blockDuration = (plan.blockSamples + 0.5) / setup.sampleRate;
    setup.overlapPercent = 0.0;
    setup.searchStep = 2.0 * std::numbers::pi * plan.stepHz * timeScale / kStepPerSearchStep;
    setup.predictionSigmaPercent = 1.0;
    setup.largestDelivery = plan.blockSamples;
    return setup;
}

} // namespace

BlockTracker::BlockTracker(const TrackingSettings& settings, const TrackingPlan& plan)
    : timeScale_(kLowestRpm / settings.minRpm),
      noise_(noiseOf(static_cast<std::size_t>(plan.blockSamples))), scaled_(noise_.size()),
      tracker_(setupFor(settings, plan, timeScale_))
{
    const double exponent =
        0.5 * (plan.blockSamples - 1) - static_cast<double>(settings.orders.size());
    targetEnergy_ = std::pow(10.0, kSmallestDecades / exponent);
    searchAll();
}

void BlockTracker::searchAll()
{
    tracker_.reset();
    former_ = tracker_.setup().minFrequency;
    found_ = false;
}

void BlockTracker::continueFrom(double rpm)
{
    former_ = rpm * timeScale_;
    found_ = true;
    tracker_.startAt(former_);
}

std::optional<double> BlockTracker::track(std::span<const double> block)
{
    scale(block);
    const std::optional<double> rpm = search();
    if (rpm || !found_) return rpm;
    // The search has failed, or a steady speed came out to the last bit: from a start beside it a
    // search that succeeds ends elsewhere than at the start.
    continueFrom(former_ / timeScale_ * (1.0 + kBeside));
    return search();
}

void BlockTracker::scale(std::span<const double> block)
{
    const double mean =
        std::accumulate(block.begin(), block.end(), 0.0) / static_cast<double>(block.size());
    double energy = 0.0;
    for (const double value : block) energy += (value - mean) * (value - mean);
    const double gain = std::sqrt(targetEnergy_ / energy);
    const double noiseGain = std::sqrt(targetEnergy_);
    for (std::size_t i = 0; i < block.size(); ++i)
        scaled_[i] = gain * (block[i] - mean) + noiseGain * noise_[i];
}

std::optional<double> BlockTracker::search()
{
    tracker_.feed(scaled_);
    const double frequency = tracker_.next().value().frequency;
    if (std::abs(frequency - former_) <= 1e-12 * former_) return std::nullopt;
    former_ = frequency;
    found_ = true;
    return frequency / timeScale_;
}

} // namespace Harmotrack::Host
