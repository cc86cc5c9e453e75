#pragma once

#include "host/shaft/angle_knot.h"
#include "host/shaft/tacho_event.h"
#include "host/shaft/tacho_settings.h"

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// Follows a shaft by the times of its wheel's pulses, past missing and extra ones.
///
/// Several readings of the pulses are kept side by side. A reading says of each pulse that it is
/// the next tooth, or a later one with teeth missed between, or none at all, or that the shaft was
/// lost and a new segment begins. Each decision has a cost, and of readings that agree on the
/// newest tooth and, within a factor of e^0.2, on the pitch, only the cheapest lives on (Viterbi's
/// method); what all that live agree on is final.
///
///     tooth     (ln(T / T0) / σ)²     T: time for a pitch; T0: that of the reading so far, or any
///                                     between it and the one that would follow if the shaft kept
///                                     its acceleration; σ = 0.05 + 0.07 / sqrt(pulses per
///                                     revolution); at most 28 for a change of up to a factor of
///                                     e^2.8 a turn
///               at most 12            for the second pitch of a segment, where it is the shorter
///                                     one by up to 1 + √2, as that of a shaft that starts, and
///                                     no tooth is missed in it
///     missed    9 for each tooth      (up to three in a row)
///     dropped   9
///     lost      30                    12 behind a pause of more than four pitches and half a turn
///
/// So an extra pulse is dropped, and not taken for a speed that no shaft with inertia reaches
/// within a pitch, while a run-up that changes its speed by up to sixteen times a turn is followed,
/// and one from standstill from its first pulse on. A limit of speed or of its change makes the
/// pulses that break it none at all.
///
/// Where more than half of the pulses of a turn (of 8, if it has fewer) had to be mended, nothing
/// is left to trust until it is less than a quarter: the stretch is dropped whole, and so is a
/// segment of less than four knots. To be lost counts as three. Where it is more than a tenth and
/// at least four, they are reported as one stretch.
///
/// On a wheel with missing teeth the two teeth beside the gap are counted, and are no knots: a gap
/// bends the flanks next to it by a tenth of a pitch and more. Which tooth is which is known from
/// the first gap on, for which the teeth before it wait.
///
/// The work for a pulse does not grow with the number of teeth: at most 64 readings go on in at
/// most six ways each, and what they agree on is looked for among the newest 160 pulses; the older
/// half of these becomes as the cheapest reading has it.
///
/// Memory: 64 readings of each of the newest 160 pulses, and two turns of pulses. One thread at a
/// time.
class PulseFollower {
public:
    /// @param settings  pulses, missing teeth, gear ratio and limits count
    explicit PulseFollower(const TachometerSettings& settings);
    ~PulseFollower();
    PulseFollower(PulseFollower&&) noexcept;
    PulseFollower& operator=(PulseFollower&&) noexcept;

    /// @param pulseSeconds  increasing
    void feed(std::span<const double> pulseSeconds);

    /// No more pulses come: what is left is read as it is.
    void finish();

    /// Knots that are certain and were not taken yet, in the order of time.
    std::vector<AngleKnot> takeKnots();

    /// What was mended and was not taken yet, in the order of time.
    std::vector<TachoEvent> takeEvents();

    /// Ways in which a reading could go on that were weighed so far, over all pulses: the work,
    /// whatever the machine. At most 385 for a pulse.
    [[nodiscard]] std::size_t considered() const;

    /// Pulses that not all readings agree on yet: those by which the knots come late. At most 160.
    [[nodiscard]] std::size_t undecided() const;

private:
    struct Reader;

    std::unique_ptr<Reader> reader_;
};

} // namespace Harmotrack::Host
