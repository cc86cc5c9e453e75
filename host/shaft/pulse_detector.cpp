#include "host/shaft/pulse_detector.h"

#include "host/host_error.h"
#include "host/ranges.h"

#include <boost/math/interpolators/barycentric_rational.hpp>
#include <boost/math/tools/roots.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <utility>

namespace Harmotrack::Host {
namespace {

constexpr std::size_t kPoints = 6; // of the polynomial round a crossing
constexpr std::size_t kExtremes = 31;
constexpr std::size_t kPulsesToLearn = 8;
constexpr double kSecondsToLearn = 0.25;
constexpr std::size_t kMostToLearn = std::size_t{1} << 22;
constexpr std::size_t kLongestFlank = std::size_t{1} << 20;
constexpr double kLeastSwing = 0.4; // of the height; less is noise, and no news of the levels
constexpr double kPlateau = 0.05;   // of the height; samples of a rectangle are as near to its ends
constexpr std::size_t kForgetAtOnce = 4096;

// The instant, in samples, at which the signal passes the level between sample `before` and the
// next one, which lie on either side of it. If they don't, the level has moved: the next sample.
double crossingPosition(std::span<const double> samples, std::size_t before, double level)
{
    const double below = samples[before] - level;
    const double above = samples[before + 1] - level;
    if (below == 0.0) return static_cast<double>(before);
    if (above == 0.0 || (below < 0.0) == (above < 0.0)) return static_cast<double>(before + 1);
    if (samples.size() < kPoints) return static_cast<double>(before) + below / (below - above);

    const std::size_t first =
        std::min(before - std::min<std::size_t>(before, kPoints / 2 - 1), samples.size() - kPoints);
    const auto origin = static_cast<double>(first);
    std::array<double, kPoints> x{};
    std::array<double, kPoints> y{};
    for (std::size_t i = 0; i < kPoints; ++i) {
        x[i] = static_cast<double>(i);
        y[i] = samples[first + i] - level;
    }
    const boost::math::barycentric_rational<double> polynomial(
        x.data(), y.data(), kPoints, kPoints - 1);
    const double from = static_cast<double>(before) - origin;
    std::uintmax_t iterations = 60;
    const auto [left, right] =
        boost::math::tools::toms748_solve([&](double position) { return polynomial(position); },
                                          from,
                                          from + 1.0,
                                          below,
                                          above,
                                          boost::math::tools::eps_tolerance<double>(40),
                                          iterations);
    return origin + 0.5 * (left + right);
}

} // namespace

void PulseDetector::Extremes::add(double value)
{
    if (values_.size() < kExtremes) {
        values_.push_back(value);
        return;
    }
    values_[next_] = value;
    next_ = (next_ + 1) % kExtremes;
}

double PulseDetector::Extremes::median() const
{
    std::array<double, kExtremes> sorted{};
    std::copy(values_.begin(), values_.end(), sorted.begin());
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(values_.size() / 2);
    std::nth_element(
        sorted.begin(), middle, sorted.begin() + static_cast<std::ptrdiff_t>(values_.size()));
    return *middle;
}

PulseDetector::PulseDetector(TachometerSettings settings, double rateHz, double startSeconds)
    : settings_(std::move(settings)), rateHz_(rateHz), startSeconds_(startSeconds),
      learnAt_((checkRate("The sampling rate of the tacho", rateHz),
                static_cast<std::size_t>(std::clamp(
                    kSecondsToLearn * rateHz, 16.0, static_cast<double>(kMostToLearn))))),
      lowestSeen_(std::numeric_limits<double>::infinity()), highestSeen_(-lowestSeen_)
{
    settings_.validate();
    checkTime("The time of the tacho's first sample", startSeconds);
}

std::vector<PulseEdge> PulseDetector::feed(std::span<const double> samples)
{
    const auto bad = std::find_if(
        samples.begin(), samples.end(), [](double value) { return !std::isfinite(value); });
    if (bad != samples.end()) {
        const double number = static_cast<double>(first_ + samples_.size()) +
                              static_cast<double>(bad - samples.begin());
        throw HostError(settings_.name + " holds a value that is not a finite number at " +
                        numberText(startSeconds_ + number / rateHz_) + " s.");
    }
    for (const double sample : samples) {
        samples_.push_back(sample);
        lowestSeen_ = std::min(lowestSeen_, sample);
        highestSeen_ = std::max(highestSeen_, sample);
        if (learned_) {
            take(sample);
        } else if (samples_.size() >= learnAt_) {
            tryToLearn(false);
        }
    }
    if (learned_) forget();
    return std::exchange(edges_, {});
}

std::vector<PulseEdge> PulseDetector::finish()
{
    if (!learned_ && !samples_.empty()) tryToLearn(true);
    settle(taken_, true);
    return std::exchange(edges_, {});
}

std::string PulseDetector::noPulsesText() const
{
    if (samples_.empty() && taken_ == 0) return settings_.name + " has no samples.";
    return settings_.name + " shows no pulses: its values stay between " + numberText(lowestSeen_) +
           " and " + numberText(highestSeen_) + ", and a pulse crosses " + numberText(level_) +
           " by " + numberText(margin_) + " on either side.";
}

// The lower quartile of the minima of 16 stretches and the upper quartile of their maxima: a spike
// or a stretch without pulses does not move them.
PulseDetector::Levels PulseDetector::typicalLevels(std::span<const double> samples)
{
    constexpr std::size_t kStretches = 16;
    const std::size_t stretches = std::min(kStretches, samples.size());
    std::vector<double> lows;
    std::vector<double> highs;
    for (std::size_t i = 0; i < stretches; ++i) {
        const std::size_t first = samples.size() * i / stretches;
        const std::size_t last = samples.size() * (i + 1) / stretches;
        const auto stretch = samples.subspan(first, last - first);
        const auto [low, high] = std::minmax_element(stretch.begin(), stretch.end());
        lows.push_back(*low);
        highs.push_back(*high);
    }
    std::sort(lows.begin(), lows.end());
    std::sort(highs.begin(), highs.end());
    return {lows[lows.size() / 4], highs[highs.size() - 1 - highs.size() / 4]};
}

void PulseDetector::setLevels(Levels levels)
{
    height_ = levels.high - levels.low;
    level_ = settings_.level ? *settings_.level : 0.5 * (levels.low + levels.high);
    margin_ = settings_.hysteresisPercent / 100.0 * height_;
}

// Enough pulses, or the end of the channel, or of the memory for it.
void PulseDetector::tryToLearn(bool atTheEnd)
{
    const Levels levels = typicalLevels(samples_);
    setLevels(levels);
    const std::size_t pulses = countPulses();
    const bool full = samples_.size() >= kMostToLearn;
    if (atTheEnd || pulses >= kPulsesToLearn || (full && pulses > 0)) {
        start(levels);
        return;
    }
    if (full) { // nothing for so long: go on with the newer half
        const std::size_t half = samples_.size() / 2;
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(half));
        first_ += half;
        taken_ = first_;
    }
    learnAt_ = std::min(2 * samples_.size(), kMostToLearn);
}

