#include "host/equal_angle/resampler.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace Harmotrack::Host {
namespace {

// Samples are let go by so many at least: moving those that stay costs more than the memory.
constexpr long long kForgetAtOnce = 1 << 15;

// How far steps may reach back before the first speed is known.
constexpr double kUnknownReachSeconds = 10.0;

// Steps whose places are found before their values are taken: neither loop waits for the other.
constexpr std::size_t kPlacesAtOnce = 256;

long long roundedDown(double value)
{
    const auto whole = static_cast<long long>(value);
    return static_cast<double>(whole) > value ? whole - 1 : whole;
}

} // namespace

template <typename Value>
void EqualAngleResampler::Level<Value>::forget(double before)
{
    // What the next halving may still need stays in any case.
    const auto newest = static_cast<double>(written() - 4LL * EqualAngleKernel::kHalvingReach);
    const auto least = static_cast<double>(first);
    const auto from =
        static_cast<long long>(std::clamp(std::floor(before), least, std::max(least, newest)));
    if (from < first + kForgetAtOnce) return;
    for (std::vector<Value>& channel : values)
        channel.erase(channel.begin(), channel.begin() + static_cast<std::ptrdiff_t>(from - first));
    first = from;
}

EqualAngleResampler::EqualAngleResampler(double rateHz,
                                         double startSeconds,
                                         std::size_t channels,
                                         int samplesPerRevolution)
    : kernel_(rateHz, samplesPerRevolution), startSeconds_(startSeconds),
      levels_(EqualAngleKernel::kMostHalvings + 1)
{
    source_.rateHz = rateHz;
    source_.values.resize(channels);
    for (std::size_t h = 0; h < levels_.size(); ++h) {
        levels_[h].values.resize(channels);
        levels_[h].rateHz = std::ldexp(rateHz, -static_cast<int>(h));
        // Sample j of a halved level needs those from 2 j - 23 on.
        if (h > 0)
            levels_[h].first = (levels_[h - 1].first + EqualAngleKernel::kHalvingReach + 1) / 2;
    }
}

void EqualAngleResampler::feed(std::span<const std::span<const double>> samples)
{
    for (std::size_t c = 0; c < samples.size(); ++c) {
        std::vector<double>& exact = source_.values[c];
        std::vector<float>& rounded = levels_.front().values[c];
        exact.insert(exact.end(), samples[c].begin(), samples[c].end());
        rounded.resize(rounded.size() + samples[c].size());
        std::transform(samples[c].begin(),
                       samples[c].end(),
                       rounded.end() - static_cast<std::ptrdiff_t>(samples[c].size()),
                       [](double value) { return static_cast<float>(value); });
    }
    std::size_t halvings = 1;
    while (halvings < levels_.size() && addHalved(halvings)) ++halvings;
}

// What the level has samples for, from the one before. False if there is nothing new.
bool EqualAngleResampler::addHalved(std::size_t halvings)
{
    constexpr long long kReach = EqualAngleKernel::kHalvingReach;
    const auto& from = levels_[halvings - 1];
    auto& to = levels_[halvings];
    const long long begin = to.written();
    const long long end = (from.written() - 1 - kReach) / 2 + 1;
    if (end <= begin) return false;
    const auto count = static_cast<std::size_t>(end - begin);
    const auto skip = static_cast<std::size_t>(2 * begin - kReach - from.first);
    for (std::size_t c = 0; c < to.values.size(); ++c) {
        to.values[c].resize(to.values[c].size() + count);
        EqualAngleKernel::halve(std::span(from.values[c]).subspan(skip),
                                std::span(to.values[c]).last(count));
    }
    return true;
}

void EqualAngleResampler::request(std::span<const EqualAngleStep> steps)
{
    waiting_.insert(waiting_.end(), steps.begin(), steps.end());
    if (!steps.empty()) lastSpeedRpm_ = steps.back().speedRpm;
}

std::span<const double> EqualAngleResampler::samples(std::size_t channel, long long from) const
{
    return std::span(source_.values[channel])
        .subspan(static_cast<std::size_t>(from - source_.first));
}

EqualAngleSamples EqualAngleResampler::take()
{
    EqualAngleSamples result;
    result.values.resize(source_.values.size());
    // Memory for all at once: none that is later than the newest sample comes out.
    const auto later =
        std::partition_point(waiting_.begin(), waiting_.end(), [&](const EqualAngleStep& step) {
            return step.seconds < endSeconds();
        });
    const auto most = static_cast<std::size_t>(later - waiting_.begin());
    result.steps.reserve(most);
    for (std::vector<double>& values : result.values) values.reserve(most);
    std::array<Place, kPlacesAtOnce> places;
    std::size_t count = 0;
    do {
        count = takePlaces(places, result.steps);
        for (std::size_t c = 0; c < result.values.size(); ++c) {
            for (const Place& place : std::span(places).first(count)) {
                const float* samples = levels_[place.level].values[c].data() + place.begin;
                result.values[c].push_back(place.weights.sumOver(samples));
            }
        }
    } while (count == kPlacesAtOnce);
    return result;
}

// Of the steps that wait those that have their samples, or never will: the latter are left out.
std::size_t EqualAngleResampler::takePlaces(std::span<Place> places,
                                            std::vector<EqualAngleStep>& steps)
{
    std::size_t count = 0;
    auto step = waiting_.begin();
    for (; step != waiting_.end() && count < places.size(); ++step) {
        const EqualAngleKernel::Choice& choice = kernel_.choose(step->speedRpm);
        const auto halvings = static_cast<std::size_t>(choice.halvings);
        const Level<float>& level = levels_[halvings];
        const double position = (step->seconds - startSeconds_) * level.rateHz;
        const long long before = roundedDown(position);
        const bool ready = before + choice.reach < level.written();
        if (!ready && !finished_) break;
        const long long begin = before - choice.reach + 1 - level.first;
        interrupted_ = interrupted_ || step->beginsSegment;
        if (!ready || begin < 0) {
            interrupted_ = true;
            continue;
        }
        steps.push_back(*step);
        steps.back().beginsSegment = std::exchange(interrupted_, false);
        places[count++] = {
            EqualAngleKernel::weightsAt(choice, position - static_cast<double>(before)),
            halvings,
            static_cast<std::size_t>(begin)};
    }
    waiting_.erase(waiting_.begin(), step);
    return count;
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
    double number = std::floor((seconds - startSeconds_) * source_.rateHz) - 1.0;
    source_.forget(number);
    for (auto& level : levels_) {
        level.forget(number);
        number *= 0.5;
    }
}

} // namespace Harmotrack::Host
