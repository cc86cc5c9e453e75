#include "host/pulse_follower.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <limits>
#include <optional>
#include <span>
#include <utility>

namespace Harmotrack::Host {
namespace {

constexpr double kJitter = 0.05;      // of ln(T / T0), whatever the pitch
constexpr double kSwing = 0.07;       // likewise, of a pitch of one turn
constexpr double kSlewPerTurn = 2.8;  // of ln T0
constexpr double kSlewAtLeast = 0.02; // so that jitter can't freeze it
constexpr double kMissedCost = 9.0;
constexpr double kDroppedCost = 9.0;
constexpr double kLostCost = 30.0;
constexpr int kMostMissed = 3;
constexpr std::size_t kMostReadings = 64;
constexpr double kHopelessCost = 100.0; // above the cheapest reading
constexpr double kLeastGroup = 8.0;
constexpr std::size_t kLeastDisturbed = 4;
constexpr std::size_t kLeastKnots = 4;
constexpr int kNoTooth = -1;
constexpr double kUnknown = std::numeric_limits<double>::quiet_NaN();
constexpr double kUnlimited = std::numeric_limits<double>::infinity();

enum class Verdict { Tooth, Dropped, DroppedTooFast, DroppedTooAbrupt, Begin };

// One reading of all pulses up to one of them: what it says of that pulse, and where it stands.
struct Reading {
    Verdict verdict = Verdict::Dropped;
    int missed = 0;         ///< teeth that should have come before the pulse
    int pitches = 1;        ///< from the tooth before
    std::size_t before = 0; ///< number of the reading of the pulse before that it goes on from

    double cost = 0.0;
    double toothSeconds = kUnknown; ///< of the last tooth
    double pitch = kUnknown;        ///< T of the last tooth
    double logPitch = kUnknown;     ///< ln T0
    int tooth = kNoTooth;           ///< number of the last tooth, counted from the gap
};

using Readings = std::vector<Reading>;

// The readings that are kept of one pulse.
struct Stage {
    double seconds = 0.0;
    Readings readings;
};

// A reading of a pulse that is final.
struct Decision {
    double seconds = 0.0;
    Verdict verdict = Verdict::Dropped;
    int missed = 0;
    int pitches = 1;
    int tooth = kNoTooth;
};

// What the settings say of the wheel and the shaft.
struct Wheel {
    explicit Wheel(const TachometerSettings& settings)
        : teeth(settings.missingTeeth > 0
                    ? static_cast<int>(settings.pulsesPerRevolution) - settings.missingTeeth
                    : 0),
          missingTeeth(settings.missingTeeth),
          turnsPerPitch(settings.gearRatio / settings.pulsesPerRevolution),
          sigma(kJitter + kSwing / std::sqrt(std::max(settings.pulsesPerRevolution, 1.0))),
          slew(kSlewPerTurn / settings.pulsesPerRevolution + kSlewAtLeast),
          shortestPitch(settings.maxRpm ? turnsPerPitch * 60.0 / *settings.maxRpm : 0.0),
          mostHzPerSecond(settings.maxRpmPerSecond ? *settings.maxRpmPerSecond / 60.0 : kUnlimited),
          groupSize(static_cast<std::size_t>(
              std::max(std::ceil(settings.pulsesPerRevolution), kLeastGroup)))
    {
    }

    /// Pitches from a tooth to the next one.
    [[nodiscard]] int pitchesAfter(int tooth) const
    {
        return teeth > 0 && tooth == teeth - 1 ? 1 + missingTeeth : 1;
    }

    [[nodiscard]] bool isBesideGap(int tooth) const
    {
        return teeth > 0 && (tooth == 0 || tooth == teeth - 1);
    }

    /// What a pulse is that makes a pitch which the shaft can't do, otherwise Tooth.
    [[nodiscard]] Verdict limit(const Reading& from, double pitch) const
    {
        if (pitch < shortestPitch) return Verdict::DroppedTooFast;
        if (std::isnan(from.pitch)) return Verdict::Tooth;
        const double change = turnsPerPitch / pitch - turnsPerPitch / from.pitch;
        const bool abrupt = std::abs(change) > mostHzPerSecond * 0.5 * (pitch + from.pitch);
        return abrupt ? Verdict::DroppedTooAbrupt : Verdict::Tooth;
    }