std::size_t PulseDetector::countPulses() const
{
    std::size_t pulses = 0;
    bool below = false;
    for (const double sample : samples_) {
        if (sample < level_ - margin_) below = true;
        if (below && sample > level_ + margin_) {
            below = false;
            ++pulses;
        }
    }
    return pulses;
}

void PulseDetector::start(Levels levels)
{
    learned_ = true;
    rectangular_ = hasTwoValues(levels);
    lows_.add(levels.low);
    highs_.add(levels.high);
    otherExtreme_ = std::numeric_limits<double>::infinity();
    const std::vector<double> kept = std::exchange(samples_, {});
    for (const double sample : kept) {
        samples_.push_back(sample);
        take(sample);
    }
}

// A flank of any length has at least one sample on its way.
bool PulseDetector::hasTwoValues(Levels levels) const
{
    const double near = kPlateau * (levels.high - levels.low);
    std::size_t between = 0;
    for (const double sample : samples_) {
        const bool onPlateau =
            std::abs(sample - levels.low) <= near || std::abs(sample - levels.high) <= near;
        if (!onPlateau) ++between;
    }
    return near > 0.0 && between <= countPulses() / 5;
}

void PulseDetector::take(double sample)
{
    const std::size_t number = taken_++;
    if (!(height_ > 0.0)) return;
    const bool above = margin_ > 0.0 ? sample >= level_ + margin_ : sample >= level_;
    const bool below = margin_ > 0.0 ? sample < level_ - margin_ : sample < level_;
    if ((above && side_ < 0) || (below && side_ > 0)) confirm(number, above);
    if (above || below) {
        const int side = above ? 1 : -1;
        const bool further = above ? sample > extreme_ : sample < extreme_;
        if (side != side_ || further) extreme_ = sample;
        side_ = side;
    }
    if (side_ == 0 || (sample >= level_) == (side_ > 0)) keepFrom_ = number;
    settle(number, false);
}

// The signal has gone through the hysteresis: the extreme on the side it left is known, and the
// crossing is the last one before. There is none if the level has moved past the signal since.
void PulseDetector::confirm(std::size_t number, bool rising)
{
    std::size_t before = number - 1;
    while (before > first_ && (samples_[before - first_] >= level_) == rising) --before;
    pending_.push_back({before, rising, level_});
    const double swing = std::abs(extreme_ - otherExtreme_);
    otherExtreme_ = extreme_;
    if (swing < kLeastSwing * height_) return;
    (rising ? lows_ : highs_).add(extreme_);
    setLevels({lows_.median(), highs_.median()});
}

// Solves for the crossings that have all the samples they need behind them.
void PulseDetector::settle(std::size_t newest, bool atTheEnd)
{
    std::size_t done = 0;
    for (; done < pending_.size(); ++done) {
        const Pending& crossing = pending_[done];
        if (!atTheEnd && newest < crossing.before + kPoints / 2) break;
        if (settings_.edge != Edge::Both && crossing.rising != (settings_.edge == Edge::Rising))
            continue;
        // The six samples round it, whatever else is kept.
        const std::size_t before = crossing.before - first_;
        const std::size_t from = before - std::min<std::size_t>(before, kPoints / 2 - 1);
        const std::size_t to = std::min(from + kPoints, samples_.size());
        const std::size_t begin = to - std::min(to, kPoints);
        const double position = crossingPosition(std::span(samples_).subspan(begin, to - begin),
                                                 before - begin,
                                                 crossing.level) +
                                static_cast<double>(first_ + begin);
        edges_.push_back({startSeconds_ + position / rateHz_, crossing.rising});
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(done));
}

// Keeps what a crossing that is under way may still need.
void PulseDetector::forget()
{
    std::size_t needed = keepFrom_;
    for (const Pending& crossing : pending_) needed = std::min(needed, crossing.before);
    needed -= std::min<std::size_t>(needed, kPoints);
    // A signal that hangs between level and hysteresis is no flank that anyone waits for.
    needed = std::max(needed, taken_ - std::min(taken_, kLongestFlank));
    if (needed < first_ + kForgetAtOnce) return;
    samples_.erase(samples_.begin(),
                   samples_.begin() + static_cast<std::ptrdiff_t>(needed - first_));
    first_ = needed;
}

} // namespace Harmotrack::Host
