#pragma once

#include "host/shaft/angle_knot.h"
#include "host/shaft/pulse_detector.h"
#include "host/shaft/pulse_follower.h"
#include "host/shaft/pulse_smoother.h"
#include "host/shaft/tacho_event.h"
#include "host/shaft/tacho_settings.h"
#include "host/shaft/tacho_summary.h"
#include "host/signals/uniform_signal.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Harmotrack::Host {

/// What a tachometer read from a whole channel or from all pulses.
struct TachoReading {
    std::vector<AngleKnot> knots;   ///< in the order of time
    std::vector<TachoEvent> events; ///< what was mended or dropped, in the order it was found
    std::size_t pulses = 0;         ///< that were seen, good and bad
    /// What has to be known before the single events: where a substantial share of the pulses was
    /// dropped, and that times were smoothed. A sentence each.
    std::vector<std::string> remarks;
};

/// From an analogue tacho channel, or from the times of pulses, to moments of known angle.
///
///     channel -> PulseDetector -> flanks -> (sorted) -> PulseFollower -> PulseSmoother -> knots
///     pulse times -------------------------^
///
/// The PulseSmoother has a part where the settings say so, or where it finds the scatter of a
/// rectangular channel.
///
/// Both ways take any number of calls with any number of values, and what comes out does not depend
/// on how they were split. Pulse times may come out of order (disorder). With Edge::Both a falling
/// flank is a knot too: it stands where the falling flanks stand on the average between two rising
/// ones, learned from the first 32 pulses, and a rising flank stays the mark.
///
/// Memory does not grow with time, but for what was not taken yet: of what can't be followed at
/// most 4096 falling flanks, and those of 8 turns, are kept. One thread at a time.
class Tachometer {
public:
    /// @throws HostError  the settings are out of range
    explicit Tachometer(TachometerSettings settings = {});

    /// Reads a whole channel.
    /// @throws HostError  the channel shows no pulses, or a sample is not finite
    [[nodiscard]] TachoReading read(const UniformSignal& channel) const;

    /// Reads the times of pulses, all rising (all falling) flanks.
    /// @throws HostError  there are none, or one is not finite
    [[nodiscard]] TachoReading readPulses(std::span<const double> seconds) const;

    /// Reads flanks of both kinds (Edge::Both), or those of one kind.
    [[nodiscard]] TachoReading readEdges(std::span<const PulseEdge> edges) const;

    /// Times of the channel's pulses as they stand there, before anything is mended: seconds,
    /// strictly increasing, at least one.
    /// @throws HostError  as read()
    [[nodiscard]] std::vector<double> pulseTimes(const UniformSignal& channel) const;

    // The same in pieces. Either start() and feed() with samples, or feedEdges(); then finish().

    /// Begins with a channel. @throws HostError  the rate is not above 0
    void start(double rateHz, double startSeconds);

    /// Takes samples of the channel. @throws HostError  one is not finite; nothing is taken
    void feed(std::span<const double> samples);

    /// Takes flanks. @throws HostError  a time is not finite; nothing is taken
    void feedEdges(std::span<const PulseEdge> edges);

    /// No more comes. @throws HostError  there were no pulses at all
    void finish();

    std::vector<AngleKnot> takeKnots();   ///< those that are certain and were not taken yet
    std::vector<TachoEvent> takeEvents(); ///< likewise

    /// TachoReading.remarks of all so far.
    [[nodiscard]] std::vector<std::string> remarks() const;

    /// Flanks and pulses that wait to become knots.
    [[nodiscard]] std::size_t waiting() const { return falls_.size() + waiting_.size(); }

    [[nodiscard]] std::size_t pulses() const { return pulses_; } ///< seen so far

    [[nodiscard]] const TachometerSettings& settings() const { return settings_; }

private:
    // A rising flank that is a knot, and the only falling one before the next knot.
    struct Pulse {
        AngleKnot rise;
        std::optional<double> fallSeconds;
    };

    void note(const TachoEvent& event);
    void pass(const AngleKnot& knot);
    void sortIn(const PulseEdge& edge);
    void release(const PulseEdge& edge);
    void forgetFalls();
    void takeFollowed();
    void addFalls(const AngleKnot& next);
    void learnShare();
    void passOn(std::size_t pulses);
    [[nodiscard]] TachoReading reading();

    TachometerSettings settings_;
    std::optional<PulseDetector> detector_;
    PulseFollower follower_;
    std::size_t pulses_ = 0;

    std::vector<PulseEdge> sorting_; ///< the newest ones, in the order of time
    double releasedUntil_;

    // Edge::Both
    std::vector<double> falls_;   ///< not yet between two knots
    std::vector<Pulse> waiting_;  ///< the last one's fall is still to come
    std::vector<double> shares_;  ///< where falling flanks stood between rising ones, 0 to 1
    std::optional<double> share_; ///< learned

    std::optional<PulseSmoother> smoother_;
    bool begun_ =
        false; ///< the first knot has come, and with it the smoother, if there is to be one
    std::vector<AngleKnot> knots_;
    std::vector<TachoEvent> events_;
    TachoSummary summary_;
};

} // namespace Harmotrack::Host
