#include "host/shaft/tacho_event.h"

#include "host/host_error.h"

namespace Harmotrack::Host {

std::string TachoEvent::text() const
{
    const std::string at = "At " + numberText(seconds) + " s ";
    const std::string span =
        "From " + numberText(seconds) + " to " + numberText(untilSeconds) + " s ";
    const std::string count = std::to_string(pulses) + (pulses == 1 ? " pulse" : " pulses");
    switch (kind) {
    case Kind::MissingPulse:
        return span + count + (pulses == 1 ? " is" : " are") + " missing: filled in.";
    case Kind::ExtraPulse:
        return at + "a pulse fits nowhere between its neighbours: dropped.";
    case Kind::TooFast:
        return at + "a pulse says more than the limit of the speed: dropped.";
    case Kind::TooAbrupt:
        return at + "a pulse says more than the limit of the change of speed: dropped.";
    case Kind::OutOfOrder:
        return at + "a pulse came too late to be sorted in: dropped.";
    case Kind::Disturbed:
        return span + "the channel is disturbed: " + count + (pulses == 1 ? " was" : " were") +
               " missing or extra, filled in or dropped.";
    case Kind::NoPulses:
        return span + "there are no pulses: the angle begins anew.";
    case Kind::Unreadable:
        break;
    }
    return span + count + " can't be read as those of a shaft: dropped, the angle begins anew.";
}

} // namespace Harmotrack::Host
