#include "host/equal_angle_resampler.h"

#include <algorithm>
#include <cmath>

namespace Harmotrack::Host {
namespace {

// Samples are let go by so many at least: moving those that stay costs more than the memory.
constexpr long long kForgetAtOnce = 1 << 15;

} // namespace

EqualAngleResampler::EqualAngleResampler(double rateHz,
                                         double startSeconds,
                                         std::size_t channels,
                                         int samplesPerRevolution)
    : kernel_(rateHz, samplesPerRevolution), rateHz_(rateHz), startSeconds_(startSeconds),
      channels_(channels)
{
}

void EqualAngleResampler::feed(std::span<const std::span<const double>> samples)
{
    for (std::size_t c = 0; c < channels_.size(); ++c)
        channels_[c].insert(channels_[c].end(), samples[c].begin(), samples[c].end());
}

void EqualAngleResampler::request(std::span<const EqualAngleStep> steps)
{
    waiting_.insert(waiting_.end(), steps.begin(), steps.end());
}

long long EqualAngleResampler::written() const
{
    return first_ + static_cast<long long>(channels_.front().size());
}

std::span<const double> EqualAngleResampler::samples(std::size_t channel, long long from) const
{
    return std::span(channels_[channel]).subspan(static_cast<std::size_t>(from - first_));
}

bool EqualAngleResampler::isReady(const EqualAngleStep& step) const
{
    const double until = step.seconds + kernel_.halfWidthSeconds(step.speedRpm);
    return (until - startSeconds_) * rateHz_ <= static_cast<double>(written() - 1);
}

bool EqualAngleResampler::isLost(const EqualAngleStep& step) const
{
    const double from = step.seconds - kernel_.halfWidthSeconds(step.speedRpm);
    return (from - startSeconds_) * rateHz_ < static_cast<double>(first_);
}

EqualAngleSamples EqualAngleResampler::take()
{
    EqualAngleSamples result;
    while (!waiting_.empty()) {
        EqualAngleStep step = waiting_.front();
        const bool ready = isReady(step);
        if (!ready && !finished_) break;
        waiting_.pop_front();
        interrupted_ = interrupted_ || step.beginsSegment;
        if (!ready || isLost(step)) {
            interrupted_ = true;
            continue;
        }
        step.beginsSegment = interrupted_;
        interrupted_ = false;
        result.steps.push_back(step);
    }
    std::vector<double> seconds;
    std::vector<double> speeds;
    for (const EqualAngleStep& step : result.steps) {
        seconds.push_back(step.seconds);
        speeds.push_back(step.speedRpm);
    }
    std::vector<std::span<const double>> sources(channels_.begin(), channels_.end());
    result.values.assign(channels_.size(), std::vector<double>(seconds.size()));
    std::vector<std::span<double>> targets(result.values.begin(), result.values.end());
    kernel_.resample(sources, startSeconds_, first_, seconds, speeds, targets);
    return result;
}

void EqualAngleResampler::finish()
{
    finished_ = true;
}

void EqualAngleResampler::keepFrom(double seconds)
{
    // A shaft that slows down needs more of the past for later steps.
    for (const EqualAngleStep& step : waiting_)
        seconds = std::min(seconds, step.seconds - kernel_.halfWidthSeconds(step.speedRpm));
    const double number = std::floor((seconds - startSeconds_) * rateHz_) - 1.0;
    const auto last = static_cast<double>(written());
    const auto from = static_cast<long long>(std::clamp(number, static_cast<double>(first_), last));
    if (from < first_ + kForgetAtOnce) return;
    for (std::vector<double>& channel : channels_)
        channel.erase(channel.begin(),
                      channel.begin() + static_cast<std::ptrdiff_t>(from - first_));
    first_ = from;
}

} // namespace Harmotrack::Host
