#include "host/shaft/pulse_follower.h"

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
constexpr double kStartRatio = 0.9;   // of ln T from the first pitch to the second: ln(1 + √2)
constexpr double kStartCost = 12.0;   // of such a second pitch at most
constexpr double kMissedCost = 9.0;
constexpr double kDroppedCost = 9.0;
constexpr double kLostCost = 30.0;
constexpr double kPauseCost =
    12.0; // lost where none came for longer than can be bridged, and half a turn
constexpr double kMostSlewCost = 28.0; // of a change that a shaft can do
constexpr int kMostMissed = 3;
constexpr std::size_t kMostReadings = 64;
constexpr std::size_t kMostWaiting = 160; // pulses
constexpr double kHopelessCost = 60.0;    // above the cheapest reading
constexpr double kOtherPitch = 0.2; // of ln T: readings that differ by more say different things
constexpr double kLeastGroup = 8.0;
constexpr std::size_t kLeastDisturbed = 4;
constexpr std::size_t kLeastKnots = 4;
constexpr std::size_t kLostMended = 3;
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
    double change = kUnknown;       ///< of ln T0 in the last pitch
    double changeBefore = kUnknown; ///< likewise, in the pitch before that
    double trend = kUnknown;        ///< ln(T / T0) to come, if the shaft goes on as it does
    int tooth = kNoTooth;           ///< number of the last tooth, counted from the gap, once known
    int counted = 0;                ///< pitches since the segment began, while it is not
};

using Readings = std::vector<Reading>;

// How the readings of one pulse may go on at the next one; without those that have no chance.
struct Candidates {
    void add(const Reading& reading)
    {
        ++considered;
        cheapest = std::min(cheapest, reading.cost);
        if (reading.cost <= cheapest + kHopelessCost) readings.push_back(reading);
    }

    Readings readings;
    double cheapest = kUnlimited;
    std::size_t considered = 0;
};

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
          logPause(std::log(std::max(kMostMissed + 1.0 + settings.missingTeeth,
                                     0.5 * settings.pulsesPerRevolution))),
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
    double logPause; ///< ln of the pitches without a pulse behind which the shaft is lost
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

double costOfBeginning(const Wheel& wheel, const Reading& from, double seconds)
{
    if (std::isnan(from.toothSeconds)) return 0.0;
    if (std::isnan(from.trend)) return kLostCost;
    const double pitches = std::log(seconds - from.toothSeconds) - from.logPitch;
    const bool paused = pitches > wheel.logPause + std::max(from.trend, 0.0);
    return paused ? kPauseCost : kLostCost;
}

// A segment begins. Which tooth it is will be known behind the first gap.
void addBeginning(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Candidates& next)
{
    Reading to = following(from, before, Verdict::Begin, costOfBeginning(wheel, from, seconds));
    to.toothSeconds = seconds;
    to.pitch = kUnknown;
    to.logPitch = kUnknown;
    to.change = kUnknown;
    to.trend = kUnknown;
    to.tooth = kNoTooth;
    to.counted = 0;
    next.add(to);
}

// The pulse is none of the wheel's.
void addDrop(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Candidates& next)
{
    const double pitch = (seconds - from.toothSeconds) / wheel.pitchesAfter(from.tooth);
    const Verdict limit = wheel.limit(from, pitch);
    next.add(
        following(from, before, limit == Verdict::Tooth ? Verdict::Dropped : limit, kDroppedCost));
}

// ln of a pitch by the one before, of a shaft whose acceleration stays as it was from the pitch
// before those to the last one: that ratio was r. With the last pitch as unit of time the mean
// speeds were r and 1.
double goingOn(double r)
{
    const double acceleration = 2.0 * (1.0 - r) * r / (1.0 + r);
    const double speed = 1.0 + 0.5 * acceleration;
    const double root = speed * speed + 2.0 * acceleration;
    const double pitch = 2.0 / (speed + std::sqrt(std::max(root, 0.0)));
    return std::clamp(std::log(pitch), -kStartRatio, kStartRatio);
}

// What is to come behind two changes of ln T0. What a shaft hardly does counts only if both agree:
// jitter has none of it.
double trendOf(const Wheel& wheel, double before, double change)
{
    if (std::isnan(before)) return goingOn(std::exp(change));
    const double agreed = before * change > 0.0 ? 2.0 * std::abs(before) : 0.0;
    const double most = std::max(agreed, 0.2 * wheel.slew);
    return goingOn(std::exp(std::clamp(change, -most, most)));
}