    int teeth; ///< that are there, if some are missing, else 0
    int missingTeeth;
    double turnsPerPitch;
    double sigma; ///< of ln(T / T0)
    double slew;  ///< of ln T0 in a pitch
    double shortestPitch;
    double mostHzPerSecond;
    std::size_t groupSize;
};

Reading following(const Reading& from, std::size_t before, Verdict verdict, double cost)
{
    Reading to = from;
    to.verdict = verdict;
    to.missed = 0;
    to.pitches = 1;
    to.before = before;
    to.cost = from.cost + cost;
    return to;
}

// A segment begins; on a wheel with missing teeth with any of them.
void addBeginnings(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Readings& next)
{
    Reading to =
        following(from, before, Verdict::Begin, std::isnan(from.toothSeconds) ? 0.0 : kLostCost);
    to.toothSeconds = seconds;
    to.pitch = kUnknown;
    to.logPitch = kUnknown;
    if (wheel.teeth == 0) next.push_back(to);
    for (to.tooth = 0; to.tooth < wheel.teeth; ++to.tooth) next.push_back(to);
}

// The pulse is none of the wheel's.
void addDrop(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Readings& next)
{
    const double pitch = (seconds - from.toothSeconds) / wheel.pitchesAfter(from.tooth);
    const Verdict limit = wheel.limit(from, pitch);
    next.push_back(
        following(from, before, limit == Verdict::Tooth ? Verdict::Dropped : limit, kDroppedCost));
}

// The pulse is the next tooth, or a later one.
void addTeeth(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Readings& next)
{
    const bool first = std::isnan(from.logPitch);
    int tooth = from.tooth;
    int pitches = 0;
    for (int missed = 0; missed <= (first ? 0 : kMostMissed); ++missed) {
        pitches += wheel.pitchesAfter(tooth);
        if (wheel.teeth > 0) tooth = (tooth + 1) % wheel.teeth;
        const double pitch = (seconds - from.toothSeconds) / pitches;
        if (wheel.limit(from, pitch) != Verdict::Tooth) continue;

        const double logPitch = std::log(pitch);
        const double off = first ? 0.0 : logPitch - from.logPitch;
        const double cost = (off / wheel.sigma) * (off / wheel.sigma) + kMissedCost * missed;
        Reading to = following(from, before, Verdict::Tooth, cost);
        to.missed = missed;
        to.pitches = pitches;
        to.toothSeconds = seconds;
        to.pitch = pitch;
        const double slew = wheel.slew * pitches;
        to.logPitch = first ? logPitch : from.logPitch + std::clamp(off, -slew, slew);
        to.tooth = tooth;
        next.push_back(to);
    }
}

// Of readings that stand at the same tooth at the same time the cheapest, and of these the
// cheapest.
Readings cheapestOf(Readings next, std::size_t most)
{
    std::stable_sort(
        next.begin(), next.end(), [](const auto& a, const auto& b) { return a.cost < b.cost; });
    Readings kept;
    for (const Reading& reading : next) {
        if (kept.size() == most || reading.cost > next.front().cost + kHopelessCost) break;
        const bool known = std::any_of(kept.begin(), kept.end(), [&](const Reading& other) {
            return other.toothSeconds == reading.toothSeconds && other.tooth == reading.tooth;
        });
        if (!known) kept.push_back(reading);
    }
    return kept;
}

} // namespace

struct PulseFollower::Reader {
    explicit Reader(const TachometerSettings& settings)
        : wheel(settings), mostWaiting(2 * wheel.groupSize + 32)
    {
        stages.push_back({0.0, {Reading{}}});
    }

    void read(double seconds);
    void settle();
    void decideByCheapest();
    void commit(std::size_t stage, std::size_t reading);
    void judgeGroup();
    void pass(const Decision& decision);
    void passTooth(const Decision& decision);
    void passKnot(double seconds);
    void giveUpFewKnots();
    void closeStretch();
    void report(const TachoEvent& event);

    Wheel wheel;
    std::size_t mostWaiting;
    std::deque<Stage> stages; ///< the first one is final

    std::vector<Decision> group; ///< final decisions that are judged together

    /// The stretch that is being dropped (Unreadable) or reported as one (Disturbed), if any.
    std::optional<TachoEvent> stretch;

