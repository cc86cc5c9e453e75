#include "host/shaft/tachometer.h"

#include "host/host_error.h"
#include "host/ranges.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>

namespace Harmotrack::Host {
namespace {

constexpr std::size_t kSharesToLearn = 32;
constexpr std::size_t kMostFalls = 4096;   // that wait for a knot, and 8 turns of them
constexpr std::size_t kMostWaiting = 1024; // pulses, for the share of their falling flanks

double medianOf(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

template <typename Value>
void append(std::vector<Value>& to, std::vector<Value> values)
{
    to.insert(to.end(), values.begin(), values.end());
}

} // namespace

Tachometer::Tachometer(TachometerSettings settings)
    : settings_(std::move(settings)), follower_(settings_),
      releasedUntil_(-std::numeric_limits<double>::infinity())
{
}

TachoReading Tachometer::read(const UniformSignal& channel) const
{
    Tachometer fresh(settings_);
    fresh.start(channel.rateHz, channel.startSeconds);
    fresh.feed(channel.samples);
    return fresh.reading();
}

TachoReading Tachometer::readPulses(std::span<const double> seconds) const
{
    std::vector<PulseEdge> edges;
    edges.reserve(seconds.size());
    for (const double time : seconds) edges.push_back({time, true});
    return readEdges(edges);
}

TachoReading Tachometer::readEdges(std::span<const PulseEdge> edges) const
{
    Tachometer fresh(settings_);
    fresh.feedEdges(edges);
    return fresh.reading();
}

TachoReading Tachometer::reading()
{
    finish();
    return {takeKnots(), takeEvents(), pulses_, remarks()};
}

std::vector<double> Tachometer::pulseTimes(const UniformSignal& channel) const
{
    PulseDetector detector(settings_, channel.rateHz, channel.startSeconds);
    std::vector<PulseEdge> edges = detector.feed(channel.samples);
    append(edges, detector.finish());
    if (edges.empty()) throw HostError(detector.noPulsesText());
    std::vector<double> times;
    for (const PulseEdge& edge : edges) {
        if (times.empty() || edge.seconds > times.back()) times.push_back(edge.seconds);
    }
    return times;
}

void Tachometer::start(double rateHz, double startSeconds)
{
    detector_.emplace(settings_, rateHz, startSeconds);
}

void Tachometer::feed(std::span<const double> samples)
{
    for (const PulseEdge& edge : detector_.value().feed(samples)) release(edge);
}

void Tachometer::feedEdges(std::span<const PulseEdge> edges)
{
    for (const PulseEdge& edge : edges) {
        if (!std::isfinite(edge.seconds))
            throw HostError(settings_.name + " has a pulse whose time is not a finite number.");
        checkTime("The time of a pulse of " + settings_.name, edge.seconds);
    }
    for (const PulseEdge& edge : edges) sortIn(edge);
}

void Tachometer::finish()
{
    if (detector_) {
        for (const PulseEdge& edge : detector_->finish()) release(edge);
    }
    for (const PulseEdge& edge : std::exchange(sorting_, {})) release(edge);
    if (pulses_ == 0)
        throw HostError(detector_ ? detector_->noPulsesText() : settings_.name + " has no pulses.");
    follower_.finish();
    takeFollowed();
    learnShare();
    passOn(waiting_.size());
    if (smoother_) smoother_->finish(knots_);
}

std::vector<std::string> Tachometer::remarks() const
{
    std::vector<std::string> remarks;
    const std::string doubtful = summary_.text(pulses_);
    if (!doubtful.empty()) remarks.push_back(doubtful);
    if (smoother_ && smoother_->moved() > 0) {
        const std::string why =
            settings_.smoothingTurns
                ? ""
                : "The tacho has two values and its pulses scatter by its samples, so ";
        remarks.push_back(why + (why.empty() ? "The" : "the") + " times of " +
                          std::to_string(smoother_->moved()) +
                          " moments were smoothed over up to " +
                          numberText(smoother_->widestTurns()) + " turns, and moved by up to " +
                          numberText(smoother_->farthestSeconds()) + " s.");
    }
    return remarks;
}

void Tachometer::note(const TachoEvent& event)
{
    summary_.add(event);
    events_.push_back(event);
}

// A knot that is certain: on its way to who takes it.
void Tachometer::pass(const AngleKnot& knot)
{
    if (!std::exchange(begun_, true)) {
        const std::optional<double> turns = settings_.smoothingTurns;
        const bool byScatter = !turns && detector_ && detector_->isRectangular();
        if (byScatter || turns.value_or(0.0) > 0.0)
            smoother_.emplace(turns, detector_ ? detector_->stepSeconds() : 0.0);
    }
    if (smoother_)
        smoother_->feed(knot, knots_);
    else
        knots_.push_back(knot);
}

void Tachometer::sortIn(const PulseEdge& edge)
{
    const auto place = std::upper_bound(
        sorting_.begin(), sorting_.end(), edge, [](const PulseEdge& a, const PulseEdge& b) {
            return a.seconds < b.seconds;
        });
    sorting_.insert(place, edge);
    if (sorting_.size() <= static_cast<std::size_t>(settings_.disorder)) return;
    release(sorting_.front());
    sorting_.erase(sorting_.begin());
}

void Tachometer::release(const PulseEdge& edge)
{
    ++pulses_;
    if (edge.seconds <= releasedUntil_) {
        note({edge.seconds, edge.seconds, TachoEvent::Kind::OutOfOrder, 1});
        return;
    }
    releasedUntil_ = edge.seconds;
    if (settings_.edge == Edge::Both && !edge.rising) {
        falls_.push_back(edge.seconds);
        forgetFalls();
    } else {
        follower_.feed({&edge.seconds, 1});
        takeFollowed();
    }
}

// No knot is as late as all that wait. The two that stay behind the last knot say that none is its
// own.
void Tachometer::forgetFalls()
{
    const std::size_t most =
        kMostFalls + static_cast<std::size_t>(8.0 * settings_.pulsesPerRevolution);
    if (falls_.size() < most) return;
    falls_.erase(falls_.begin() + 2, falls_.begin() + static_cast<std::ptrdiff_t>(most / 4));
}

void Tachometer::takeFollowed()
{
    for (const TachoEvent& event : follower_.takeEvents()) note(event);
    const std::vector<AngleKnot> knots = follower_.takeKnots();
    if (settings_.edge != Edge::Both) {
        for (const AngleKnot& knot : knots) pass(knot);
        return;
    }
    for (const AngleKnot& knot : knots) {
        if (!waiting_.empty()) addFalls(knot);
        waiting_.push_back({knot, {}});
        if (waiting_.size() >= kMostWaiting) {
            learnShare();
            passOn(waiting_.size() - 1);
        }
    }
    if (share_ && !waiting_.empty()) passOn(waiting_.size() - 1);
}

// Gives the newest pulse its falling flank, if there is just one before the next knot, and no tooth
// is missing between. An even change of speed bends the share seen from this pulse's rise one way
// and that seen from the next pulse's rise the other way: their mean is straight.
void Tachometer::addFalls(const AngleKnot& next)
{
    Pulse& pulse = waiting_.back();
    const auto from = std::upper_bound(falls_.begin(), falls_.end(), pulse.rise.seconds);
    const auto to = std::lower_bound(from, falls_.end(), next.seconds);
    const double pitch = settings_.gearRatio / settings_.pulsesPerRevolution;
    const bool neighbours =
        !next.beginsSegment && next.turns - pulse.rise.turns < 1.5 * pitch && to - from == 1;
    if (neighbours) pulse.fallSeconds = *from;
    falls_.erase(falls_.begin(), to);
    if (!neighbours || share_ || waiting_.size() < 2) return;

    const Pulse& before = waiting_[waiting_.size() - 2];
    if (pulse.rise.beginsSegment || !before.fallSeconds) return;
    const double rise = pulse.rise.seconds;
    const double fall = *before.fallSeconds;
    const double fromRises = (fall - before.rise.seconds) / (rise - before.rise.seconds);
    const double fromFalls = 1.0 - (rise - fall) / (*pulse.fallSeconds - fall);
    shares_.push_back(0.5 * (fromRises + fromFalls));
    if (shares_.size() == kSharesToLearn) learnShare();
}

void Tachometer::learnShare()
{
    if (!share_ && !shares_.empty()) share_ = medianOf(std::exchange(shares_, {}));
}

void Tachometer::passOn(std::size_t pulses)
{
    const double pitch = settings_.gearRatio / settings_.pulsesPerRevolution;
    for (std::size_t i = 0; i < pulses; ++i) {
        const Pulse& pulse = waiting_[i];
        pass(pulse.rise);
        if (!pulse.fallSeconds || !share_) continue;
        AngleKnot fall;
        fall.seconds = *pulse.fallSeconds;
        fall.turns = pulse.rise.turns + *share_ * pitch;
        pass(fall);
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(pulses));
}

std::vector<AngleKnot> Tachometer::takeKnots()
{
    return std::exchange(knots_, {});
}

std::vector<TachoEvent> Tachometer::takeEvents()
{
    return std::exchange(events_, {});
}

} // namespace Harmotrack::Host
