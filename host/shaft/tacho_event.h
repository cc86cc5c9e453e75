#pragma once

#include <string>

namespace Harmotrack::Host {

/// Something that was wrong with a tacho's pulses, and what was done about it.
struct TachoEvent {
    enum class Kind {
        MissingPulse, ///< `pulses` of them were expected and not there: the angle goes on past them
        ExtraPulse,   ///< does not fit between its neighbours: dropped
        TooFast,      ///< says a speed above the machine's limit: dropped
        TooAbrupt,    ///< says a change of speed above the machine's limit: dropped
        OutOfOrder,   ///< came behind others that are later by more than can be sorted: dropped
        /// from `seconds` to `untilSeconds` more than a tenth of the pulses were missing or extra,
        /// as where a channel over-ranges: `pulses` of them, mended as if each had been alone
        Disturbed,
        NoPulses,  ///< from `seconds` to `untilSeconds`: the angle begins anew
        Unreadable ///< `pulses` of that stretch fit nothing: all dropped, the angle begins anew
    };

    double seconds = 0.0;      ///< of the pulse, or of the pulse before the missing ones
    double untilSeconds = 0.0; ///< end of a stretch; else as `seconds`
    Kind kind = Kind::ExtraPulse;
    int pulses = 1;

    /// One sentence: when, what, and what was done.
    [[nodiscard]] std::string text() const;
};

} // namespace Harmotrack::Host