// The pitch as a step from that of the reading so far.
struct Step {
    double off;    ///< of ln T, beyond all that is between no change and going on as before
    double inside; ///< the rest of it
};

Step stepTo(const Reading& from, double logPitch, int pitches)
{
    const double change = logPitch - from.logPitch;
    const double trend = 0.5 * (pitches + 1) * from.trend;
    const double inside = std::clamp(change, std::min(trend, 0.0), std::max(trend, 0.0));
    return {change - inside, inside};
}

double costOf(const Wheel& wheel, double off, int pitches)
{
    const double cost = (off / wheel.sigma) * (off / wheel.sigma);
    return std::abs(off) <= wheel.slew * pitches ? std::min(cost, kMostSlewCost) : cost;
}

Reading toothAt(const Wheel& wheel,
                const Reading& from,
                std::size_t before,
                double seconds,
                int pitches,
                int missed)
{
    const double pitch = (seconds - from.toothSeconds) / pitches;
    const double logPitch = std::log(pitch);
    Reading to = following(from, before, Verdict::Tooth, kMissedCost * missed);
    to.missed = missed;
    to.pitches = pitches;
    to.toothSeconds = seconds;
    to.pitch = pitch;
    to.logPitch = logPitch;
    if (std::isnan(from.logPitch)) return to;

    Step step{logPitch - from.logPitch, 0.0};
    double most = wheel.slew * pitches;
    if (!std::isnan(from.trend)) {
        step = stepTo(from, logPitch, pitches);
        to.cost += costOf(wheel, step.off, pitches);
    } else if (missed == 0 && step.off < 0.0 && step.off > -kStartRatio) { // it may have started
        to.cost += std::min(costOf(wheel, step.off, pitches), kStartCost);
        most = kStartRatio;
    } else {
        to.cost += costOf(wheel, step.off, pitches);
    }
    to.changeBefore = from.change;
    to.change = step.inside + std::clamp(step.off, -most, most);
    to.logPitch = from.logPitch + to.change;
    return to;
}

// The pulse is the next tooth, or a later one.
void addTeeth(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Candidates& next)
{
    const bool first = std::isnan(from.logPitch);
    int tooth = from.tooth;
    int pitches = 0;
    for (int missed = 0; missed <= (first ? 0 : kMostMissed); ++missed) {
        pitches += wheel.pitchesAfter(tooth);
        if (tooth != kNoTooth) tooth = (tooth + 1) % wheel.teeth;
        if (wheel.limit(from, (seconds - from.toothSeconds) / pitches) != Verdict::Tooth) continue;
        Reading to = toothAt(wheel, from, before, seconds, pitches, missed);
        to.tooth = tooth;
        to.counted = from.counted + pitches;
        if (tooth != kNoTooth || wheel.teeth == 0 || to.counted < wheel.teeth) next.add(to);
    }
}

// The pulse is the first one behind the first gap.
void addFirstGap(
    const Wheel& wheel, const Reading& from, std::size_t before, double seconds, Candidates& next)
{
    if (wheel.teeth == 0 || from.tooth != kNoTooth) return;
    const int pitches = 1 + wheel.missingTeeth;
    if (wheel.limit(from, (seconds - from.toothSeconds) / pitches) != Verdict::Tooth) return;
    Reading to = toothAt(wheel, from, before, seconds, pitches, 0);
    to.tooth = 0;
    next.add(to);
}

// Whether two readings say the same of the pulses to come.
bool agree(const Reading& a, const Reading& b)
{
    if (a.toothSeconds != b.toothSeconds || a.tooth != b.tooth) return false;
    if (std::isnan(a.logPitch) || std::isnan(b.logPitch)) return true;
    return std::abs(a.logPitch - b.logPitch) <= kOtherPitch;
}

// Of readings that agree the cheapest, and of these the cheapest.
Readings cheapestOf(const Wheel& wheel, Readings next)
{
    std::stable_sort(
        next.begin(), next.end(), [](const auto& a, const auto& b) { return a.cost < b.cost; });
    Readings kept;
    for (const Reading& reading : next) {
        if (kept.size() == kMostReadings || reading.cost > next.front().cost + kHopelessCost) break;
        if (std::none_of(
                kept.begin(), kept.end(), [&](const auto& k) { return agree(k, reading); }))
            kept.push_back(reading);
    }
    for (Reading& reading : kept) {
        if (reading.verdict == Verdict::Tooth && !std::isnan(reading.change))
            reading.trend = trendOf(wheel, reading.changeBefore, reading.change);
    }
    return kept;
}

} // namespace