    // The segment that is being passed on.
    bool open = false;
    double turns = 0.0;
    double lastSeconds = kUnknown;   ///< of its last tooth
    std::vector<AngleKnot> fewKnots; ///< of one that may still be too short
    bool passed = false;             ///< it is not

    std::vector<AngleKnot> knots;
    std::vector<TachoEvent> events;
};

void PulseFollower::Reader::read(double seconds)
{
    const Readings& from = stages.back().readings;
    Readings next;
    for (std::size_t i = 0; i < from.size(); ++i) {
        if (std::isnan(from[i].toothSeconds)) {
            addBeginnings(wheel, from[i], i, seconds, next);
            continue;
        }
        addTeeth(wheel, from[i], i, seconds, next);
        addDrop(wheel, from[i], i, seconds, next);
        // The shaft may be lost at any pulse; the cheapest reading tells best what was before.
        if (i == 0) addBeginnings(wheel, from[i], i, seconds, next);
    }
    const std::size_t most = std::max(kMostReadings, static_cast<std::size_t>(2 * wheel.teeth));
    stages.push_back({seconds, cheapestOf(std::move(next), most)});
    settle();
}

// What all readings agree on is final.
void PulseFollower::Reader::settle()
{
    std::vector<std::size_t> alive(stages.back().readings.size());
    for (std::size_t i = 0; i < alive.size(); ++i) alive[i] = i;
    for (std::size_t stage = stages.size() - 1; stage > 0; --stage) {
        if (alive.size() == 1) {
            commit(stage, alive.front());
            return;
        }
        for (std::size_t& reading : alive) reading = stages[stage].readings[reading].before;
        std::sort(alive.begin(), alive.end());
        alive.erase(std::unique(alive.begin(), alive.end()), alive.end());
    }
    if (stages.size() > mostWaiting) decideByCheapest();
}

// The older half of what waits becomes as the cheapest reading has it; those that have it
// otherwise are given up.
void PulseFollower::Reader::decideByCheapest()
{
    const std::size_t target = stages.size() / 2;
    std::size_t chosen = 0;
    for (std::size_t stage = stages.size() - 1; stage > target; --stage)
        chosen = stages[stage].readings[chosen].before;

    std::vector<std::size_t> places(stages[target].readings.size(), stages.size());
    places[chosen] = 0;
    stages[target].readings = {stages[target].readings[chosen]};
    for (std::size_t stage = target + 1; stage < stages.size(); ++stage) {
        const Readings old = std::move(stages[stage].readings);
        Readings& kept = stages[stage].readings = {};
        std::vector<std::size_t> newPlaces(old.size(), stages.size());
        for (std::size_t i = 0; i < old.size(); ++i) {
            if (places[old[i].before] == stages.size()) continue;
            newPlaces[i] = kept.size();
            kept.push_back(old[i]);
            kept.back().before = places[old[i].before];
        }
        places = std::move(newPlaces);
    }
    commit(target, 0);
}

void PulseFollower::Reader::commit(std::size_t stage, std::size_t reading)
{
    const std::size_t first = group.size();
    for (std::size_t s = stage; s > 0; --s) {
        const Reading& said = stages[s].readings[reading];
        group.push_back({stages[s].seconds, said.verdict, said.missed, said.pitches, said.tooth});
        reading = said.before;
    }
    std::reverse(group.begin() + static_cast<std::ptrdiff_t>(first), group.end());
    stages.erase(stages.begin(), stages.begin() + static_cast<std::ptrdiff_t>(stage));
    while (group.size() >= wheel.groupSize) judgeGroup();
}

namespace {

std::size_t mendedOf(std::span<const Decision> decisions)
{
    std::size_t mended = 0;
    for (const Decision& decision : decisions) {
        const bool tooth = decision.verdict == Verdict::Tooth;
        if (tooth) mended += static_cast<std::size_t>(decision.missed);
        if (!tooth && decision.verdict != Verdict::Begin) ++mended;
    }
    return mended;
}

} // namespace

// Lets the pulses of a turn pass, or drops them all.
void PulseFollower::Reader::judgeGroup()
{
    const std::size_t size = std::min(group.size(), wheel.groupSize);
    const auto end = group.begin() + static_cast<std::ptrdiff_t>(size);
    const std::vector<Decision> judged(group.begin(), end);
    group.erase(group.begin(), end);

    using Kind = TachoEvent::Kind;
    const std::size_t mended = mendedOf(judged);
    const bool unreadable = 2 * mended > size;
    if (unreadable || (10 * mended > size && mended >= kLeastDisturbed)) {
        const Kind kind = unreadable ? Kind::Unreadable : Kind::Disturbed;
        if (stretch && stretch->kind != kind) closeStretch();
        if (!stretch) stretch = TachoEvent{judged.front().seconds, 0.0, kind, 0};
        stretch->untilSeconds = judged.back().seconds;
        stretch->pulses += static_cast<int>(unreadable ? size : mended);
    } else {
        closeStretch();
    }
    for (const Decision& decision : judged) {
        if (!unreadable) pass(decision);
    }
}

void PulseFollower::Reader::closeStretch()
{
    if (!stretch) return;
    events.push_back(*stretch);
    if (stretch->kind == TachoEvent::Kind::Unreadable) open = false;
    stretch.reset();
}

// A single pulse that was mended, unless a stretch counts it.
void PulseFollower::Reader::report(const TachoEvent& event)
{
    if (!stretch) events.push_back(event);
}

void PulseFollower::Reader::pass(const Decision& decision)
{
    using Kind = TachoEvent::Kind;
    const auto dropped = [&](Kind kind) { report({decision.seconds, decision.seconds, kind, 1}); };
    switch (decision.verdict) {
    case Verdict::Dropped:
        return dropped(Kind::ExtraPulse);
    case Verdict::DroppedTooFast:
        return dropped(Kind::TooFast);
    case Verdict::DroppedTooAbrupt:
        return dropped(Kind::TooAbrupt);
    case Verdict::Begin:
        if (open) events.push_back({lastSeconds, decision.seconds, Kind::NoPulses, 0});
        open = false;
        break;
    case Verdict::Tooth:
        break;
    }
    passTooth(decision);
}

void PulseFollower::Reader::passTooth(const Decision& decision)
{
    if (open && decision.missed > 0)
        report({lastSeconds, decision.seconds, TachoEvent::Kind::MissingPulse, decision.missed});
    if (open) {
        turns += decision.pitches * wheel.turnsPerPitch;
    } else {
        giveUpFewKnots();
        open = true;
        passed = false;
        turns = decision.tooth == kNoTooth ? 0.0 : decision.tooth * wheel.turnsPerPitch;
    }
    lastSeconds = decision.seconds;
    if (!wheel.isBesideGap(decision.tooth)) passKnot(decision.seconds);
}

void PulseFollower::Reader::passKnot(double seconds)
{
    if (passed) {
        knots.push_back({seconds, turns, kUnknown, false});
        return;
    }
    fewKnots.push_back({seconds, turns, kUnknown, fewKnots.empty()});
    if (fewKnots.size() < kLeastKnots) return;
    knots.insert(knots.end(), fewKnots.begin(), fewKnots.end());
    fewKnots.clear();
    passed = true;
}

// A segment ends that never became long enough.
void PulseFollower::Reader::giveUpFewKnots()
{
    if (fewKnots.empty()) return;
    events.push_back({fewKnots.front().seconds,
                      fewKnots.back().seconds,
                      TachoEvent::Kind::Unreadable,
                      static_cast<int>(fewKnots.size())});
    fewKnots.clear();
}

PulseFollower::PulseFollower(const TachometerSettings& settings)
    : reader_((settings.validate(), std::make_unique<Reader>(settings)))
{
}

PulseFollower::~PulseFollower() = default;
PulseFollower::PulseFollower(PulseFollower&&) noexcept = default;
PulseFollower& PulseFollower::operator=(PulseFollower&&) noexcept = default;

void PulseFollower::feed(std::span<const double> pulseSeconds)
{
    for (const double seconds : pulseSeconds) reader_->read(seconds);
}

void PulseFollower::finish()
{
    Reader& reader = *reader_;
    reader.commit(reader.stages.size() - 1, 0);
    while (!reader.group.empty()) reader.judgeGroup();
    reader.closeStretch();
    reader.giveUpFewKnots();
}

std::vector<AngleKnot> PulseFollower::takeKnots()
{
    return std::exchange(reader_->knots, {});
}

std::vector<TachoEvent> PulseFollower::takeEvents()
{
    return std::exchange(reader_->events, {});
}

} // namespace Harmotrack::Host
