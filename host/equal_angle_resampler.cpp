#include "host/equal_angle_resampler.h"

#include <algorithm>
#include <cmath>

namespace Harmotrack::Host {
namespace {

// Samples are let go by so many at least: moving those that stay costs more than the memory.
constexpr long long kForgetAtOnce = 1 << 15;

// How far steps may reach back before the first speed is known.
constexpr double kUnknownReachSeconds = 10.0;

} // namespace

void EqualAngleResampler::Level::forget(long long before)
{
    if (before < first + kForgetAtOnce) return;
    for (std::vector<double>& channel : values)
        channel.erase(channel.begin(),
                      channel.begin() + static_cast<std::ptrdiff_t>(before - first));
    first = before;
}

EqualAngleResampler::EqualAngleResampler(double rateHz,
                                         double startSeconds,
                                         std::size_t channels,
                                         int samplesPerRevolution)
    : kernel_(rateHz, samplesPerRevolution), rateHz_(rateHz), startSeconds_(startSeconds),
      levels_(EqualAngleKernel::kMostHalvings + 1)
{
    for (std::size_t h = 0; h < levels_.size(); ++h) {
        levels_[h].values.resize(channels);
        // Sample j of a halved level needs those from 2 j - 11 on.
        if (h > 0)
            levels_[h].first = (levels_[h - 1].first + EqualAngleKernel::kHalvingReach + 1) / 2;
    }
}

void EqualAngleResampler::feed(std::span<const std::span<const double>> samples)
{
    constexpr long long kReach = EqualAngleKernel::kHalvingReach;
    Level& source = levels_.front();
    for (std::size_t c = 0; c < source.values.size(); ++c)
        source.values[c].insert(source.values[c].end(), samples[c].begin(), samples[c].end());
    for (std::size_t h = 1; h < levels_.size(); ++h) {
        const Level& from = levels_[h - 1];
        Level& to = levels_[h];
        const long long begin = to.written();
        const long long end = (from.written() - 1 - kReach) / 2 + 1;
        if (end <= begin) return;
        const auto count = static_cast<std::size_t>(end - begin);
        const auto skip = static_cast<std::size_t>(2 * begin - kReach - from.first);
        for (std::size_t c = 0; c < to.values.size(); ++c) {
            to.values[c].resize(to.values[c].size() + count);
            EqualAngleKernel::halve(std::span(from.values[c]).subspan(skip),
                                    std::span(to.values[c]).last(count));
        }
    }
}

void EqualAngleResampler::request(std::span<const EqualAngleStep> steps)
{
    waiting_.insert(waiting_.end(), steps.begin(), steps.end());
    if (!steps.empty()) lastSpeedRpm_ = steps.back().speedRpm;
}

std::span<const double> EqualAngleResampler::samples(std::size_t channel, long long from) const
{
    const Level& source = levels_.front();
    return std::span(source.values[channel]).subspan(static_cast<std::size_t>(from - source.first));
}

EqualAngleResampler::Place EqualAngleResampler::placeOf(const EqualAngleStep& step)
{
    Place place;
    place.choice = kernel_.choose(step.speedRpm);
    const double position =
        std::ldexp((step.seconds - startSeconds_) * rateHz_, -place.choice.halvings);
    const double before = std::floor(position);
    place.before = static_cast<long long>(before);
    place.share = position - before;
    return place;
}

bool EqualAngleResampler::isReady(const Place& place) const
{
    const auto halvings = static_cast<std::size_t>(place.choice.halvings);
    return place.before + place.choice.reach < levels_[halvings].written();
}

bool EqualAngleResampler::isLost(const Place& place) const
{
    const auto halvings = static_cast<std::size_t>(place.choice.halvings);
    return place.before - place.choice.reach + 1 < levels_[halvings].first;
}

EqualAngleSamples EqualAngleResampler::take()
{
    EqualAngleSamples result;
    result.values.resize(levels_.front().values.size());
    while (!waiting_.empty()) {
        EqualAngleStep step = waiting_.front();
        const Place place = placeOf(step);
        const bool ready = isReady(place);
        if (!ready && !finished_) break;
        waiting_.pop_front();
        interrupted_ = interrupted_ || step.beginsSegment;
        if (!ready || isLost(place)) {
            interrupted_ = true;
            continue;
        }
        step.beginsSegment = interrupted_;
        interrupted_ = false;
        result.steps.push_back(step);
        addValues(place, result);
    }
    return result;
}

void EqualAngleResampler::addValues(const Place& place, EqualAngleSamples& to)
{
    const Level& level = levels_[static_cast<std::size_t>(place.choice.halvings)];
    const auto begin =
        static_cast<std::size_t>(place.before - place.choice.reach + 1 - level.first);
    for (std::size_t c = 0; c < to.values.size(); ++c)
        to.values[c].push_back(
            kernel_.value(place.choice, level.values[c].data() + begin, place.share));
}

void EqualAngleResampler::finish()
{
    finished_ = true;
}

void EqualAngleResampler::keepFrom(double seconds)
{
    // A shaft that slows down needs more of the past for later steps: down to half of its speed.
    seconds -=
        lastSpeedRpm_ > 0.0 ? kernel_.halfWidthSeconds(0.5 * lastSpeedRpm_) : kUnknownReachSeconds;
    const std::size_t stride = waiting_.size() / 64 + 1;
    for (std::size_t k = 0; k < waiting_.size(); k += stride)
        seconds = std::min(
            seconds, waiting_[k].seconds - kernel_.halfWidthSeconds(0.9 * waiting_[k].speedRpm));
    double number = std::floor((seconds - startSeconds_) * rateHz_) - 1.0;
    for (Level& level : levels_) {
        // What the next halving may still need stays in any case.
        const long long newest = level.written() - 4LL * EqualAngleKernel::kHalvingReach;
        const auto least = static_cast<double>(level.first);
        const double most = std::max(least, static_cast<double>(newest));
        level.forget(static_cast<long long>(std::clamp(std::floor(number), least, most)));
        number *= 0.5;
    }
}

} // namespace Harmotrack::Host