struct PulseFollower::Reader {
    explicit Reader(const TachometerSettings& settings)
        : wheel(settings), mostWaiting(std::min(2 * wheel.groupSize + 32, kMostWaiting))
    {
        stages.push_back({0.0, {Reading{}}});
    }

    void read(double seconds);
    void settle();
    void decideByCheapest();
    void commit(std::size_t stage, std::size_t reading);
    void number(const Decision& decision);
    void numberBackFrom(int tooth, int pitches);
    void numberAnyhow();
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
    std::size_t considered = 0;

    std::vector<Decision> nameless; ///< final ones of teeth whose numbers the first gap will tell
    std::vector<Decision> group;    ///< final decisions that are judged together

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
    Candidates next;
    for (std::size_t i = 0; i < from.size(); ++i) {
        if (std::isnan(from[i].toothSeconds)) {
            addBeginning(wheel, from[i], i, seconds, next);
            continue;
        }
        addTeeth(wheel, from[i], i, seconds, next);
        addFirstGap(wheel, from[i], i, seconds, next);
        addDrop(wheel, from[i], i, seconds, next);
        // The shaft may be lost at any pulse; the cheapest reading tells best what was before.
        if (i == 0) addBeginning(wheel, from[i], i, seconds, next);
    }
    considered += next.considered;
    stages.push_back({seconds, cheapestOf(wheel, std::move(next.readings))});
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
    std::vector<Decision> decided;
    for (std::size_t s = stage; s > 0; --s) {
        const Reading& said = stages[s].readings[reading];
        decided.push_back({stages[s].seconds, said.verdict, said.missed, said.pitches, said.tooth});
        reading = said.before;
    }
    stages.erase(stages.begin(), stages.begin() + static_cast<std::ptrdiff_t>(stage));
    std::for_each(decided.rbegin(), decided.rend(), [&](const auto& each) { number(each); });
    while (group.size() >= wheel.groupSize) judgeGroup();
}

// Lets a decision through as soon as the number of its tooth is known.
void PulseFollower::Reader::number(const Decision& decision)
{
    if (wheel.teeth == 0) {
        group.push_back(decision);
        return;
    }
    if (decision.verdict == Verdict::Begin) numberAnyhow();
    if (decision.verdict == Verdict::Tooth && decision.tooth != kNoTooth)
        numberBackFrom(decision.tooth, decision.pitches);
    const bool waits = decision.verdict == Verdict::Begin || !nameless.empty();
    (waits ? nameless : group).push_back(decision);
    if (nameless.size() > 2 * wheel.groupSize) numberAnyhow();
}

// What waits stands before this tooth.
void PulseFollower::Reader::numberBackFrom(int tooth, int pitches)
{
    const int whole = wheel.teeth + wheel.missingTeeth;
    int place = tooth;
    for (auto each = nameless.rbegin(); each != nameless.rend(); ++each) {
        if (each->verdict != Verdict::Tooth && each->verdict != Verdict::Begin) continue;
        place = (place - pitches + whole) % whole;
        each->tooth = place;
        pitches = each->pitches;
    }
    group.insert(group.end(), nameless.begin(), nameless.end());
    nameless.clear();
}

// The gap never came: the first one becomes tooth 0.
void PulseFollower::Reader::numberAnyhow()
{
    int place = 0;
    for (Decision& each : nameless) {
        if (each.verdict == Verdict::Tooth) place += each.pitches;
        if (each.verdict == Verdict::Tooth || each.verdict == Verdict::Begin) each.tooth = place;
    }
    group.insert(group.end(), nameless.begin(), nameless.end());
    nameless.clear();
}

namespace {

// Pulses that were missing or dropped, and times that the shaft was lost.
std::size_t mendedOf(std::span<const Decision> decisions)
{
    std::size_t mended = 0;
    for (const Decision& decision : decisions) {
        if (decision.verdict == Verdict::Tooth)
            mended += static_cast<std::size_t>(decision.missed);
        else if (decision.verdict != Verdict::Begin)
            ++mended;
        else if (&decision != &decisions.front())
            mended += kLostMended;
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
    // Trust that was lost comes back with a quarter, so that luck makes no island in noise.
    const bool lost = stretch && stretch->kind == Kind::Unreadable;
    const bool unreadable = (lost ? 4 : 2) * mended > size;
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
    reader.numberAnyhow();
    while (!reader.group.empty()) reader.judgeGroup();
    reader.closeStretch();
    reader.giveUpFewKnots();
}

std::size_t PulseFollower::considered() const
{
    return reader_->considered;
}

std::size_t PulseFollower::undecided() const
{
    return reader_->stages.size() - 1;
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
